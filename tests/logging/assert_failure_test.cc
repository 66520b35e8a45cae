// Assertion failures, each in a child process: the handler is process-wide and
// the default one ends the process.
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "logging/log_test_support.h"
#include "qorbasic/log.h"

namespace {

using qortest::run_in_child;

std::string g_recorded;

// An installed handler replaces the default until reset; the default one
// prints, then logs at ERROR, then raises SIGILL.
TEST(AssertFailure, InstalledHandlerReplacesTheDefaultThatPrintsLogsAndRaisesSigill) {
    qortest::ChildResult child = run_in_child([] {
        setAssertFailure([](const char* file, int line, const char* message) {
            g_recorded += std::string(file) + ":" + std::to_string(line) + ":" + message;
        });
        invokeAssertFailure("a.cc", 7, "packet bytes missing");
        if (g_recorded != "a.cc:7:packet bytes missing") _exit(1);
        setAssertFailure(nullptr);
        invokeAssertFailure(nullptr, 0, nullptr);
        _exit(2);  // not reached: the default handler raised SIGILL
    });
    EXPECT_TRUE(child.killed_by(SIGILL)) << child.status;
    const std::string printed = "assert error, <filename unknown> line 0, \"<no message>\" \n";
    ASSERT_EQ(child.err.compare(0, printed.size(), printed), 0) << child.err;
    EXPECT_EQ(child.err.compare(printed.size(), 7, "[ERROR "), 0) << child.err;
    EXPECT_EQ(child.err.substr(child.err.find("] ") + 2), printed + "\n");
}

// A long message is cut to the handler's 1023-byte buffer.
TEST(AssertFailure, DefaultHandlerCutsALongMessage) {
    qortest::ChildResult child = run_in_child([] {
        signal(SIGILL, SIG_IGN);
        set_default_loglevel(QOR_LOGLEVEL_FATAL);
        defaultAssertFailure("f.cc", 1, std::string(2000, 'm').c_str());
    });
    EXPECT_TRUE(child.exited_with(0)) << child.status;
    EXPECT_EQ(child.err.size(), 1023u);
    EXPECT_EQ(child.err.rfind("assert error, f.cc line 1, \"mmm", 0), 0u) << child.err;
}

// An assertion on a thread that holds the LogInput mutex (as make_source does
// when it can't create a source) prints and raises all the same.
TEST(AssertFailure, AssertionWhileHoldingTheLogLockNeitherWaitsNorLosesItsText) {
    for (bool ignore_sigill : {true, false}) {
        qortest::ChildResult child = run_in_child([ignore_sigill] {
            if (ignore_sigill) signal(SIGILL, SIG_IGN);
            BasicLog::add_early_emitter(new qortest::CapturingEmitter(nullptr, nullptr, [](auto&) {
                invokeAssertFailure("emitter.cc", 9, "failed to create a logger object");
            }));
            BasicLog::Source* source = BasicLog::make_logsource_instance("x.cc");
            BasicLog::LogMessageBuilder(source->receiver(), source->name().c_str(),
                                        QOR_LOGLEVEL_ERROR, "trigger", __FILE__, __func__);
        });
        EXPECT_TRUE(ignore_sigill ? child.exited_with(0) : child.killed_by(SIGILL))
            << ignore_sigill << " " << child.status;
        EXPECT_EQ(child.err,
                  "assert error, emitter.cc line 9, \"failed to create a logger object\" \n");
    }
}

}  // namespace
