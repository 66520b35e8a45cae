#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/time.h>

#include <atomic>
#include <thread>

#include "qorbasic/threads.h"
#include "qorbasic/timeutils.h"

namespace {

// Counts its tests; true from call `true_from` on (0: never) or once `flag` is set.
struct CountingPredicate : Predicate0 {
    explicit CountingPredicate(int from, const std::atomic<bool>* set = nullptr)
        : true_from(from), flag(set) {}
    bool predicate0() const override {
        ++calls;
        return (true_from > 0 && calls >= true_from) || (flag != nullptr && flag->load());
    }
    int true_from;
    const std::atomic<bool>* flag;
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
    EXPECT_LT(timed(0,
                    [] {
                        for (long usec : {0L, -1L, -5000000L}) thread_nap(usec);
                        for (long usec : {-10L, 0L, 1L, 3L, 4L}) thread_sleep(usec);
                    }),
              1000000);
}

TEST(WaitUntilTest, EndsWhenThePredicateHoldsOrTheTimeoutPasses) {
    for (long timeout : {-1000000L, 0L, 5000000L}) {
        CountingPredicate already(1);
        EXPECT_TRUE(waitUntil(already, timeout)) << timeout;
        EXPECT_EQ(already.calls, 1) << timeout;
    }
    // The early test, then one pass per nap: at most one nap fits in 0 us.
    CountingPredicate never(0);
    EXPECT_FALSE(waitUntil(never, 0));
    EXPECT_TRUE(never.calls == 2 || never.calls == 3) << never.calls;
    EXPECT_GE(timed(0, [] { EXPECT_FALSE(waitUntil(CountingPredicate(0), 50000)); }), 50000);
    std::atomic<bool> flag(false);
    std::thread setter([&] {
        thread_nap(30000);
        flag = true;
    });
    EXPECT_TRUE(waitUntil(CountingPredicate(0, &flag), 10000000));
    setter.join();
}

// Null, "" and names above 15 characters are refused by the system, so the
// thread keeps the name it had; other threads keep theirs.
TEST(ThreadNameTest, NamesTheCallingThreadOnlyAndKeepsItForRefusedNames) {
    std::string main_name, after, names[4];
    thread_getname(main_name);
    std::thread worker([&] {
        const char* tries[] = {nullptr, "", "exactly-15-char", "sixteen-chars-xx"};
        thread_setname("before");
        for (int i = 0; i < 4; ++i) {
            thread_setname(tries[i]);
            thread_getname(names[i]);
        }
    });
    worker.join();
    EXPECT_THAT(names,
                testing::ElementsAre("before", "before", "exactly-15-char", "exactly-15-char"));
    thread_getname(after);
    EXPECT_EQ(after, main_name);
}

// The five records share one value and sit side by side in an array. A record that is
// none of them, or null, counts as an error.
TEST(ExitProcessDeathTest, EndsWithZeroOrOneHundredOneAndRunsNoHandlers) {
    static const qor_exitcode_impl foreign = {6789};
    const qor_exitcode_impl* const codes[] = {EXIT_PROCESS_NORMAL,
                                              EXIT_PROCESS_SHUTDOWN,
                                              EXIT_PROCESS_USAGE,
                                              EXIT_PROCESS_INIT,
                                              EXIT_PROCESS_ERROR,
                                              &foreign,
                                              nullptr};
    const int statuses[] = {0, 0, 0, 101, 101, 101, 101};
    for (int i = 0; i < 7; ++i) {
        const qor_exitcode_impl* code = codes[i];
        EXPECT_TRUE(i >= 5 || (code == EXIT_PROCESS_NORMAL + i && code->value == 6789)) << i;
        EXPECT_EXIT(
            {
                atexit([] { fprintf(stderr, "exit handler ran\n"); });
                exit_process(code);
            },
            testing::ExitedWithCode(statuses[i]),
            testing::Not(testing::HasSubstr("exit handler ran")));
    }
}
