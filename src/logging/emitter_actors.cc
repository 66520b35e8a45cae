#include "logging/emitter_actors.h"

#include <cstdio>

#include "logging/pending_forms.h"

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

std::string PlainEmitterActor::escaped_line(const std::string& headers, const std::string& content,
                                            const std::string& lead) {
    std::string line;
    line.reserve(lead.size() + headers.size() + content.size() + 2);
    if (!lead.empty()) {
        line += lead;
        line += ' ';
    }
    line += headers;
    line += ' ';
    line += content;
    BasicLog::logging_escape(line);
    return line;
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
