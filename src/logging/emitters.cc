// Emitters: the base class that turns a message into one line, the early
// emitter to standard error, and the plain line writers.
#include <cstdio>

#include "logging/formats.h"
#include "qorbasic/log.h"

namespace qrsvc {
ActorInterface::~ActorInterface() = default;
}  // namespace qrsvc

namespace {

// Strings kept per thread so that a line costs no allocation once they have
// grown to the usual line length: the two halves that an emitter formats,
// and the joined line of a line writer.
constexpr size_t kKeptLineCapacity = 16384;

// Set when the thread's strings are destroyed at its exit. It is trivially
// destructible and so outlives them: a log call from a later exit handler or
// static destructor then formats into strings of its own.
thread_local bool t_kept_text_gone = false;

struct KeptText {
    std::string headers;
    std::string content;
    std::string line;
    bool halves_in_use = false;
    ~KeptText() { t_kept_text_gone = true; }
};

KeptText* kept_text() {
    if (t_kept_text_gone) return nullptr;
    thread_local KeptText kept;
    return &kept;
}

// One huge line must not pin its size on the thread for good.
void trim(std::string& text) {
    if (text.capacity() > kKeptLineCapacity) std::string().swap(text);
}

// The whole line in one fwrite, so that an unbuffered stream gets it in one
// write and lines of other writers can't fall between its parts. A writer
// runs under its caller's lock and calls nothing that writes a line, so the
// kept line is never in use twice.
void write_line(std::FILE* stream, const std::string& headers, const std::string& content) {
    KeptText* kept = kept_text();
    std::string own;
    std::string& line = kept != nullptr ? kept->line : own;
    qor::detail::compose_line(line, headers, content, qor::detail::kLineNewline);
    std::fwrite(line.data(), 1, line.size(), stream);
    std::fflush(stream);
    trim(line);
}

// The two halves of a line, in the thread's kept strings; an emitter that
// hands the message on to another emitter on the same thread finds them in
// use and gets strings of its own.
class LineHalves {
  public:
    LineHalves() : kept_(kept_text()) {
        if (kept_ == nullptr || kept_->halves_in_use) {
            kept_ = nullptr;
            return;
        }
        kept_->halves_in_use = true;
        kept_->headers.clear();
        kept_->content.clear();
    }
    ~LineHalves() {
        if (kept_ == nullptr) return;
        kept_->halves_in_use = false;
        trim(kept_->headers);
        trim(kept_->content);
    }
    LineHalves(const LineHalves&) = delete;
    LineHalves& operator=(const LineHalves&) = delete;

    std::string& headers() { return kept_ != nullptr ? kept_->headers : headers_; }
    std::string& content() { return kept_ != nullptr ? kept_->content : content_; }

  private:
    KeptText* kept_;
    std::string headers_;
    std::string content_;
};

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
    LineHalves halves;
    formatHeaders(halves.headers(), message.headers());
    formatContent(halves.content(), message.body());
    send_one_line(message.headers().loglevel(), halves.headers(), halves.content());
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
