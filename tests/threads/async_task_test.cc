// The lifecycle of AsyncTask and the worker loop of DetachedThread.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

#include "qorbasic/tasks.h"
#include "qorbasic/timeutils.h"

namespace {

// A task whose startup step succeeds or fails as told, and whose check moves
// a stopping task to complete or leaves it; it counts each step.
class ScriptedTask : public AsyncTask {
  public:
    ScriptedTask(bool step_ok, bool check_moves)
        : AsyncTask("scripted"), step_ok_(step_ok), check_moves_(check_moves) {}
    // The state as a letter: Created, Running, Stopping, complete (Done) or Failed.
    char state() {
        ScopedLock hold(asyncMutex());
        for (STATE s : {ASYNC_CREATED, ASYNC_RUNNING, ASYNC_STOPPING, ASYNC_COMPLETE}) {
            if (verifyState(s, hold)) return "CRSD"[s - ASYNC_CREATED];
        }
        return 'F';
    }
    int starts = 0, shutdowns = 0, checks = 0;

  protected:
    bool implAsyncStartup(ScopedLock&) override { return ++starts, step_ok_; }
    void implAsyncShutdown(ScopedLock&) override { ++shutdowns; }
    void implAsyncCheckComplete(ScopedLock& lock) override {
        ++checks;
        if (check_moves_) setAsyncState(ASYNC_COMPLETE, lock);
    }

  private:
    bool step_ok_, check_moves_;
};

// Counts its calls; returns false from call `last` on, or never (0).
class CountingWorker : public Predicate0 {
  public:
    explicit CountingWorker(int last = 0) : last_(last) {}
    bool predicate0() const override {
        int n = ++calls;
        if (last_ == 0) thread_nap(100);
        return last_ == 0 || n < last_;
    }
    mutable std::atomic<int> calls{0};

  private:
    int last_;
};

}  // namespace

// Events: S asyncStartup, D asyncShutdown, C asyncIsComplete. The outcome:
// one character per event ('1'/'0' for the bool ones, '-' for asyncShutdown),
// the state at the end, and the counts of the startup, shutdown and check steps.
TEST(AsyncTaskTest, FollowsTheTransitionTable) {
    const struct {
        bool step_ok, check_moves;
        const char *events, *outcome;
    } rows[] = {
        // clang-format off
        {false, true, "SC", "01 F 100"},    {true, true, "DC", "-1 D 000"},
        {true, true, "SC", "10 R 100"},
        {true, true, "SSDC", "10-1 F 100"},  // a failed task ignores shutdown, counts as complete
        {true, true, "SDCC", "1-11 D 111"}, {true, false, "SDCC", "1-00 S 112"},
        {true, true, "SDD", "1-- S 110"},   {true, false, "SDS", "1-0 F 110"},
        {true, true, "SDCS", "1-10 F 111"}, {true, true, "DS", "-0 F 000"},
        // clang-format on
    };
    for (const auto& row : rows) {
        ScriptedTask task(row.step_ok, row.check_moves);
        std::string outcome;
        for (const char* e = row.events; *e != '\0'; ++e) {
            if (*e == 'S') outcome += task.asyncStartup() ? '1' : '0';
            if (*e == 'C') outcome += task.asyncIsComplete() ? '1' : '0';
            if (*e == 'D') outcome += (task.asyncShutdown(), '-');
        }
        outcome += std::string(" ") + task.state() + " " + std::to_string(task.starts) +
                   std::to_string(task.shutdowns) + std::to_string(task.checks);
        EXPECT_EQ(outcome, row.outcome) << row.events;
    }
}

TEST(DetachedThreadTest, LoopsUntilTheWorkerEndsOrShutdownAndReportsDone) {
    CountingWorker forever, once(1);
    DetachedThread looping(&forever), finishing(&once), idle(nullptr);
    EXPECT_TRUE(looping.waitDone(0)) << "THREAD_DONE before startup";
    ASSERT_TRUE(finishing.startup() && idle.startup());
    EXPECT_TRUE(finishing.waitDone(5));
    EXPECT_EQ(once.calls, 1);
    EXPECT_EQ(idle.getState(), DetachedThread::THREAD_DONE);

    ASSERT_TRUE(looping.startup());
    EXPECT_FALSE(looping.startup()) << "a second loop on a running object";
    while (forever.calls < 3) thread_nap(100);
    EXPECT_FALSE(looping.waitDone(0));
    looping.shutdown();
    EXPECT_TRUE(looping.waitDone(5));
}

// startup returns only after the thread has taken over, so a shutdown right
// behind it stops the loop, and the object can be freed as soon as the
// state reads THREAD_DONE (the sanitizers see any later touch). Every other
// round, the shutdown comes from another thread while startup runs.
TEST(DetachedThreadTest, ShutdownRightAfterStartupStopsTheLoopAndFreesSafely) {
    CountingWorker forever;
    for (int i = 0; i < 300; ++i) {
        DetachedThread* thread = new DetachedThread(&forever);
        std::thread stopper([&] {
            if (i % 2 == 1) thread->shutdown();
        });
        ASSERT_TRUE(thread->startup());
        EXPECT_TRUE(i % 2 == 1 || thread->getState() == DetachedThread::THREAD_RUNNING);
        stopper.join();
        thread->shutdown();
        while (thread->getState() != DetachedThread::THREAD_DONE) thread_nap(100);
        delete thread;
    }
}
