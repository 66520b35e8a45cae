// Thread primitives: naps, polling waits, thread names and exit_process.
#include <pthread.h>
#include <time.h>
#include <unistd.h>

#include <string>

#include "qorbasic/threads.h"
#include "qorbasic/timeutils.h"

namespace {

// Naps from this length up are taken as whole seconds with sleep().
constexpr long kLongNapUsec = 5000000;
// thread_sleep stops once it is this close to its target.
constexpr long kSleepSlackUsec = 5;
// How often waitUntil tests its predicate.
constexpr long kPollUsec = 10000;

// The five records sit side by side; only their addresses tell them apart.
const qor_exitcode_impl exit_code_records[5] = {{6789}, {6789}, {6789}, {6789}, {6789}};

}  // namespace

const qor_exitcode_impl* const EXIT_PROCESS_NORMAL = &exit_code_records[0];
const qor_exitcode_impl* const EXIT_PROCESS_SHUTDOWN = &exit_code_records[1];
const qor_exitcode_impl* const EXIT_PROCESS_USAGE = &exit_code_records[2];
const qor_exitcode_impl* const EXIT_PROCESS_INIT = &exit_code_records[3];
const qor_exitcode_impl* const EXIT_PROCESS_ERROR = &exit_code_records[4];

Predicate0::~Predicate0() = default;

void thread_nap(long usec) {
    if (usec <= 0) return;
    if (usec >= kLongNapUsec) {
        sleep(static_cast<unsigned>(usec / 1000000));
        return;
    }
    struct timespec pause;
    pause.tv_sec = usec / 1000000;
    pause.tv_nsec = (usec % 1000000) * 1000;
    // An interrupted nap is not resumed: callers poll anyway.
    nanosleep(&pause, nullptr);
}

void thread_sleep(long usec) {
    if (usec <= 1) {
        struct timespec pause = {0, 1000};
        nanosleep(&pause, nullptr);
        return;
    }
    const long start = current_time_usec1970();
    for (;;) {
        const long remaining = start + usec - current_time_usec1970();
        if (remaining < kSleepSlackUsec) return;
        thread_nap(remaining);
    }
}

void thread_setname(const char* name) {
    if (name == nullptr || name[0] == '\0') name = "<anonymous thread>";
    // Names above 15 characters are refused, and the thread keeps its old one.
    pthread_setname_np(pthread_self(), name);
}

void thread_getname(std::string& out) {
    char buffer[300];
    if (pthread_getname_np(pthread_self(), buffer, sizeof buffer) != 0) {
        out = "<error in pthread_getname>";
        return;
    }
    out = buffer;
}

bool waitUntil(const Predicate0& predicate, long timeout_usec) {
    if (predicate.predicate0()) return true;
    long start = current_time_usec1970();
    long deadline = start + timeout_usec;
    for (;;) {
        if (predicate.predicate0()) return true;
        const long now = current_time_usec1970();
        if (now < start) {
            // The wall clock was set back: the whole timeout starts again.
            start = now;
            deadline = now + timeout_usec;
            continue;
        }
        if (now > deadline) return false;
        thread_nap(kPollUsec);
    }
}

void exit_process(const qor_exitcode_impl* code) {
    const bool clean =
        code == EXIT_PROCESS_NORMAL || code == EXIT_PROCESS_SHUTDOWN || code == EXIT_PROCESS_USAGE;
    _exit(clean ? 0 : 101);
}
