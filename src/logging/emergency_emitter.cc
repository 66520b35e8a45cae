// The emitter of last resort: standard headers, the content as JSON, on
// standard output.
#include "qorbasic/log.h"

namespace BasicLog {

EmergencyEmitter::~EmergencyEmitter() = default;

void EmergencyEmitter::formatHeaders(std::string& out, const MessageHeaders& headers) const {
    standard_format_headers(out, headers);
}

void EmergencyEmitter::formatContent(std::string& out, const MessageContent& content) const {
    json_format_content(out, content);
}

void EmergencyEmitter::send_one_line(const qor_loglevel_impl* level, const std::string& headers,
                                     const std::string& content) {
    stdout_emitter(level, headers, content);
}

const char* EmergencyEmitter::emitter_type() const {
    return "EmergencyEmitter";
}

}  // namespace BasicLog
