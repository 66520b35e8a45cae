// The console, null and system log emitter actors.
#include "logging/emitter_actors.h"

#include <cstdio>

#include "logging/formats.h"

namespace {

// "headers content" as one printable line.
std::string escaped_line(const std::string& headers, const std::string& content) {
    std::string line;
    qor::detail::compose_line(line, headers, content, qor::detail::kLineEscaped);
    return line;
}

}  // namespace

namespace qor {
namespace detail {

PlainEmitterActor::~PlainEmitterActor() = default;

int PlainEmitterActor::configProperty(const char*, const char*) {
    return qrsvc::CONFIG_UNKNOWN;
}

int PlainEmitterActor::configReference(const char*, qrsvc::Actor*) {
    return qrsvc::CONFIG_UNKNOWN;
}

bool PlainEmitterActor::verifyConfig() {
    return true;
}

qrsvc::ActorInterface* PlainEmitterActor::findInterface(QRSTR const& name) {
    if (cased_equals(name, "log_emitter")) return static_cast<BasicLog::Emitter*>(this);
    return nullptr;
}

bool PlainEmitterActor::implAsyncStartup(ScopedLock&) {
    return true;
}

}  // namespace detail
}  // namespace qor

void NullEmitterActor::send_one_line(const qor_loglevel_impl*, const std::string&,
                                     const std::string&) {}

const char* NullEmitterActor::emitter_type() const {
    return "NullEmitter";
}

void StdoutEmitterActor::send_one_line(const qor_loglevel_impl*, const std::string& headers,
                                       const std::string& content) {
    std::puts(escaped_line(headers, content).c_str());
}

const char* StdoutEmitterActor::emitter_type() const {
    return "StdoutEmitter";
}

void StderrEmitterActor::send_one_line(const qor_loglevel_impl*, const std::string& headers,
                                       const std::string& content) {
    std::fprintf(stderr, "%s\n", escaped_line(headers, content).c_str());
}

const char* StderrEmitterActor::emitter_type() const {
    return "StderrEmitter";
}
