// IPCidr: construction, derived addresses and the edges of the prefix arithmetic.
#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>
#include <tuple>

#include "qorbasic/net.h"

namespace {

TEST(IPCidrTest, TextKeepsHostBitsUntilNormalizedAndDerivesAddresses) {
    IPCidr c("10.1.2.7/24");
    EXPECT_EQ(c.toString(), "10.1.2.7/24");
    EXPECT_EQ(c.plain(), "10.1.2.7");
    EXPECT_EQ(c.netmask().toString(), "255.255.255.0");
    EXPECT_EQ(c.networkAddress().toString(), "10.1.2.0");
    EXPECT_EQ(c.broadcastAddress().toString(), "10.1.2.255");
    EXPECT_EQ(c.host_bits(), 8);
    EXPECT_FALSE(c == c.normalized());
    EXPECT_TRUE(c.normalize());
    EXPECT_EQ(c, IPCidr("10.1.2.0/24"));
    EXPECT_EQ(IPCidr("2001:db8::1/64").broadcastAddress().toString(),
              "2001:db8::ffff:ffff:ffff:ffff");
    EXPECT_EQ(IPCidr().host_bits(), 0);
    IPCidr too_long(IPAddress("10.1.2.3"), 40);
    EXPECT_FALSE(too_long.normalize());
    EXPECT_EQ(too_long.toString(), "10.1.2.3/40");
}

TEST(IPCidrTest, ConstructorsReadPrefixFromTextNumberOrNetmask) {
    // clang-format off
    const std::tuple<IPCidr, const char*, bool> cases[] = {
        {IPCidr("10.0.0.1"), "10.0.0.1/32", true},  {IPCidr("::1"), "::1/128", true},
        {IPCidr("10.0.0.0/40"), "10.0.0.0/40", false},  {IPCidr("garbage"), "invalid/0", false},
        {IPCidr(std::string("10.0.0.0"), std::string("255.255.0.0")), "10.0.0.0/16", true},
        {IPCidr(std::string("10.0.0.0"), std::string("255.0.255.0")), "10.0.0.0/0", true},
        {IPCidr(IPAddress("10.0.0.0"), IPAddress("255.255.255.128")), "10.0.0.0/25", true},
        {IPCidr(std::string("10.0.0.0"), static_cast<unsigned short>(24)), "10.0.0.0/24", true},
        {IPCidr(IPAddress("::"), 129), "::/129", false},  {IPCidr(), "invalid/0", false}};
    // clang-format on
    for (const auto& [value, printed, valid] : cases) {
        EXPECT_EQ(value.toString(), printed);
        EXPECT_EQ(value.isValid(), valid) << printed;
    }
}

TEST(IPCidrTest, UnreadablePrefixTextRaisesOnlyTheParserExceptions) {
    EXPECT_THROW(IPCidr("10.0.0.0/x"), std::invalid_argument);
    EXPECT_THROW(IPCidr("::/99999999999999999999999"), std::out_of_range);
    // A prefix that fits a long is cut to 16 bits and not checked.
    EXPECT_EQ(IPCidr("10.0.0.0/65544").prefix_length(), 8);
}

// Addresses of both families against random prefixes are checked in
// cidr_property_test.cc; here a prefix includes a prefix only when it is not
// longer, and /0 of one family holds nothing of the other.
TEST(IPCidrTest, IncludesPrefixesNoLongerThanItselfAndNothingOfTheOtherFamily) {
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"10.0.0.0/8", "10.1.0.0/16", true},   {"10.1.0.0/16", "10.0.0.0/8", false},
        {"10.0.0.0/8", "10.0.0.0/8", true},    {"10.0.0.0/8", "11.0.0.0/16", false},
        {"10.1.2.3/8", "10.200.0.1/32", true}, {"::/0", "1.2.3.4/32", false},
        {"0.0.0.0/0", "::/0", false}};
    for (const auto& [outer, inner, included] : cases)
        EXPECT_EQ(IPCidr(outer).includes(IPCidr(inner)), included) << outer << " " << inner;
}

// Sum joins only neighbours of equal length; superSet finds the longest
// common prefix. The random cases, both families and /0 among them, are in
// cidr_property_test.cc; these are the edges.
TEST(IPCidrTest, SumAndSuperSetOfTwoPrefixes) {
    const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
        {"10.0.0.0/25", "10.0.0.128/25", "10.0.0.0/24", "10.0.0.0/24"},
        {"10.0.0.128/25", "10.0.1.0/25", "invalid/0", "10.0.0.0/23"},
        {"10.0.0.5/24", "10.0.0.9/24", "10.0.0.0/24", "10.0.0.0/24"},
        {"10.0.0.0/24", "10.0.1.0/25", "invalid/0", "10.0.0.0/23"},
        {"0.0.0.0/0", "0.0.0.0/0", "invalid/0", "0.0.0.0/0"},
        {"10.0.0.0/25", "::/25", "invalid/0", "invalid/0"},
        {"10.0.0.0/40", "10.0.0.0/40", "invalid/0", "invalid/0"}};
    for (const auto& [a, b, sum, super] : cases) {
        EXPECT_EQ(IPCidr::sum(IPCidr(a), IPCidr(b)).toString(), sum) << a << " + " << b;
        EXPECT_EQ(IPCidr::superSet(IPCidr(a), IPCidr(b)).toString(), super) << a << " ^ " << b;
    }
}

TEST(IPCidrTest, RangeGivesHostsAndTheirCount) {
    const std::tuple<const char*, const char*, const char*, int> cases[] = {
        {"10.0.0.0/24", "10.0.0.1", "10.0.0.254", 254},
        {"10.0.0.4/31", "10.0.0.5", "10.0.0.4", 0},
        {"10.0.0.4/32", "10.0.0.5", "10.0.0.3", -1},
        {"0.0.0.0/1", "0.0.0.1", "127.255.255.254", INT_MAX - 1},
        // The count saturates from 32 host bits on.
        {"0.0.0.0/0", "0.0.0.1", "255.255.255.254", INT_MAX},
        {"2001:db8::/64", "2001:db8::1", "2001:db8::ffff:ffff:ffff:fffe", INT_MAX}};
    for (const auto& [net, first_text, last_text, count] : cases) {
        IPAddress first, last;
        EXPECT_EQ(IPCidr(net).Range(first, last), count) << net;
        EXPECT_EQ(first.toString(), first_text) << net;
        EXPECT_EQ(last.toString(), last_text) << net;
    }
}

TEST(IPCidrTest, DefaultRouteCoversBothHalvesOfTheSplitRoute) {
    const std::tuple<const char*, bool> cases[] = {
        {"0.0.0.0/0", true},    {"0.0.0.0/1", true},   {"128.0.0.0/1", true}, {"0.0.0.0/24", true},
        {"128.0.0.0/2", false}, {"10.0.0.0/8", false}, {"::/0", true},        {"::/64", true},
        {"8000::/1", false},    {"garbage", false}};
    for (const auto& [net, is_default] : cases)
        EXPECT_EQ(IPCidr(net).isDefaultRouteCIDR(), is_default) << net;
}

}  // namespace
