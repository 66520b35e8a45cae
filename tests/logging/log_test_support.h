// Helpers of the logging tests: an emitter that keeps its lines, a child
// process whose standard error is captured, and a host's context for actors.
#ifndef QORBASIC_TESTS_LOGGING_LOG_TEST_SUPPORT_H
#define QORBASIC_TESTS_LOGGING_LOG_TEST_SUPPORT_H

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "qorbasic/actors.h"
#include "qorbasic/log.h"

namespace qortest {

// Keeps "[LEVEL] content" of each line after running `on_send` with the
// content (a test's way to act while the emitting thread holds the log's
// lock); counts its own destruction. Safe to read from another thread. The
// headers carry no time: emitters on several threads then never read the
// time zone at once, which ThreadSanitizer reports as a race inside libc.
class CapturingEmitter : public BasicLog::Emitter {
  public:
    explicit CapturingEmitter(std::vector<std::string>* lines = nullptr, int* destroyed = nullptr,
                              std::function<void(const std::string&)> on_send = nullptr)
        : on_send(std::move(on_send)), lines_(lines), destroyed_(destroyed) {}
    ~CapturingEmitter() override {
        if (destroyed_ != nullptr) ++*destroyed_;
    }
    void formatHeaders(std::string& out, const BasicLog::MessageHeaders& headers) const override {
        BasicLog::levelonly_format_headers(out, headers);
    }
    void send_one_line(const qor_loglevel_impl*, const std::string& headers,
                       const std::string& content) override {
        if (on_send) on_send(content);
        std::lock_guard<std::mutex> hold(mutex_);
        if (lines_ != nullptr) lines_->push_back(headers + " " + content);
    }
    size_t count() {
        std::lock_guard<std::mutex> hold(mutex_);
        return lines_->size();
    }
    const char* emitter_type() const override { return "CapturingEmitter"; }
    std::function<void(const std::string&)> on_send;

  private:
    std::vector<std::string>* lines_;
    int* destroyed_;
    std::mutex mutex_;
};

// The content half of a captured line, behind "[LEVEL] ".
inline std::string content_of(const std::string& line) {
    size_t end = line.find("] ");
    return end == std::string::npos ? line : line.substr(end + 2);
}

struct ChildResult {
    int status = 0;
    std::string err;  // everything the child wrote on standard error
    bool exited_with(int code) const { return WIFEXITED(status) && WEXITSTATUS(status) == code; }
    bool killed_by(int sig) const { return WIFSIGNALED(status) && WTERMSIG(status) == sig; }
};

// Runs `body` in a forked child whose standard error goes to a pipe, then
// _exit(0) unless the body ended the child itself (std::exit(0) for exit
// handlers and static destructors to run). An alarm kills a child that
// deadlocks, so a hang shows as SIGALRM instead of a stuck test.
inline ChildResult run_in_child(const std::function<void()>& body) {
    ChildResult result;
    int fds[2];
    if (pipe(fds) != 0) std::abort();
    std::fflush(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        dup2(fds[1], 2);
        close(fds[1]);
        alarm(20);
        body();
        _exit(0);
    }
    close(fds[1]);
    char buffer[4096];
    for (ssize_t n; (n = read(fds[0], buffer, sizeof buffer)) > 0;) result.err.append(buffer, n);
    close(fds[0]);
    waitpid(pid, &result.status, 0);
    return result;
}

// A host's context for the actor tests: a name and a class name.
class TestContext : public qrsvc::ActorContext {
  public:
    TestContext(const char* name, const char* class_name) : name_(name), class_(class_name) {}
    const std::string& name() const override { return name_; }
    const std::string& className() const override { return class_; }
    std::string name_, class_;
};

}  // namespace qortest

#endif  // QORBASIC_TESTS_LOGGING_LOG_TEST_SUPPORT_H
