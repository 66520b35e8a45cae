#include "qorbasic/timeutils.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

constexpr long kSecond = 1000000;

// Sets TZ for one test and puts the old value back.
class ScopedTz {
  public:
    explicit ScopedTz(const char* zone) {
        const char* old = std::getenv("TZ");
        had_ = old != nullptr;
        if (had_) old_ = old;
        setenv("TZ", zone, 1);
    }
    ~ScopedTz() {
        if (had_) {
            setenv("TZ", old_.c_str(), 1);
        } else {
            unsetenv("TZ");
        }
    }

  private:
    bool had_ = false;
    std::string old_;
};

TEST(Monotime, RisesStrictlyWhenFedItsOwnResults) {
    long last = 0;
    for (int i = 0; i < 1000; ++i) {
        long next = monotime(last);
        ASSERT_GT(next, last);
        last = next;
    }
}

TEST(Monotime, FutureLastGivesLastPlusOne) {
    long future = current_time_usec1970() + 3600 * kSecond;
    EXPECT_EQ(monotime(future), future + 1);
}

TEST(Monotime, ZeroGivesTheWallClock) {
    long before = current_time_usec1970();
    long now = monotime(0);
    long after = current_time_usec1970();
    EXPECT_GE(now, before);
    EXPECT_LE(now, after);
}

TEST(Clocks, MonotonicClockNeverGoesBack) {
    long first = get_monotonic_time();
    long second = get_monotonic_time();
    EXPECT_GT(first, 0);
    EXPECT_GE(second, first);
}

TEST(Timeval, TicksSplitTowardZeroWithSignedRemainder) {
    struct Case {
        long ticks;
        long sec;
        long usec;
    } cases[] = {
        {1500000, 1, 500000},
        {-1500000, -1, -500000},
        {0, 0, 0},
        {999999, 0, 999999},
        {-1, 0, -1},
        {1491053109000123L, 1491053109L, 123},
    };
    for (const Case& c : cases) {
        struct timeval tv = {77, 77};
        ticks_to_timeval(&tv, c.ticks);
        EXPECT_EQ(tv.tv_sec, c.sec) << c.ticks;
        EXPECT_EQ(tv.tv_usec, c.usec) << c.ticks;
        EXPECT_EQ(timeval_to_ticks(&tv), c.ticks);
    }
}

TEST(Timeval, NullPointersAreHarmless) {
    ticks_to_timeval(nullptr, 1500000);
    EXPECT_EQ(timeval_to_ticks(nullptr), 0);
}

TEST(ZoneOffset, UtcZoneLeavesTicksAlone) {
    ScopedTz zone("UTC0");
    EXPECT_EQ(gmt_to_local(1491053109000123L), 1491053109000123L);
    EXPECT_EQ(local_to_gmt(1491053109000123L), 1491053109000123L);
}

// The offset is taken on 2018-04-01, which is summer time in a northern zone
// with summer time, and used for every season; a change of TZ is seen at the
// next call, not a second later.
TEST(ZoneOffset, FollowsTzOnTheReferenceDate) {
    struct Case {
        const char* zone;
        long minutes_added;
    } cases[] = {
        {"<+05>-5", 300},
        {"EST5EDT,M3.2.0,M11.1.0", -240},
        {"UTC0", 0},
        {"<-0330>3:30", -210},
    };
    long january = 1514764800L * kSecond;  // 2018-01-01, winter
    for (const Case& c : cases) {
        ScopedTz zone(c.zone);
        EXPECT_EQ(gmt_to_local(january), january + c.minutes_added * 60 * kSecond) << c.zone;
        EXPECT_EQ(local_to_gmt(gmt_to_local(january)), january) << c.zone;
    }
}

