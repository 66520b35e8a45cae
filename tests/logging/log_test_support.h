// Helpers of the logging tests: an emitter that keeps its lines, and a child
// process whose standard error is captured.
#ifndef QORBASIC_TESTS_LOGGING_LOG_TEST_SUPPORT_H
#define QORBASIC_TESTS_LOGGING_LOG_TEST_SUPPORT_H

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "qorbasic/log.h"

namespace qortest {

// Keeps "headers content" of each line after running `on_send` (a test's way
// to act while the emitting thread holds the input's lock); counts its own
// destruction.
class CapturingEmitter : public BasicLog::Emitter {
  public:
    explicit CapturingEmitter(std::vector<std::string>* lines, int* destroyed = nullptr,
                              std::function<void()> on_send = nullptr)
        : lines_(lines), destroyed_(destroyed), on_send_(std::move(on_send)) {}
    ~CapturingEmitter() override {
        if (destroyed_ != nullptr) ++*destroyed_;
    }
    void send_one_line(const qor_loglevel_impl*, const std::string& headers,
                       const std::string& content) override {
        if (on_send_) on_send_();
        if (lines_ != nullptr) lines_->push_back(headers + " " + content);
    }
    const char* emitter_type() const override { return "CapturingEmitter"; }

  private:
    std::vector<std::string>* lines_;
    int* destroyed_;
    std::function<void()> on_send_;
};

// The content half of a captured line, behind "[LEVEL date time] ".
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
// handlers and static destructors to run). An alarm kills a child
// that deadlocks, so a hang shows as SIGALRM instead of a stuck test.
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
    ssize_t n;
    while ((n = read(fds[0], buffer, sizeof buffer)) > 0) result.err.append(buffer, n);
    close(fds[0]);
    waitpid(pid, &result.status, 0);
    return result;
}

}  // namespace qortest

#endif  // QORBASIC_TESTS_LOGGING_LOG_TEST_SUPPORT_H
