// The seven level records, their names and the parser of level names.
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "logging/log_test_support.h"
#include "qorbasic/log.h"

namespace {

// Levels are compared by address, so the records must lie in severity order.
TEST(Levels, SevenValidRecordsInSeverityOrderWithTheirNames) {
    std::string all;
    const qor_loglevel_impl* previous = QOR_LOGLEVEL_DEFAULT;
    for (const qor_loglevel_impl* level :
         {QOR_LOGLEVEL_TRACE, QOR_LOGLEVEL_DEBUG, QOR_LOGLEVEL_INFO, QOR_LOGLEVEL_NOTICE,
          QOR_LOGLEVEL_WARN, QOR_LOGLEVEL_ERROR, QOR_LOGLEVEL_FATAL}) {
        EXPECT_TRUE(loglevel_is_valid(level));
        EXPECT_LT(reinterpret_cast<uintptr_t>(previous), reinterpret_cast<uintptr_t>(level));
        previous = level;
        all += std::to_string(loglevel_to_syslog(level)) + " " + loglevel_shortname(level) + " " +
               loglevel_fullname(level) + " " + level->alias + ",";
    }
    EXPECT_EQ(all,
              "7 T~ TRACE ,7 D~ DEBUG ,6 I~ INFO ,5 N~ NOTICE ,4 W~ WARNING WARN,3 E~ ERROR ERR,"
              "2 F~ FATAL ,");
    const qor_loglevel_impl copy = *QOR_LOGLEVEL_INFO;
    const char* inside = reinterpret_cast<const char*>(QOR_LOGLEVEL_INFO) + 4;
    for (const qor_loglevel_impl* bad :
         {QOR_LOGLEVEL_DEFAULT, &copy, QOR_LOGLEVEL_FATAL + 1, QOR_LOGLEVEL_TRACE - 1,
          reinterpret_cast<const qor_loglevel_impl*>(inside)}) {
        EXPECT_FALSE(loglevel_is_valid(bad));
    }
}

// A bad level gives the fallback texts and is reported on the log once per
// call, when "basiclib" sends ERROR. Inside the format path of a message it
// prints "<log level>" and adds no report: that would need the lock that the
// emitting thread holds.
TEST(Levels, BadLevelGivesFallbacksAndIsReportedOutsideTheFormatPath) {
    qortest::ChildResult child = qortest::run_in_child([] {
        BasicLog::Source* source = BasicLog::make_logsource_instance("bad_level.cc");
        BasicLog::LogMessageBuilder(source->receiver(), source->name().c_str(),
                                    QOR_LOGLEVEL_DEFAULT, "odd", __FILE__, __func__);
        bool ok = std::string(loglevel_shortname(QOR_LOGLEVEL_DEFAULT)) == "X~" &&
                  std::string(loglevel_fullname(QOR_LOGLEVEL_DEFAULT)) == "<log level>" &&
                  loglevel_to_syslog(QOR_LOGLEVEL_DEFAULT) == 6;
        set_default_loglevel(QOR_LOGLEVEL_FATAL);
        loglevel_fullname(QOR_LOGLEVEL_DEFAULT);  // filtered out: no report
        _exit(ok ? 0 : 1);
    });
    EXPECT_TRUE(child.exited_with(0)) << child.status;
    EXPECT_TRUE(std::regex_match(
        child.err,
        std::regex(R"(\[<log level> [^\]]+\] odd\n(\[ERROR [^\]]+\] invalid log level\n){3})")))
        << child.err;
}

// Exact full and short names are left to the fuzz target.
TEST(ParseLoglevel, ReadsNamesAliasesAndTheLevelFieldOfALine) {
    // clang-format off
    const std::pair<const qor_loglevel_impl*, std::vector<const char*>> cases[] = {
        {QOR_LOGLEVEL_INFO, {nullptr, "", "   ", "verbose", "WARNINGS", "W", "[[WARN]", "ERR\tx"}},
        {QOR_LOGLEVEL_DEBUG, {"Debug"}}, {QOR_LOGLEVEL_ERROR, {"err", "ERROR]"}},
        {QOR_LOGLEVEL_WARN, {" warn ", "w~anything", "[WARNING 2017-01-02 10:00:00] x"}},
        {QOR_LOGLEVEL_FATAL, {"alert", "[EMERG]", "emergency", "critical", "panic"}}};
    // clang-format on
    for (const auto& [level, texts] : cases) {
        for (const char* text : texts) EXPECT_EQ(parse_loglevel(text), level) << (text ? text : "");
    }
}

}  // namespace
