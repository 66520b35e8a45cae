// IPAddress and its conversions, bit operators and derived addresses.
#include <gtest/gtest.h>
#include <sys/un.h>

#include <cstring>
#include <tuple>

#include "qorbasic/net.h"

namespace {

// That a valid address prints as text that reads back to it is checked by the
// ipaddress fuzz target.
TEST(IPAddressTest, TextParsesBothFamiliesAndRejectsTheRest) {
    // clang-format off
    const std::tuple<const char*, unsigned short, const char*> cases[] = {
        {"1.2.3.4", AF_INET, "1.2.3.4"},  {"::ffff:1.2.3.4", AF_INET6, "::ffff:1.2.3.4"},
        {"FE80::A", AF_INET6, "fe80::a"}, {"", 0, "invalid"},      {"1.2.3.4 ", 0, "invalid"},
        {"1.2.3", 0, "invalid"},          {"256.1.1.1", 0, "invalid"}, {"1.2.3.4/8", 0, "invalid"}};
    // clang-format on
    for (const auto& [text, family, printed] : cases) {
        IPAddress a(text);
        EXPECT_EQ(a.addressFamily(), family) << text;
        EXPECT_EQ(a.toString(), printed) << text;
        EXPECT_EQ(a.addrLength(), family == AF_INET ? 4 : family == AF_INET6 ? 16 : 0) << text;
        EXPECT_EQ(a.addr4() != nullptr, family == AF_INET) << text;
        EXPECT_EQ(a.addr6() != nullptr, family == AF_INET6) << text;
    }
}

TEST(IPAddressTest, RawBytesAndSockaddrConstructorsHonourOnlyKnownFamilies) {
    const unsigned char raw[16] = {10, 0, 0, 1, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    EXPECT_EQ(IPAddress(raw, AF_INET).toString(), "10.0.0.1");
    EXPECT_EQ(IPAddress(raw, AF_INET6).toString(), "a00:1:506:708:90a:b0c:d0e:f10");
    EXPECT_FALSE(IPAddress(raw, AF_UNIX).isValid());
    // Null data gives the zero address, and keeps even an unknown family.
    EXPECT_EQ(IPAddress(nullptr, AF_INET), IPAddress::zero4);
    EXPECT_NE(IPAddress::zero4, IPAddress::zero6);  // the same bytes, another family
    EXPECT_EQ(IPAddress(nullptr, AF_UNIX).addressFamily(), AF_UNIX);
    EXPECT_EQ(IPAddress(*IPAddress("2001:db8::5").addr6()).toString(), "2001:db8::5");
    EXPECT_EQ(IPAddress(*IPAddress("9.8.7.6").addr4()).toString(), "9.8.7.6");

    sockaddr_un un = {};
    un.sun_family = AF_UNIX;
    IPAddress local(reinterpret_cast<const sockaddr*>(&un));
    EXPECT_EQ(local.addressFamily(), AF_UNIX);
    EXPECT_EQ(local.addrLength(), 0);
    EXPECT_EQ(local.toString(), "");
    EXPECT_FALSE(IPAddress(static_cast<const sockaddr*>(nullptr)).isValid());
}

// Only the bytes of a sockaddr_in are written for IPv4, none for an invalid
// address.
TEST(IPAddressTest, SockaddrRoundTripKeepsAddressAndZeroesPort) {
    for (const char* text : {"192.168.1.2", "2001:db8::1", "bad"}) {
        IPAddress a(text);
        sockaddr_in6 storage;
        std::memset(&storage, 0xAB, sizeof(storage));
        a.copy(reinterpret_cast<sockaddr*>(&storage));
        const unsigned char* bytes = reinterpret_cast<const unsigned char*>(&storage);
        EXPECT_EQ(bytes[0], a.isValid() ? a.addressFamily() : 0xAB) << text;
        if (!a.isValid()) continue;
        EXPECT_EQ(bytes[16], a.addressFamily() == AF_INET ? 0xAB : 0) << text;
        EXPECT_EQ(storage.sin6_port, 0) << text;  // at the same offset as sin_port
        EXPECT_EQ(IPAddress(reinterpret_cast<const sockaddr*>(&storage)), a) << text;
    }
}

TEST(IPAddressTest, IncrementAndDecrementCarryAndRunOutToInvalid) {
    // clang-format off
    const std::tuple<const char*, bool, const char*> cases[] = {
        {"1.2.3.255", true, "1.2.4.0"}, {"1.2.4.0", false, "1.2.3.255"}, {"bad", true, "invalid"},
        {"0.0.0.0", false, "invalid"},  {"255.255.255.255", true, "invalid"},
        {"1::ffff", true, "1::1:0"},    {"1::1:0", false, "1::ffff"},    {"::", false, "invalid"}};
    // clang-format on
    for (const auto& [from, up, to] : cases) {
        IPAddress a(from);
        EXPECT_EQ(&(up ? ++a : --a), &a);
        EXPECT_EQ(a.toString(), to) << from << (up ? " ++" : " --");
    }
    IPAddress top = ~IPAddress("::");
    EXPECT_FALSE((++top).isValid());
}

TEST(IPAddressTest, BitOperatorsTakeFamilyAndWidthFromLeftOperand) {
    EXPECT_EQ((IPAddress("10.1.2.3") & IPAddress("255.0.0.0")).toString(), "10.0.0.0");
    EXPECT_EQ((IPAddress("10.1.2.3") | IPAddress("0.0.255.255")).toString(), "10.1.255.255");
    // The 12 bytes behind an IPv4 address stay zero, so it still equals
    // an address parsed from text.
    EXPECT_EQ(~IPAddress("255.255.255.0"), IPAddress("0.0.0.255"));
    EXPECT_EQ((~IPAddress("::")).toString(), "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff");
    // An IPv4 left operand reads only the first 4 bytes of an IPv6 right one.
    EXPECT_EQ((IPAddress("255.255.255.255") & IPAddress("102:304::")).toString(), "1.2.3.4");
    EXPECT_FALSE((IPAddress() | IPAddress("1.2.3.4")).isValid());
    EXPECT_FALSE((~IPAddress()).isValid());
}

// Every valid length of both families is checked in cidr_property_test.cc;
// these are the refusals.
TEST(IPAddressTest, NetmasksRejectTooLongPrefixesUnknownFamiliesAndGaps) {
    const std::tuple<unsigned, unsigned> refused[] = {
        {AF_INET, 33}, {AF_INET6, 129}, {AF_UNIX, 8}, {0, 0}};
    for (const auto& [family, prefix] : refused)
        EXPECT_FALSE(IPAddress::makeNetmask(family, prefix).isValid()) << family << "/" << prefix;
    for (const char* mask : {"255.0.255.0", "255.255.255.1", "0.255.0.0", "ffff::1", "garbage"})
        EXPECT_EQ(IPAddress(mask).netmaskPrefixLength(), 0) << mask;
    EXPECT_EQ(IPAddress("ffff:ffff:8000::").netmaskPrefixLength(), 33);
}

TEST(IPAddressTest, ApplyNetmaskNeedsMatchingFamilyOrFittingPrefix) {
    IPAddress a("10.1.2.3");
    EXPECT_FALSE(a.applyNetmask(IPAddress::makeNetmask(AF_INET6, 8)));
    EXPECT_FALSE(a.applyNetmask(static_cast<unsigned short>(33)));
    EXPECT_EQ(a.toString(), "10.1.2.3");
    EXPECT_TRUE(a.applyNetmask(static_cast<unsigned short>(16)));
    EXPECT_EQ(a.toString(), "10.1.0.0");
    EXPECT_TRUE(a.applyNetmask(IPAddress("255.0.0.0")));
    EXPECT_EQ(a.toString(), "10.0.0.0");
}

TEST(IPAddressTest, IPv4InIPv6ConversionsRoundTrip) {
    IPAddress a("1.2.3.4");
    EXPECT_EQ(a.v6mapped(), IPAddress("::ffff:1.2.3.4"));
    EXPECT_EQ(a.toString(), "1.2.3.4");  // v6mapped leaves the original
    EXPECT_FALSE(a.isIPv4InIPv6());
    EXPECT_TRUE(a.toIPv6() && a.isIPv4InIPv6());
    EXPECT_EQ(a, IPAddress("::ffff:1.2.3.4"));
    EXPECT_TRUE(a.toIPv4());
    EXPECT_EQ(a, IPAddress("1.2.3.4"));
    EXPECT_TRUE(a.toIPv4());  // already IPv4

    IPAddress loopback("::1");
    EXPECT_TRUE(loopback.toIPv6());
    EXPECT_FALSE(loopback.toIPv4());
    for (const char* text : {"::fffe:1.2.3.4", "1::ffff:1.2.3.4"})
        EXPECT_FALSE(IPAddress(text).isIPv4InIPv6()) << text;
    IPAddress none;
    EXPECT_FALSE(none.toIPv6() || none.toIPv4() || none.v6mapped().isValid());
}

TEST(IPAddressTest, SolicitedNodeTakesLastThreeBytesAndHitsLieInOrchid) {
    EXPECT_EQ(IPAddress("2001:db8::12:34aa:bbcc").v6SolicitedNodeMcastAddress().toString(),
              "ff02::1:ffaa:bbcc");
    EXPECT_FALSE(IPAddress("1.2.3.4").v6SolicitedNodeMcastAddress().isValid());
    // The IPv4 address has the prefix's first bytes.
    for (const char* text : {"2001:10::1", "2001:1f:ffff::1"}) EXPECT_TRUE(IPAddress(text).isHIT());
    for (const char* text : {"2001:20::1", "32.1.0.16"}) EXPECT_FALSE(IPAddress(text).isHIT());
}

// The second byte of an IPv4 group loses its top bit; the universal/local bit
// of a link-local address is cleared, which an XOR would set when clear.
TEST(IPAddressTest, MulticastMacAndLinkLocalFollowTheMappingRules) {
    // clang-format off
    const std::tuple<const char*, const char*> macs[] = {
        {"224.129.2.3", "01:00:5e:01:02:03"},      {"239.255.255.250", "01:00:5e:7f:ff:fa"},
        {"255.255.255.255", "ff:ff:ff:ff:ff:ff"},  {"ff02::1:ff00:1234", "33:33:ff:00:12:34"}};
    // clang-format on
    for (const auto& [address, mac] : macs)
        EXPECT_EQ(IPAddress(address).multicastMac().toString(), mac) << address;
    for (const char* text : {"10.0.0.1", "240.0.0.1", "fe80::1", "bad"})
        EXPECT_EQ(IPAddress(text).multicastMac(), MACAddress::ZERO) << text;
    const std::tuple<const char*, const char*> link_locals[] = {
        {"02:11:22:33:44:55", "fe80::11:22ff:fe33:4455"},
        {"00:11:22:33:44:55", "fe80::11:22ff:fe33:4455"},
        {"ff:ff:ff:ff:ff:ff", "fe80::fdff:ffff:feff:ffff"}};
    for (const auto& [mac, address] : link_locals)
        EXPECT_EQ(IPAddress::makeIPv6LinkLocal(MACAddress(std::string(mac))).toString(), address)
            << mac;
}

}  // namespace