TEST(TimeBreakdown, SplitsTicksIntoUtcFields) {
    TimeBreakdown when(1491053109000123L);
    EXPECT_EQ(when.year, 2017);
    EXPECT_EQ(when.month, 4);
    EXPECT_EQ(when.day, 1);
    EXPECT_EQ(when.hour, 13);
    EXPECT_EQ(when.minute, 25);
    EXPECT_EQ(when.second, 9);
    EXPECT_EQ(when.millisecond, 0);
    EXPECT_EQ(when.microsecond, 123);
    EXPECT_EQ(when.ticks, 1491053109000123L);

    TimeBreakdown small(1234);
    EXPECT_EQ(small.millisecond, 1);
    EXPECT_EQ(small.microsecond, 234);

    TimeBreakdown epoch;
    EXPECT_EQ(epoch.year, 1970);
    EXPECT_EQ(epoch.month, 1);
    EXPECT_EQ(epoch.day, 1);
    EXPECT_EQ(epoch.ticks, 0);
}

TEST(TimeBreakdown, SyncTicksRestoresTheTicksOfFromTicks) {
    for (long ticks :
         {0L, 1234L, 1491053109000123L, 951782400999999L, 4102444800000001L, -86400L * kSecond}) {
        TimeBreakdown when(ticks);
        when.ticks = 0;
        when.syncTicks();
        EXPECT_EQ(when.ticks, ticks);
    }
}

TEST(TimeBreakdown, SyncTicksNormalisesOutOfRangeFields) {
    TimeBreakdown when(0);
    when.year = 2017;
    when.month = 13;  // January 2018
    when.day = 1;
    when.syncTicks();
    EXPECT_EQ(when.ticks, 1514764800L * kSecond);
}

TEST(StandardTimestamp, FormatsUtcFields) {
    struct Case {
        long ticks;
        bool with_usec;
        char separator;
        const char* expected;
    } cases[] = {
        {0, false, 'T', "1970-01-01T00:00:00"},
        {1500000, true, ' ', "1970-01-01 00:00:01.500000"},
        {1491053109000123L, true, ' ', "2017-04-01 13:25:09.000123"},
        {1491053109999999L, false, 'T', "2017-04-01T13:25:09"},
        // Before 1970 the fraction is negative and prints as printf prints it.
        {-1500000, true, ' ', "1969-12-31 23:59:59.-500000"},
        {253402300800L * kSecond, false, 'T', "10000-01-01T00:00:00"},
    };
    for (const Case& c : cases) {
        std::string out = "old text";
        standard_timestamp(out, c.ticks, c.with_usec, c.separator);
        EXPECT_EQ(out, c.expected) << c.ticks;
    }
}

TEST(StandardTimestamp, ConsecutiveSecondsEachGetTheirOwnFields) {
    std::string out;
    long base = 1491053109L * kSecond;
    const char* expected[] = {"2017-04-01T13:25:09", "2017-04-01T13:25:10", "2017-04-01T13:25:09"};
    long offsets[] = {0, kSecond, 5};
    for (int i = 0; i < 3; ++i) {
        standard_timestamp(out, base + offsets[i], false, 'T');
        EXPECT_EQ(out, expected[i]);
    }
}

TEST(FromStandardTimestamp, ReadsWholeSecondsWithTheTSeparatorOnly) {
    struct Case {
        const char* text;
        long ticks;
    } cases[] = {
        {"1970-01-01T00:00:01", 1000000},
        {"1970-01-01T00:00:01.500000", 1000000},
        {"2017-04-01T13:25:09", 1491053109L * kSecond},
        {"1970-01-01 00:00:01", 0},
        {"", 0},
        {"2017-04-01T13:25", 0},
        {"garbage", 0},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(from_standard_timestamp(c.text), c.ticks) << c.text;
    }
}

TEST(FromStandardTimestamp, ReadsBackWhatStandardTimestampWrites) {
    std::string text;
    standard_timestamp(text, 1491053109L * kSecond, false, 'T');
    EXPECT_EQ(from_standard_timestamp(text), 1491053109L * kSecond);
}

}  // namespace
