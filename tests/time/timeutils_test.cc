// Clocks, tick conversions, the zone offset and UTC timestamps.
#include "qorbasic/timeutils.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <tuple>
#include <utility>

namespace {

constexpr long kSecond = 1000000;

TEST(Monotime, RisesStrictlyFromLastOrTheWallClockAndMonotonicClockNeverGoesBack) {
    long last = 0;
    for (int i = 0; i < 1000; ++i) {
        const long next = monotime(last);
        ASSERT_GT(next, last);
        last = next;
    }
    long future = current_time_usec1970() + 3600 * kSecond;
    EXPECT_EQ(monotime(future), future + 1);
    const long before = current_time_usec1970(), now = monotime(0);
    EXPECT_GE(now, before);
    EXPECT_LE(now, current_time_usec1970());
    const long first = get_monotonic_time();
    EXPECT_GE(get_monotonic_time(), first);
}

TEST(Timeval, TicksSplitTowardZeroWithSignedRemainderAndNullIsHarmless) {
    const std::tuple<long, long, long> cases[] = {
        {1500000, 1, 500000}, {-1500000, -1, -500000}, {(1L << 40) + 7, 1099511, 627783},
        {-1, 0, -1},          {999999, 0, 999999},     {0, 0, 0}};
    for (const auto& [ticks, sec, usec] : cases) {
        struct timeval tv = {77, 77};
        ticks_to_timeval(&tv, ticks);
        EXPECT_EQ(tv.tv_sec, sec) << ticks;
        EXPECT_EQ(tv.tv_usec, usec) << ticks;
        EXPECT_EQ(timeval_to_ticks(&tv), ticks);
    }
    ticks_to_timeval(nullptr, 1500000);
    EXPECT_EQ(timeval_to_ticks(nullptr), 0);
}

// The offset is taken on 2018-04-01, which is summer time in a northern zone
// with summer time, and used for every season; a change of TZ is seen at the
// next call, not a second later. Lord Howe's summer time ends on the
// reference date itself, and its half-hour summer offset holds all year. UTC
// comes last, so that the process is left in a zone that the other tests do
// not care about.
TEST(ZoneOffset, FollowsTzOnTheReferenceDateAndRoundTrips) {
    // clang-format off
    const std::pair<const char*, long> minutes_added[] = {
        {"<+05>-5", 300},  {"EST5EDT,M3.2.0,M11.1.0", -240},  {"<-0330>3:30", -210},
        {"<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", 660},  {"UTC0", 0}};
    // clang-format on
    const long january = 1514764800L * kSecond;  // 2018-01-01, winter
    for (const auto& [zone, minutes] : minutes_added) {
        setenv("TZ", zone, 1);
        EXPECT_EQ(gmt_to_local(january), january + minutes * 60 * kSecond) << zone;
        EXPECT_EQ(local_to_gmt(gmt_to_local(january)), january) << zone;
    }
}

// Every way the environment can change TZ is seen at the next call: setenv,
// a putenv buffer written in place, unsetenv, and TZ added where another
// variable was just removed.
TEST(ZoneOffset, SeesEveryChangeOfTzAtTheNextCall) {
    const long t = 1514764800L * kSecond;
    auto minutes = [t] { return (gmt_to_local(t) - t) / (60 * kSecond); };
    setenv("TZ", "<+05>-5", 1);
    EXPECT_EQ(minutes(), 300);
    static char buffer[] = "TZ=<+03>-3";
    putenv(buffer);
    EXPECT_EQ(minutes(), 180);
    buffer[5] = '4';
    buffer[9] = '4';
    EXPECT_EQ(minutes(), 240);
    setenv("TZ", "<+0745>-7:45", 1);
    EXPECT_EQ(minutes(), 465);
    unsetenv("TZ");
    EXPECT_NE(minutes(), 465);
    setenv("QOR_ZONE_TEST_FILLER", "x", 1);
    minutes();
    unsetenv("QOR_ZONE_TEST_FILLER");
    setenv("TZ", "<+02>-2", 1);
    EXPECT_EQ(minutes(), 120);
    setenv("TZ", "UTC0", 1);
}

TEST(TimeBreakdown, SplitsTicksIntoUtcFieldsAndSyncTicksRestoresThem) {
    // year-month-day hour:minute:second millisecond microsecond
    // clang-format off
    const std::pair<long, const char*> cases[] = {
        {1491053109000123L, "2017-4-1 13:25:9 0 123"},  {1234, "1970-1-1 0:0:0 1 234"},
        {951782400999999L, "2000-2-29 0:0:0 999 999"},  {4102444800000001L, "2100-1-1 0:0:0 0 1"},
        {-86400L * kSecond, "1969-12-31 0:0:0 0 0"}};
    // clang-format on
    for (const auto& [ticks, fields] : cases) {
        TimeBreakdown when(ticks);
        char got[64];
        snprintf(got, sizeof got, "%d-%d-%d %d:%d:%d %d %d", when.year, when.month, when.day,
                 when.hour, when.minute, when.second, when.millisecond, when.microsecond);
        EXPECT_STREQ(got, fields) << ticks;
        when.ticks = 0;
        when.syncTicks();
        EXPECT_EQ(when.ticks, ticks);
    }
    TimeBreakdown when(0);
    when.year = 2017;
    when.month = 13;  // out of range: January 2018
    when.syncTicks();
    EXPECT_EQ(when.ticks, 1514764800L * kSecond);
}

TEST(StandardTimestamp, FormatsUtcFieldsAndEachSecondGetsItsOwnFields) {
    // Before 1970 the fraction is negative and prints as printf prints it.
    // clang-format off
    const std::tuple<long, bool, char, const char*> cases[] = {
        {0, false, 'T', "1970-01-01T00:00:00"},  {1500000, true, ' ', "1970-01-01 00:00:01.500000"},
        {1491053109000123L, true, ' ', "2017-04-01 13:25:09.000123"},
        {1491053109999999L, false, 'T', "2017-04-01T13:25:09"},
        {1491053110000000L, false, 'T', "2017-04-01T13:25:10"},
        {-1500000, true, ' ', "1969-12-31 23:59:59.-500000"},
        {253402300800L * kSecond, false, 'T', "10000-01-01T00:00:00"}};
    // clang-format on
    std::string out = "old text";
    for (const auto& [ticks, with_usec, separator, expected] : cases) {
        standard_timestamp(out, ticks, with_usec, separator);
        EXPECT_EQ(out, expected) << ticks;
    }
}

TEST(FromStandardTimestamp, ReadsWholeSecondsWithTheTSeparatorOnly) {
    // clang-format off
    const std::pair<const char*, long> cases[] = {
        {"1970-01-01T00:00:01", kSecond},  {"1970-01-01T00:00:01.500000", kSecond},
        {"2017-04-01T13:25:09", 1491053109L * kSecond}};
    // clang-format on
    for (const auto& [text, ticks] : cases) EXPECT_EQ(from_standard_timestamp(text), ticks) << text;
    for (const char* text : {"1970-01-01 00:00:01", "", "2017-04-01T13:25", "garbage"})
        EXPECT_EQ(from_standard_timestamp(text), 0) << text;
}

}  // namespace
