// Sleeping, polling waits, thread names and the immediate end of a process.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/time.h>

#include <thread>

#include "qorbasic/threads.h"
#include "qorbasic/timeutils.h"

namespace {

// Counts its tests, which all give `holds`.
struct CountingPredicate : Predicate0 {
    explicit CountingPredicate(bool holds) : holds(holds) {}
    bool predicate0() const override { return ++calls, holds; }
    bool holds;
    mutable int calls = 0;
};

// The time that `sleep` takes with SIGALRM due after `usec` (0: none), under a
// handler that lets interrupted calls fail with EINTR.
long timed(long usec, void (*sleep)()) {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    struct itimerval timer = {{0, 0}, {0, usec}};
    setitimer(ITIMER_REAL, &timer, nullptr);
    const long start = current_time_usec1970();
    sleep();
    return current_time_usec1970() - start;
}

}  // namespace

// A nap ends early on a signal; a sleep goes on until its target time.
TEST(ThreadSleepTest, NapEndsOnASignalSleepDoesNotAndNonPositiveTimesReturnAtOnce) {
    EXPECT_LT(timed(20000, [] { thread_nap(3000000); }), 2500000);
    EXPECT_GE(timed(10000, [] { thread_sleep(60000); }), 60000 - 5);
    EXPECT_GE(timed(0, [] { thread_nap(20000); }), 20000);
    const long start = current_time_usec1970();
    for (long usec : {0L, -1L, -5000000L, 1L, 4L}) thread_nap(usec), thread_sleep(usec);
    EXPECT_LT(current_time_usec1970() - start, 1000000);
}

// A predicate set by another thread is in AtomicValueTest.
TEST(WaitUntilTest, EndsWhenThePredicateHoldsOrTheTimeoutPasses) {
    for (long timeout : {-1000000L, 0L, 5000000L}) {
        CountingPredicate already(true);
        EXPECT_TRUE(waitUntil(already, timeout)) << timeout;
        EXPECT_EQ(already.calls, 1) << timeout;
    }
    // The early test, then one pass per nap: at most one nap fits in 0 us.
    CountingPredicate never(false);
    EXPECT_FALSE(waitUntil(never, 0));
    EXPECT_TRUE(never.calls == 2 || never.calls == 3) << never.calls;
    EXPECT_GE(timed(0, [] { EXPECT_FALSE(waitUntil(CountingPredicate(false), 50000)); }), 50000);
}

// Null, "" and names above 15 characters are refused by the system, so the
// thread keeps the name it had.
TEST(ThreadNameTest, NamesTheCallingThreadOnlyAndKeepsItForRefusedNames) {
    std::string names[4];
    std::thread worker([&] {
        const char* tries[] = {nullptr, "", "exactly-15-char", "sixteen-chars-xx"};
        thread_setname("before");
        for (int i = 0; i < 4; ++i) thread_setname(tries[i]), thread_getname(names[i]);
    });
    worker.join();
    EXPECT_THAT(names,
                testing::ElementsAre("before", "before", "exactly-15-char", "exactly-15-char"));
}

// The five records share one value and sit side by side in an array. A record that is
// none of them, or null, counts as an error.
TEST(ExitProcessDeathTest, EndsWithZeroOrOneHundredOneAndRunsNoHandlers) {
    static const qor_exitcode_impl foreign = {6789};
    // clang-format off
    const std::pair<const qor_exitcode_impl*, int> codes[] = {
        {EXIT_PROCESS_NORMAL, 0}, {EXIT_PROCESS_SHUTDOWN, 0}, {EXIT_PROCESS_USAGE, 0},
        {EXIT_PROCESS_INIT, 101}, {EXIT_PROCESS_ERROR, 101},  {&foreign, 101}, {nullptr, 101}};
    // clang-format on
    for (int i = 0; i < 7; ++i) {
        const auto [code, status] = codes[i];
        EXPECT_TRUE(i >= 5 || (code == EXIT_PROCESS_NORMAL + i && code->value == 6789)) << i;
        EXPECT_EXIT(
            {
                atexit([] { fprintf(stderr, "exit handler ran\n"); });
                exit_process(code);
            },
            testing::ExitedWithCode(status), testing::Not(testing::HasSubstr("exit handler ran")));
    }
}
