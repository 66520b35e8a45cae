#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "qorbasic/timeutils.h"

namespace {

constexpr long kSecond = 1000000;

using NameFunction = void (*)(std::string&, const char*, long, const char*);

std::string name(NameFunction function, const char* prefix, long ticks, const char* suffix) {
    std::string out = "old";
    function(out, prefix, ticks, suffix);
    return out;
}

TEST(DatedNames, PutTheUtcDateBetweenPrefixAndSuffix) {
    const long april = 1522587909L * kSecond + 123;  // 2018-04-01 13:05:09 UTC
    const std::string long_prefix(300, 'p');
    const struct {
        NameFunction function;
        const char* prefix;
        long ticks;
        const char* suffix;
        std::string expected;
    } cases[] = {
        {filename_by_day, "app-", april, ".log", "app-20180401.log"},
        {filename_by_hour, "app-", april, ".log", "app-20180401-13.log"},
        {filename_by_minute, "app-", april, ".log", "app-20180401-1305.log"},
        {filename_by_second, "app-", april, ".log", "app-20180401-130509.log"},
        {filename_by_second, nullptr, 1, nullptr, "19700101-000000"},
        {filename_by_day, "", 1, "", "19700101"},
        {filename_by_second, "", -1 * kSecond, "", "19691231-235959"},
        {filename_by_day, "x", 253402300800L * kSecond, "", "x100000101"},
        // A long prefix is kept whole, never cut to make room for the date.
        {filename_by_day, long_prefix.c_str(), 1, ".log", long_prefix + "19700101.log"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(name(c.function, c.prefix, c.ticks, c.suffix), c.expected) << c.expected;
    }
    // Ticks 0 mean now.
    std::string before = name(filename_by_day, "", current_time_usec1970(), "");
    std::string now = name(filename_by_day, "", 0, "");
    std::string after = name(filename_by_day, "", current_time_usec1970(), "");
    EXPECT_TRUE(now == before || now == after) << now;
}

// The zone's offset on the reference date holds all year, also on the day
// the zone changes its own offset: the hour a local name shows moves on
// with UTC, without a gap or a repeat at the change.
TEST(DatedNames, LocalNamesFollowTheFixedZoneOffset) {
    const long change = 1520749800L * kSecond;  // 2018-03-11 06:30 UTC, 01:30 EST
    const struct {
        const char* zone;
        long ticks;
        const char* expected;
    } cases[] = {
        {"UTC0", change, "20180311-0630"},
        {"<+05>-5", change, "20180311-1130"},
        {"<-0330>3:30", change, "20180311-0300"},
        // EST5EDT is on summer time on the reference date, so -4 hours all
        // year: before the change as well as one and two hours later.
        {"EST5EDT,M3.2.0,M11.1.0", change, "20180311-0230"},
        {"EST5EDT,M3.2.0,M11.1.0", change + 3600 * kSecond, "20180311-0330"},
        {"EST5EDT,M3.2.0,M11.1.0", change - 7 * 3600 * kSecond, "20180310-1930"},
        // Lord Howe moves by half an hour; 2018-04-01 is its last summer day.
        {"<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", change, "20180311-1730"},
    };
    for (const auto& c : cases) {
        setenv("TZ", c.zone, 1);
        EXPECT_EQ(name(filename_by_minute, "", gmt_to_local(c.ticks), ""), c.expected) << c.zone;
    }
    setenv("TZ", "UTC0", 1);
}

}  // namespace
