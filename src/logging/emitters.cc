// Emitters: the base class that turns a message into one line, the early
// emitter to standard error, and the plain line writers.
#include <cstdio>

#include "logging/formats.h"
#include "qorbasic/log.h"

namespace qrsvc {
ActorInterface::~ActorInterface() = default;
}  // namespace qrsvc

namespace {

// A line writer's buffer, kept per thread so that a line costs no
// allocation once the buffer has grown to the usual line length. A writer
// runs under its caller's lock and calls nothing that writes a line, so one
// buffer per thread is never in use twice.
constexpr size_t kKeptLineCapacity = 16384;

// Set when the thread's buffer has been destroyed. std::exit destroys the
// thread-local objects of the exiting thread before it runs the exit
// handlers, and those may still log; a plain bool has no destructor, so it
// can be read then.
thread_local bool t_line_buffer_gone = false;

struct LineBuffer {
    ~LineBuffer() { t_line_buffer_gone = true; }
    std::string line;
};

std::string& line_buffer() {
    thread_local LineBuffer buffer;
    return buffer.line;
}

// The whole line in one fwrite, so that an unbuffered stream gets it in one
// write and lines of other writers can't fall between its parts.
void write_line(std::FILE* stream, const std::string& headers, const std::string& content) {
    std::string late_line;
    std::string& line = t_line_buffer_gone ? late_line : line_buffer();
    qor::detail::compose_line(line, headers, content, qor::detail::kLineNewline);
    std::fwrite(line.data(), 1, line.size(), stream);
    std::fflush(stream);
    // One huge line must not pin its size on the thread for good.
    if (line.capacity() > kKeptLineCapacity) std::string().swap(line);
}

}  // namespace

namespace BasicLog {

Emitter::~Emitter() = default;

void Emitter::formatHeaders(std::string& out, const MessageHeaders& headers) const {
    standard_format_headers(out, headers);
}

void Emitter::formatContent(std::string& out, const MessageContent& content) const {
    standard_format_content(out, content);
}

// The thread is not marked here: on the direct path the input side's lock
// has marked it already, and on the output side of queued mode an emitter
// may log, since no lock of the log path that its call needs is held there.
void Emitter::processMessage(const LogMessage& message) {
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

void stderr_emitter(const qor_loglevel_impl*, const std::string& headers,
                    const std::string& content) {
    write_line(stderr, headers, content);
}

void stdout_emitter(const qor_loglevel_impl*, const std::string& headers,
                    const std::string& content) {
    write_line(stdout, headers, content);
}

void null_emitter(const qor_loglevel_impl*, const std::string&, const std::string&) {}

}  // namespace BasicLog
