// Assertion failures: the default handler and the settable one.
#include <csignal>
#include <cstdio>

#include "logging/library_log.h"
#include "logging/log_path.h"
#include "qorbasic/log.h"

namespace {

// Set at the start of a process, before other threads run; no lock.
assert_failure_handler g_handler = nullptr;

}  // namespace

void invokeAssertFailure(const char* file, int line, const char* message) {
    assert_failure_handler handler = g_handler;
    if (handler != nullptr) {
        handler(file, line, message);
    } else {
        defaultAssertFailure(file, line, message);
    }
}

void setAssertFailure(assert_failure_handler handler) {
    g_handler = handler;
}

void defaultAssertFailure(const char* file, int line, const char* message) {
    char buffer[1024];
    std::snprintf(buffer, sizeof buffer, "assert error, %s line %d, \"%s\" \n",
                  file != nullptr ? file : "<filename unknown>", line,
                  message != nullptr ? message : "<no message>");
    std::fputs(buffer, stderr);
    // The log step is skipped on a thread that is on the log path already
    // (make_source asserts while it holds the LogInput mutex): the text is
    // out on stderr, and the signal must not wait for a lock of this thread.
    if (!qor::detail::thread_in_log_path()) {
        QOR_LOG_SITE(QOR_LOGLEVEL_ERROR, buffer, __FILE__, "defaultAssertFailure");
    }
    std::raise(SIGILL);
}
