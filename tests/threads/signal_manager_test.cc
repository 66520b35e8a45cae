// Signal latching: each case in a child of its own, since signal actions and
// the current manager are process-wide.
#include <gtest/gtest.h>
#include <signal.h>

#include <cstdio>
#include <functional>
#include <string>

#include "logging/log_test_support.h"
#include "qorbasic/signals.h"

namespace {

// Writes the numbers it is handed to standard error, "<n>,", runs `during`
// inside each call, and marks each checkSignals with "|".
class RecordingManager : public SignalManager {
  public:
    void handleSignal(int signum) override {
        std::fprintf(stderr, "%d,", signum);
        if (during) during(signum);
    }
    void check() {
        checkSignals();
        std::fputs("|", stderr);
    }
    std::function<void(int)> during;
};

}  // namespace

TEST(SignalManagerTest, LatchesSignalsAndDispatchesThemByNumber) {
    const struct {
        std::function<void()> body;
        const char* dispatched;
    } cases[] = {
        // Repeats count once, lowest number first; numbers outside 0..31 are
        // ignored, 0 counts; with nothing pending a check calls nothing.
        {[] {
             RecordingManager manager;
             for (int signum : {SIGUSR2, SIGUSR1, SIGHUP, -1, 32}) manager.catchSignal(signum);
             for (int signum : {32, -1, 0}) SignalManager::handler(signum);
             for (int signum : {SIGUSR2, SIGUSR2, SIGUSR1, SIGUSR2, SIGHUP}) raise(signum);
             manager.check();
             manager.check();
         },
         "0,1,10,12,||"},
        // Raised inside handleSignal, a higher number goes out in the same
        // check, a lower one in the next, the same one is absorbed.
        {[] {
             RecordingManager manager;
             for (int signum : {SIGUSR1, SIGUSR2, SIGTERM}) manager.catchSignal(signum);
             manager.during = [](int signum) {
                 if (signum == SIGUSR2)
                     for (int again : {SIGUSR2, SIGTERM, SIGUSR1}) raise(again);
             };
             raise(SIGUSR2);
             for (int i = 0; i < 3; ++i) manager.check();
         },
         "12,15,|10,||"},
        // A second catchSignal installs nothing.
        {[] {
             RecordingManager manager;
             manager.catchSignal(SIGUSR1);
             struct sigaction installed = {};
             sigaction(SIGUSR1, nullptr, &installed);
             if (installed.sa_handler != &SignalManager::handler ||
                 (installed.sa_flags & (SA_RESTART | SA_RESETHAND | SA_NODEFER)) != SA_RESTART) {
                 std::fputs("wrong action,", stderr);
             }
             signal(SIGUSR1, SIG_IGN);
             manager.catchSignal(SIGUSR1);
             raise(SIGUSR1);
             manager.check();
         },
         "|"},
        // The handler fills the manager built last, and nothing once that
        // one is gone; the action stays installed.
        {[] {
             RecordingManager older;
             older.catchSignal(SIGUSR1);
             {
                 RecordingManager newer;
                 raise(SIGUSR1);
                 older.check();
                 newer.check();
             }
             raise(SIGUSR1);
             older.check();
         },
         "|10,||"},
    };
    for (const auto& c : cases) {
        qortest::ChildResult child = qortest::run_in_child(c.body);
        EXPECT_TRUE(child.exited_with(0)) << c.dispatched << " status " << child.status;
        EXPECT_EQ(child.err, c.dispatched);
    }
}
