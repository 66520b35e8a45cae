#include <gtest/gtest.h>

#include <string>

#include "logging/log_test_support.h"
#include "qorbasic/log.h"

namespace {

TEST(Levels, RecordsInSeverityOrderWithTheirNames) {
    struct Case {
        const qor_loglevel_impl* level;
        int syslog;
        const char* short_name;
        const char* full_name;
        const char* alias;
    } cases[] = {
        {QOR_LOGLEVEL_TRACE, 7, "T~", "TRACE", ""},
        {QOR_LOGLEVEL_DEBUG, 7, "D~", "DEBUG", ""},
        {QOR_LOGLEVEL_INFO, 6, "I~", "INFO", ""},
        {QOR_LOGLEVEL_NOTICE, 5, "N~", "NOTICE", ""},
        {QOR_LOGLEVEL_WARN, 4, "W~", "WARNING", "WARN"},
        {QOR_LOGLEVEL_ERROR, 3, "E~", "ERROR", "ERR"},
        {QOR_LOGLEVEL_FATAL, 2, "F~", "FATAL", ""},
    };
    const qor_loglevel_impl* previous = QOR_LOGLEVEL_DEFAULT;
    for (const Case& c : cases) {
        EXPECT_TRUE(loglevel_is_valid(c.level));
        EXPECT_EQ(c.level->magic, 12345);
        EXPECT_EQ(loglevel_to_syslog(c.level), c.syslog);
        EXPECT_STREQ(loglevel_shortname(c.level), c.short_name);
        EXPECT_STREQ(loglevel_fullname(c.level), c.full_name);
        EXPECT_STREQ(c.level->alias, c.alias);
        EXPECT_LT(reinterpret_cast<uintptr_t>(previous), reinterpret_cast<uintptr_t>(c.level));
        previous = c.level;
    }
}

TEST(Levels, OnlyTheSevenRecordsAreValid) {
    const qor_loglevel_impl copy = *QOR_LOGLEVEL_INFO;
    const char* inside = reinterpret_cast<const char*>(QOR_LOGLEVEL_INFO) + 4;
    for (const qor_loglevel_impl* bad :
         {QOR_LOGLEVEL_DEFAULT, &copy, QOR_LOGLEVEL_FATAL + 1, QOR_LOGLEVEL_TRACE - 1,
          reinterpret_cast<const qor_loglevel_impl*>(inside)}) {
        EXPECT_FALSE(loglevel_is_valid(bad));
    }
}

// A bad level gives the fallback texts and is reported on the log once per
// call, when "basiclib" sends ERROR.
TEST(Levels, BadLevelGivesFallbacksAndIsReported) {
    qortest::ChildResult child = qortest::run_in_child([] {
        bool ok = std::string(loglevel_shortname(QOR_LOGLEVEL_DEFAULT)) == "X~" &&
                  std::string(loglevel_fullname(QOR_LOGLEVEL_DEFAULT)) == "<log level>" &&
                  loglevel_to_syslog(QOR_LOGLEVEL_DEFAULT) == 6;
        set_default_loglevel(QOR_LOGLEVEL_FATAL);
        loglevel_fullname(QOR_LOGLEVEL_DEFAULT);  // filtered out: no report
        _exit(ok ? 0 : 1);
    });
    EXPECT_TRUE(child.exited_with(0));
    std::string report = "] invalid log level\n";
    size_t count = 0;
    for (size_t at = child.err.find(report); at != std::string::npos;
         at = child.err.find(report, at + 1)) {
        ++count;
    }
    EXPECT_EQ(count, 3u) << child.err;
}

// A bad level inside the format path prints "<log level>" and adds no second
// line: the report would need the lock that the emitting thread holds.
TEST(Levels, BadLevelOfAMessagePrintsThePlaceholderWithoutReentering) {
    qortest::ChildResult child = qortest::run_in_child([] {
        BasicLog::Source* source = BasicLog::make_logsource_instance("bad_level.cc");
        BasicLog::LogMessageBuilder(source->receiver(), source->name().c_str(),
                                    QOR_LOGLEVEL_DEFAULT, "odd", __FILE__, __func__);
    });
    EXPECT_TRUE(child.exited_with(0)) << child.status;
    EXPECT_EQ(child.err.compare(0, 13, "[<log level> "), 0) << child.err;
    EXPECT_EQ(child.err.find('\n'), child.err.size() - 1) << child.err;
}

}  // namespace
