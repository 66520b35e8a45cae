// Duration texts: parse_interval and render_interval.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <utility>

#include "qorbasic/timeutils.h"

namespace {

constexpr long MS = 1000, S = 1000 * MS, MIN = 60 * S, H = 60 * MIN, D = 24 * H;

// A byte from 0x80 up ends the unit word, and is skipped before it; the
// product wraps in 64 bits.
TEST(ParseInterval, ReadsACountAndOneUnitWordOrGivesZero) {
    // clang-format off
    const std::pair<const char*, long> cases[] = {
        {"7 usec", 7},     {"1 ms", MS},      {"2 MILLIS", 2 * MS},      {"3 Microseconds", 3},
        {"10 sec", 10 * S},  {"10sec", 10 * S},  {"  +4 s", 4 * S},      {"10\tsecs\n", 10 * S},
        {"1 M", MIN},      {"-5 min", -5 * MIN},  {"2h", 2 * H},         {"2 days\xc3\xa9", 2 * D},
        {"3 hrs", 3 * H},  {"1 day", D},      {"5 \x01\x80 d", 5 * D},   {"9 secs please", 9 * S}};
    // clang-format on
    for (const auto& [text, ticks] : cases) EXPECT_EQ(parse_interval(text), ticks) << text;
    EXPECT_EQ(parse_interval("9223372036854775807 usec"), LONG_MAX);
    EXPECT_EQ(parse_interval("9223372036854775807 ms"), static_cast<long>(LONG_MAX * 1000UL));
    // No digits is a count of 0; no unit, an unknown one or a fraction fail.
    for (const char* text : {"min", "10", "10 ", "10 secx", "10 weeks", "1.5 h", ""})
        EXPECT_EQ(parse_interval(text), 0) << text;
    EXPECT_EQ(parse_interval(nullptr), 0);
}

// That every rendering reads back to within one of its unit is checked by the
// parse_interval fuzz target; these are the unit choices.
TEST(RenderInterval, PicksTheUnitByRange) {
    const std::pair<long, const char*> cases[] = {
        {0, "0 seconds"},    {1, "1 usec"},          {9999, "9999 usecs"}, {MS, "1 ms"},
        {12345, "12 ms"},    {1500 * MS, "1500 ms"}, {S, "1 sec"},         {2 * S, "2 secs"},
        {90 * S, "90 secs"}, {MIN, "1 min"},         {2 * MIN, "2 mins"},  {H, "1 hr"},
        {10 * H, "10 hrs"},  {25 * H, "25 hrs"},     {D, "1 day"},         {11 * D, "11 days"},
        {-S, "-1 sec"},      {-1, "-1 usec"}};
    std::string out = "old";
    for (const auto& [ticks, text] : cases) {
        render_interval(out, ticks);
        EXPECT_EQ(out, text) << ticks;
    }
    render_interval(out, LONG_MAX);
    EXPECT_EQ(out, "106751991 days");
    render_interval(out, LONG_MIN);
    EXPECT_EQ(out, "-106751991 days");
}

}  // namespace
