// The qor_syslog_ functions, a thin wrapper of the system log.
#include <syslog.h>

#include "logging/emitter_actors.h"
#include "logging/formats.h"
#include "logging/library_log.h"

namespace {

const char* const kNoAppname = "<appname unavailable>";

void send_at_level(const qor_loglevel_impl* level, const char* text) {
    if (text == nullptr || *text == '\0') return;
    if (level == QOR_LOGLEVEL_DEFAULT) level = QOR_LOGLEVEL_INFO;
    syslog(loglevel_to_syslog(level), "%s", text);
}

}  // namespace

qor_syslog_impl::qor_syslog_impl(const char* appname)
    : ident_(appname != nullptr && *appname != '\0' ? appname : kNoAppname) {
    openlog(ident_.c_str(), 0, LOG_USER);
}

qor_syslog_impl::~qor_syslog_impl() {
    closelog();
}

void qor_syslog_impl::sendlog(const qor_loglevel_impl* level, const char* text) const {
    send_at_level(level, text);
}

qor_syslog_impl* qor_syslog_open(const char* appname) {
    return new qor_syslog_impl(appname);
}

void qor_syslog_send(qor_syslog_impl* handle, const qor_loglevel_impl* level, const char* text) {
    if (handle != nullptr) handle->sendlog(level, text);
}

void qor_syslog_close(qor_syslog_impl* handle) {
    delete handle;
}

SyslogEmitterActor::~SyslogEmitterActor() {
    delete log_;
}

int SyslogEmitterActor::configProperty(const char* name, const char* value) {
    std::string* field = nullptr;
    if (cased_equals(name, "subsystem")) field = &subsystem_;
    if (cased_equals(name, "category")) field = &category_;
    if (field == nullptr) return qrsvc::CONFIG_UNKNOWN;
    field->assign(value != nullptr ? value : "");
    return qrsvc::CONFIG_ACCEPTED;
}

bool SyslogEmitterActor::verifyConfig() {
    const char* missing = subsystem_.empty()  ? "subsystem"
                          : category_.empty() ? "category"
                                              : nullptr;
    if (missing == nullptr) return true;
    QOR_LOG(QOR_LOGLEVEL_ERROR, "required config field not present")
        .add("actor", actorName())
        .add("field", missing);
    return false;
}

// The process has one system log connection: opening it names the whole
// process after the subsystem, and closing it closes it for every handle.
bool SyslogEmitterActor::implAsyncStartup(ScopedLock&) {
    delete log_;
    log_ = new qor_syslog_impl(subsystem_.c_str());
    return true;
}

void SyslogEmitterActor::implAsyncShutdown(ScopedLock&) {
    delete log_;
    log_ = nullptr;
}

// The platform's syslog serialises its callers. A line outside the running
// state still goes out, under the process's default identification (the
// C library opens the connection itself).
void SyslogEmitterActor::send_one_line(const qor_loglevel_impl* level, const std::string& headers,
                                       const std::string& content) {
    std::string line;
    qor::detail::compose_line(line, headers, content, qor::detail::kLineEscaped);
    std::string lead = category_ + ' ';
    line.insert(0, BasicLog::logging_escape(lead));
    send_at_level(level, line.c_str());
}

const char* SyslogEmitterActor::emitter_type() const {
    return "SyslogEmitter";
}
