#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include "qorbasic/threads.h"
#include "qorbasic/timeutils.h"

namespace {

// Counts its tests and becomes true at the given call (0: never).
class CountingPredicate : public Predicate0 {
  public:
    explicit CountingPredicate(int true_from_call) : true_from_call_(true_from_call) {}
    bool predicate0() const override {
        ++calls;
        return true_from_call_ > 0 && calls >= true_from_call_;
    }
    mutable int calls = 0;

  private:
    int true_from_call_;
};

class FlagPredicate : public Predicate0 {
  public:
    explicit FlagPredicate(const std::atomic<bool>& flag) : flag_(flag) {}
    bool predicate0() const override { return flag_.load(); }

  private:
    const std::atomic<bool>& flag_;
};

void ignore_signal(int) {}

// Sends SIGALRM to the process after `usec`, with a handler that lets
// interrupted calls fail with EINTR instead of restarting them.
void alarm_after(long usec) {
    struct sigaction action = {};
    action.sa_handler = ignore_signal;
    sigaction(SIGALRM, &action, nullptr);
    struct itimerval timer = {};
    timer.it_value.tv_usec = usec;
    setitimer(ITIMER_REAL, &timer, nullptr);
}

}  // namespace

TEST(ThreadNapTest, ZeroAndNegativeReturnAtOnce) {
    const long start = current_time_usec1970();
    thread_nap(0);
    thread_nap(-1);
    thread_nap(-5000000);
    EXPECT_LT(current_time_usec1970() - start, 1000000);
}

TEST(ThreadNapTest, SleepsAtLeastTheTimeAsked) {
    const long start = current_time_usec1970();
    thread_nap(20000);
    EXPECT_GE(current_time_usec1970() - start, 20000);
}

TEST(ThreadNapTest, SignalEndsTheNapEarly) {
    alarm_after(20000);
    const long start = current_time_usec1970();
    thread_nap(3000000);
    EXPECT_LT(current_time_usec1970() - start, 2500000);
    signal(SIGALRM, SIG_DFL);
}

TEST(ThreadSleepTest, SleepsOnAfterASignalUntilTheTarget) {
    alarm_after(10000);
    const long start = current_time_usec1970();
    thread_sleep(60000);
    EXPECT_GE(current_time_usec1970() - start, 60000 - 5);
    signal(SIGALRM, SIG_DFL);
}

TEST(ThreadSleepTest, TinyAndNegativeTimesReturnAtOnce) {
    const long start = current_time_usec1970();
    for (long usec : {-10L, 0L, 1L, 3L, 4L}) thread_sleep(usec);
    EXPECT_LT(current_time_usec1970() - start, 1000000);
}

TEST(WaitUntilTest, TruePredicateWinsWhateverTheTimeout) {
    for (long timeout : {-1000000L, 0L, 5000000L}) {
        CountingPredicate already(1);
        EXPECT_TRUE(waitUntil(already, timeout)) << timeout;
        EXPECT_EQ(already.calls, 1) << timeout;
    }
}

TEST(WaitUntilTest, FalsePredicateTimesOutAfterFewTests) {
    CountingPredicate never(0);
    EXPECT_FALSE(waitUntil(never, 0));
    // The early test, then one pass per nap: at most one nap fits in 0 us.
    EXPECT_GE(never.calls, 2);
    EXPECT_LE(never.calls, 3);
}

TEST(WaitUntilTest, FalsePredicateWaitsAtLeastTheTimeout) {
    CountingPredicate never(0);
    const long start = current_time_usec1970();
    EXPECT_FALSE(waitUntil(never, 50000));
    EXPECT_GE(current_time_usec1970() - start, 50000);
}

TEST(WaitUntilTest, PredicateThatBecomesTrueEndsTheWait) {
    CountingPredicate third(3);
    EXPECT_TRUE(waitUntil(third, 10000000));
    EXPECT_EQ(third.calls, 3);
}

TEST(WaitUntilTest, SeesAFlagSetByAnotherThread) {
    std::atomic<bool> flag(false);
    std::thread setter([&] {
        thread_nap(30000);
        flag = true;
    });
    EXPECT_TRUE(waitUntil(FlagPredicate(flag), 10000000));
    setter.join();
}

TEST(ThreadNameTest, NamesTheCallingThreadOnly) {
    std::string main_name;
    thread_getname(main_name);
    std::string seen;
    std::thread worker([&] {
        thread_setname("worker-7");
        thread_getname(seen);
    });
    worker.join();
    EXPECT_EQ(seen, "worker-7");
    std::string after;
    thread_getname(after);
    EXPECT_EQ(after, main_name);
}

// "<anonymous thread>" and other names above 15 characters are refused by
// the system, so the thread keeps the name it had.
TEST(ThreadNameTest, NamesAboveTheLimitKeepTheOldName) {
    std::string names[4];
    std::thread worker([&] {
        thread_setname("before");
        thread_setname(nullptr);
        thread_getname(names[0]);
        thread_setname("");
        thread_getname(names[1]);
        thread_setname("exactly-15-char");
        thread_getname(names[2]);
        thread_setname("sixteen-chars-xx");
        thread_getname(names[3]);
    });
    worker.join();
    EXPECT_EQ(names[0], "before");
    EXPECT_EQ(names[1], "before");
    EXPECT_EQ(names[2], "exactly-15-char");
    EXPECT_EQ(names[3], "exactly-15-char");
}

TEST(ExitCodeTest, RecordsShareTheValueAndSitSideBySide) {
    const qor_exitcode_impl* const codes[] = {EXIT_PROCESS_NORMAL, EXIT_PROCESS_SHUTDOWN,
                                              EXIT_PROCESS_USAGE, EXIT_PROCESS_INIT,
                                              EXIT_PROCESS_ERROR};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(codes[i]->value, 6789);
        EXPECT_EQ(codes[i], EXIT_PROCESS_NORMAL + i);
    }
    EXPECT_EQ(sizeof(qor_exitcode_impl), 2u);
}

namespace {

void say_from_atexit() {
    fprintf(stderr, "exit handler ran\n");
}

[[noreturn]] void exit_with_handler(const qor_exitcode_impl* code) {
    atexit(say_from_atexit);
    exit_process(code);
}

}  // namespace

TEST(ExitProcessDeathTest, EndsWithZeroOrOneHundredOneAndRunsNoHandlers) {
    const struct {
        const qor_exitcode_impl* code;
        int status;
    } cases[] = {{EXIT_PROCESS_NORMAL, 0},
                 {EXIT_PROCESS_SHUTDOWN, 0},
                 {EXIT_PROCESS_USAGE, 0},
                 {EXIT_PROCESS_INIT, 101},
                 {EXIT_PROCESS_ERROR, 101}};
    for (const auto& c : cases) {
        EXPECT_EXIT(exit_with_handler(c.code), testing::ExitedWithCode(c.status),
                    testing::Not(testing::HasSubstr("exit handler ran")));
    }
}

TEST(ExitProcessDeathTest, UnknownRecordCountsAsError) {
    static const qor_exitcode_impl foreign = {6789};
    EXPECT_EXIT(exit_process(&foreign), testing::ExitedWithCode(101), "");
    EXPECT_EXIT(exit_process(nullptr), testing::ExitedWithCode(101), "");
}
