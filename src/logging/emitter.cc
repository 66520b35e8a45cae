#include <cstdio>
#include <cstring>

#include "logging/log_path.h"
#include "qorbasic/log.h"
#include "qorbasic/timeutils.h"
#include "time/timestamp_format.h"

namespace qrsvc {
ActorInterface::~ActorInterface() = default;
}  // namespace qrsvc

namespace BasicLog {

Emitter::~Emitter() = default;

void Emitter::formatHeaders(std::string& out, const MessageHeaders& headers) const {
    standard_format_headers(out, headers);
}

void Emitter::formatContent(std::string& out, const MessageContent& content) const {
    standard_format_content(out, content);
}

// Marks the thread as emitting for the whole call, whoever calls it: a log
// call made from inside an emitter is then dropped instead of waiting for a
// lock that this thread holds.
void Emitter::processMessage(const LogMessage& message) {
    qor::detail::LogPathMark emitting;
    std::string headers;
    std::string content;
    formatHeaders(headers, message.headers());
    formatContent(content, message.body());
    send_one_line(message.headers().loglevel(), headers, content);
}

StderrEmitter::~StderrEmitter() = default;

void StderrEmitter::send_one_line(const qor_loglevel_impl* level, const std::string& headers,
                                  const std::string& content) {
    stderr_emitter(level, headers, content);
}

const char* StderrEmitter::emitter_type() const {
    return "StderrEmitter";
}

void standard_format_headers(std::string& out, const MessageHeaders& headers) {
    const char* level = loglevel_fullname(headers.loglevel());
    size_t level_length = std::strlen(level);
    char stamp[qor::detail::kTimestampBufferSize];
    int stamp_length =
        qor::detail::format_timestamp(stamp, gmt_to_local(headers.timestamp()), true, ' ');
    out.clear();
    out.reserve(level_length + stamp_length + 3);
    out += '[';
    out.append(level, level_length);
    out += ' ';
    out.append(stamp, stamp_length);
    out += ']';
}

void standard_format_content(std::string& out, const MessageContent& content) {
    out.assign(content.text());
    int count = content.paramCount();
    if (count == 0) return;
    size_t total = out.size() + 1;
    for (int i = 0; i < count; ++i) {
        total += content.paramName(i).size() + content.paramValue(i).size() + 2;
    }
    out.reserve(total);
    out += ':';
    for (int i = 0; i < count; ++i) {
        out += ' ';
        out += content.paramName(i);
        out += '=';
        out += content.paramValue(i);
    }
}

// One fwrite of the whole line, so that an unbuffered stderr gets it in one
// write and lines of other writers can't fall between its parts. Each half
// ends at its first NUL, as "%s" would end it.
void stderr_emitter(const qor_loglevel_impl*, const std::string& headers,
                    const std::string& content) {
    size_t head = std::strlen(headers.c_str());
    size_t body = std::strlen(content.c_str());
    size_t total = head + body + 2;
    char local[1024];
    std::string spill;
    char* line = local;
    if (total > sizeof local) {
        spill.resize(total);
        line = &spill[0];
    }
    std::memcpy(line, headers.data(), head);
    line[head] = ' ';
    std::memcpy(line + head + 1, content.data(), body);
    line[total - 1] = '\n';
    std::fwrite(line, 1, total, stderr);
    std::fflush(stderr);
}

}  // namespace BasicLog
