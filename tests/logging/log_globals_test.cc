// The process-wide logging state, each case in a child process of its own so
// that levels and sources set here never reach another test.
#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>
#include <string>

#include "logging/library_log.h"
#include "logging/log_test_support.h"
#include "qorbasic/log.h"

namespace {

using qortest::run_in_child;

void log_to(const qor_loglevel_impl* level, const char* text, bool with_params = false) {
    BasicLog::Source* source = BasicLog::make_logsource_instance("client.cc");
    if (!source->would_send(level)) return;
    BasicLog::LogMessageBuilder builder(source->receiver(), source->name().c_str(), level, text,
                                        __FILE__, __func__);
    if (with_params) builder.add("errmsg", "No route to host").add("errno", 113);
}

// The line on stderr is exact (its time is local time, see formats_test).
// DEBUG is filtered at the start level, INFO; adding a null early emitter
// keeps stderr. The flat level functions act on the same input.
TEST(ProcessLog, OneStandardLineOnStderrAndFlatLevelFunctions) {
    qortest::ChildResult child = run_in_child([] {
        BasicLog::add_early_emitter(nullptr);
        log_to(QOR_LOGLEVEL_DEBUG, "hidden");
        log_to(QOR_LOGLEVEL_WARN, "connect failed", true);
        bool ok = get_default_loglevel() == QOR_LOGLEVEL_INFO;
        set_default_loglevel(QOR_LOGLEVEL_WARN);
        ok = ok && get_default_loglevel() == QOR_LOGLEVEL_WARN &&
             !logger_wouldSend(QOR_LOGLEVEL_DEFAULT) && logger_wouldSend(QOR_LOGLEVEL_WARN) &&
             BasicLog::find_logsource("basiclib") == qor::detail::library_source() &&
             BasicLog::make_logsource_instance("a/b/Foo.cpp") == BasicLog::find_logsource("Foo");
        set_default_loglevel(QOR_LOGLEVEL_DEFAULT);
        _exit(ok && get_default_loglevel() == QOR_LOGLEVEL_INFO ? 0 : 1);
    });
    EXPECT_TRUE(child.exited_with(0));
    EXPECT_TRUE(std::regex_match(child.err,
                                 std::regex(R"(\[WARNING \d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{6}\] )"
                                            "connect failed: errmsg=No route to host errno=113\n")))
        << child.err;
}

// An exit handler registered before logging first comes up runs after every
// static destructor; the logging state must still be there for it.
TEST(ProcessLog, ExitHandlerAfterStaticDestructionCanStillLog) {
    qortest::ChildResult child = run_in_child([] {
        std::atexit([] { log_to(QOR_LOGLEVEL_WARN, "from exit"); });
        log_to(QOR_LOGLEVEL_WARN, "from main");
        std::exit(0);
    });
    EXPECT_TRUE(child.exited_with(0)) << child.status;
    EXPECT_NE(child.err.find("] from main\n"), std::string::npos) << child.err;
    EXPECT_NE(child.err.find("] from exit\n"), std::string::npos) << child.err;
}

}  // namespace
