#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "logging/log_test_support.h"
#include "qorbasic/log.h"

namespace {

using qortest::run_in_child;

const char kNullText[] = "assert error, <filename unknown> line 0, \"<no message>\" \n";

TEST(AssertFailure, DefaultHandlerPrintsThenLogsThenRaisesSigill) {
    qortest::ChildResult child = run_in_child([] { invokeAssertFailure(nullptr, 0, nullptr); });
    EXPECT_TRUE(child.killed_by(SIGILL)) << child.status;
    ASSERT_EQ(child.err.compare(0, sizeof kNullText - 1, kNullText), 0) << child.err;
    std::string logged = child.err.substr(sizeof kNullText - 1);
    EXPECT_EQ(logged.compare(0, 7, "[ERROR "), 0) << logged;
    EXPECT_NE(logged.find(std::string("] ") + kNullText + "\n"), std::string::npos) << logged;
}

TEST(AssertFailure, DefaultHandlerReturnsWhenSigillIsIgnored) {
    qortest::ChildResult child = run_in_child([] {
        signal(SIGILL, SIG_IGN);
        set_default_loglevel(QOR_LOGLEVEL_FATAL);
        invokeAssertFailure("queue.cc", 42, "internal linked-list error");
    });
    EXPECT_TRUE(child.exited_with(0)) << child.status;
    EXPECT_EQ(child.err, "assert error, queue.cc line 42, \"internal linked-list error\" \n");
}

TEST(AssertFailure, LongMessageIsCutToTheBuffer) {
    qortest::ChildResult child = run_in_child([] {
        signal(SIGILL, SIG_IGN);
        set_default_loglevel(QOR_LOGLEVEL_FATAL);
        std::string message(2000, 'm');
        defaultAssertFailure("f.cc", 1, message.c_str());
    });
    ASSERT_EQ(child.err.size(), 1023u);
    EXPECT_EQ(child.err.compare(0, 27, "assert error, f.cc line 1, "), 0);
}

struct Recorded {
    std::string file;
    int line = -1;
    std::string message;
    int calls = 0;
};
Recorded g_recorded;

void recording_handler(const char* file, int line, const char* message) {
    g_recorded.file = file;
    g_recorded.line = line;
    g_recorded.message = message;
    ++g_recorded.calls;
}

TEST(AssertFailure, InstalledHandlerReplacesTheDefaultUntilReset) {
    qortest::ChildResult child = run_in_child([] {
        setAssertFailure(recording_handler);
        invokeAssertFailure("a.cc", 7, "packet bytes missing");
        bool ok = g_recorded.calls == 1 && g_recorded.file == "a.cc" && g_recorded.line == 7 &&
                  g_recorded.message == "packet bytes missing";
        if (!ok) _exit(1);
        setAssertFailure(nullptr);
        invokeAssertFailure(nullptr, 0, nullptr);
        _exit(2);  // not reached: the default handler raised SIGILL
    });
    EXPECT_TRUE(child.killed_by(SIGILL)) << child.status;
    EXPECT_EQ(child.err.compare(0, sizeof kNullText - 1, kNullText), 0) << child.err;
}

// An assertion on a thread that holds the LogInput mutex (as make_source does
// when it can't create a source) prints and raises all the same.
class AssertingEmitter : public BasicLog::Emitter {
  public:
    void send_one_line(const qor_loglevel_impl*, const std::string&, const std::string&) override {
        invokeAssertFailure("emitter.cc", 9, "failed to create a logger object");
    }
    const char* emitter_type() const override { return "AssertingEmitter"; }
};

TEST(AssertFailure, AssertionWhileHoldingTheLogLockNeitherWaitsNorLosesItsText) {
    qortest::ChildResult ignored = run_in_child([] {
        signal(SIGILL, SIG_IGN);
        BasicLog::add_early_emitter(new AssertingEmitter);
        BasicLog::Source* source = BasicLog::make_logsource_instance("x.cc");
        BasicLog::LogMessageBuilder(source->receiver(), source->name().c_str(), QOR_LOGLEVEL_ERROR,
                                    "trigger", __FILE__, __func__);
    });
    EXPECT_TRUE(ignored.exited_with(0)) << ignored.status;
    EXPECT_EQ(ignored.err,
              "assert error, emitter.cc line 9, \"failed to create a logger object\" \n");

    qortest::ChildResult fatal = run_in_child([] {
        BasicLog::add_early_emitter(new AssertingEmitter);
        BasicLog::Source* source = BasicLog::make_logsource_instance("x.cc");
        BasicLog::LogMessageBuilder(source->receiver(), source->name().c_str(), QOR_LOGLEVEL_ERROR,
                                    "trigger", __FILE__, __func__);
    });
    EXPECT_TRUE(fatal.killed_by(SIGILL)) << fatal.status;
}

}  // namespace
