// The process-wide logging state, each case in a child process of its own so
// that levels and sources set here never reach another test.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <regex>
#include <string>

#include "logging/library_log.h"
#include "logging/log_test_support.h"
#include "qorbasic/log.h"

namespace {

using qortest::run_in_child;

void log_warning_with_two_parameters() {
    BasicLog::Source* source = BasicLog::make_logsource_instance("client.cc");
    if (source->would_send(QOR_LOGLEVEL_WARN)) {
        BasicLog::LogMessageBuilder(source->receiver(), source->name().c_str(), QOR_LOGLEVEL_WARN,
                                    "connect failed", __FILE__, __func__)
            .add("errmsg", "No route to host")
            .add("errno", 113);
    }
}

void log_debug(const char* text) {
    BasicLog::Source* source = BasicLog::make_logsource_instance("client.cc");
    if (source->would_send(QOR_LOGLEVEL_DEBUG)) {
        BasicLog::LogMessageBuilder(source->receiver(), source->name().c_str(), QOR_LOGLEVEL_DEBUG,
                                    text, __FILE__, __func__);
    }
}

// The line on stderr is exact, and its time is the local wall clock: in a
// zone five hours east, the printed time read as UTC is five hours ahead.
TEST(ProcessLog, WarningWithTwoParametersIsOneStandardLineInLocalTime) {
    time_t before = time(nullptr);
    qortest::ChildResult child = run_in_child([] {
        setenv("TZ", "<+05>-5", 1);
        log_warning_with_two_parameters();
    });
    time_t after = time(nullptr);
    ASSERT_TRUE(child.exited_with(0));
    std::smatch match;
    std::regex form(
        R"(\[WARNING (\d{4})-(\d\d)-(\d\d) (\d\d):(\d\d):(\d\d)\.\d{6}\] connect failed: errmsg=No route to host errno=113\n)");
    ASSERT_TRUE(std::regex_match(child.err, match, form)) << child.err;
    struct tm fields = {};
    fields.tm_year = std::stoi(match[1]) - 1900;
    fields.tm_mon = std::stoi(match[2]) - 1;
    fields.tm_mday = std::stoi(match[3]);
    fields.tm_hour = std::stoi(match[4]);
    fields.tm_min = std::stoi(match[5]);
    fields.tm_sec = std::stoi(match[6]);
    time_t printed = timegm(&fields) - 5 * 3600;
    EXPECT_GE(printed, before);
    EXPECT_LE(printed, after);
}

TEST(ProcessLog, DebugIsFilteredAtTheStartLevelAndShownAfterLowering) {
    qortest::ChildResult child = run_in_child([] {
        if (get_default_loglevel() != QOR_LOGLEVEL_INFO) _exit(3);
        log_debug("hidden");
        set_default_loglevel(QOR_LOGLEVEL_DEBUG);
        log_debug("shown");
    });
    EXPECT_TRUE(child.exited_with(0));
    EXPECT_EQ(child.err.find("hidden"), std::string::npos) << child.err;
    EXPECT_NE(child.err.find("] shown\n"), std::string::npos) << child.err;
}

TEST(ProcessLog, FreshProcessListsTheTwelveLoggerNamesInOrder) {
    qortest::ChildResult child = run_in_child([] {
        StringVector names;
        BasicLog::logsource_instance_list(names);
        std::string joined;
        for (int i = 0; i < names.size(); ++i) joined += names.fetch(i) + ",";
        fputs(joined.c_str(), stderr);
    });
    EXPECT_EQ(child.err,
              "daemon,vexctl,plugin,vexcore,basiclib,loom2,kelcommon,tabapp,loomclient,"
              "loomserver,test,other,");
}

TEST(ProcessLog, FlatLevelFunctionsActOnTheProcessWideInput) {
    qortest::ChildResult child = run_in_child([] {
        set_default_loglevel(QOR_LOGLEVEL_WARN);
        bool ok =
            get_default_loglevel() == QOR_LOGLEVEL_WARN &&
            !logger_wouldSend(QOR_LOGLEVEL_DEFAULT) && logger_wouldSend(QOR_LOGLEVEL_WARN) &&
            BasicLog::find_logsource("basiclib") == qor::detail::library_source() &&
            BasicLog::make_logsource_instance("a/b/Foo.cpp") == BasicLog::find_logsource("Foo") &&
            BasicLog::find_logsource("a/b/Foo.cpp") == nullptr;
        set_default_loglevel(QOR_LOGLEVEL_DEFAULT);
        ok = ok && get_default_loglevel() == QOR_LOGLEVEL_INFO;
        _exit(ok ? 0 : 1);
    });
    EXPECT_TRUE(child.exited_with(0));
}

TEST(ProcessLog, AddEarlyEmitterOfNullKeepsStderr) {
    qortest::ChildResult child = run_in_child([] {
        BasicLog::add_early_emitter(nullptr);
        log_warning_with_two_parameters();
    });
    EXPECT_NE(child.err.find("connect failed"), std::string::npos);
}

// An exit handler registered before logging first comes up runs after every
// static destructor; the logging state must still be there for it.
TEST(ProcessLog, ExitHandlerAfterStaticDestructionCanStillLog) {
    qortest::ChildResult child = run_in_child(
        [] {
            std::atexit([] { log_warning_with_two_parameters(); });
            log_warning_with_two_parameters();
        },
        true);
    EXPECT_TRUE(child.exited_with(0)) << child.status;
    size_t first = child.err.find("connect failed");
    ASSERT_NE(first, std::string::npos);
    EXPECT_NE(child.err.find("connect failed", first + 1), std::string::npos) << child.err;
}

}  // namespace
