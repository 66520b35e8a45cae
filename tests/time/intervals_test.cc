#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <utility>

#include "qorbasic/timeutils.h"

namespace {

TEST(ParseInterval, ReadsACountAndOneUnitWordOrGivesZero) {
    const std::pair<const char*, long> cases[] = {
        {"7 usec", 7},
        {"3 Microseconds", 3},
        {"1 ms", 1000},
        {"2 MILLIS", 2000},
        {"10 sec", 10000000},
        {"10sec", 10000000},
        {"10 SEC", 10000000},
        {"10 seconds please", 10000000},
        {"10\tsecs\n", 10000000},
        {"  +4 s", 4000000},
        {"-5 min", -300000000},
        {"1 M", 60000000},
        {"2h", 7200000000},
        {"3 hrs", 10800000000},
        {"1 day", 86400000000},
        {"2 days\xc3\xa9", 172800000000},  // a byte from 0x80 up ends the word
        {"5 \x01\x80 d", 432000000000},    // and is skipped before it
        {"min", 0},                        // no digits: a count of 0
        {"10", 0},
        {"10 ", 0},
        {"10 secx", 0},
        {"10 weeks", 0},
        {"1.5 h", 0},
        {"", 0},
        {nullptr, 0},
        // The product wraps in 64 bits.
        {"9223372036854775807 usec", LONG_MAX},
        {"9223372036854775807 ms", static_cast<long>(9223372036854775807UL * 1000UL)},
    };
    for (const auto& [text, ticks] : cases) {
        EXPECT_EQ(parse_interval(text), ticks) << (text != nullptr ? text : "(null)");
    }
}

// Every rendered value reads back as its count of whole units.
TEST(RenderInterval, PicksTheUnitByRangeAndReadsBack) {
    const std::pair<long, const char*> cases[] = {
        {0, "0 seconds"},
        {1, "1 usec"},
        {9999, "9999 usecs"},
        {1000, "1 ms"},
        {5000, "5 ms"},
        {10000, "10 ms"},
        {12345, "12 ms"},
        {1500000, "1500 ms"},
        {1000000, "1 sec"},
        {2000000, "2 secs"},
        {10000000, "10 secs"},
        {90000000, "90 secs"},
        {60000000, "1 min"},
        {120000000, "2 mins"},
        {600000000, "10 mins"},
        {3600000000, "1 hr"},
        {36000000000, "10 hrs"},
        {90000000000, "25 hrs"},
        {86400000000, "1 day"},
        {864000000000, "10 days"},
        {950400000000, "11 days"},
        {-1000000, "-1 sec"},
        {-1, "-1 usec"},
        {LONG_MAX, "106751991 days"},
        {LONG_MIN, "-106751991 days"},
    };
    for (const auto& [ticks, text] : cases) {
        std::string out = "old";
        render_interval(out, ticks);
        EXPECT_EQ(out, text) << ticks;
        long back = parse_interval(out.c_str());
        if (ticks == 0) continue;
        // What was dropped is less than one of the printed unit.
        long unit = back / std::stol(out);
        EXPECT_LT(static_cast<unsigned long>(ticks > 0 ? ticks - back : back - ticks),
                  static_cast<unsigned long>(unit))
            << out;
    }
}

}  // namespace
