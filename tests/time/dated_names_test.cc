// Dated file names: the UTC date between a prefix and a suffix.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "qorbasic/timeutils.h"

namespace {

constexpr long kSecond = 1000000;

using NameFunction = void (*)(std::string&, const char*, long, const char*);

std::string name(NameFunction function, const char* prefix, long ticks, const char* suffix) {
    std::string out = "old";
    function(out, prefix, ticks, suffix);
    return out;
}

// A long prefix is kept whole, never cut to make room for the date.
TEST(DatedNames, PutTheUtcDateBetweenPrefixAndSuffix) {
    const long april = 1522587909L * kSecond + 123;  // 2018-04-01 13:05:09 UTC
    const std::string long_prefix(300, 'p');
    const std::tuple<NameFunction, const char*, long, const char*, std::string> cases[] = {
        {filename_by_day, "app-", april, ".log", "app-20180401.log"},
        {filename_by_hour, "app-", april, ".log", "app-20180401-13.log"},
        {filename_by_minute, "app-", april, ".log", "app-20180401-1305.log"},
        {filename_by_second, "app-", april, ".log", "app-20180401-130509.log"},
        {filename_by_second, nullptr, -1 * kSecond, nullptr, "19691231-235959"},
        {filename_by_day, "x", 253402300800L * kSecond, "", "x100000101"},
        {filename_by_day, long_prefix.c_str(), 1, ".log", long_prefix + "19700101.log"}};
    for (const auto& [function, prefix, ticks, suffix, expected] : cases)
        EXPECT_EQ(name(function, prefix, ticks, suffix), expected) << expected;
    // Ticks 0 mean now.
    const std::string before = name(filename_by_day, "", current_time_usec1970(), "");
    const std::string now = name(filename_by_day, "", 0, "");
    EXPECT_TRUE(now == before || now == name(filename_by_day, "", current_time_usec1970(), ""));
}

}  // namespace
