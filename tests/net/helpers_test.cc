// MACAddress, SockAddr and the IPUtils text helpers with their flat forms.
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

#include "qorbasic/net.h"

namespace {

// That a readable text prints as text that reads back to it is checked by
// the macaddress fuzz target.
TEST(MACAddressTest, TextMustBeSixHexFieldsAndNothingMore) {
    EXPECT_EQ(MACAddress(std::string("01:23:45:67:89:AB")).toString(), "01:23:45:67:89:ab");
    EXPECT_EQ(MACAddress(std::string("1:2:3:4:5:6")).toString(), "01:02:03:04:05:06");
    for (const char* text : {"01:23:45:67:89", "01:23:45:67:89:ab ", "01:23:45:67:89:ab:cd",
                             "01-23-45-67-89-ab", "zz:23:45:67:89:ab", ""}) {
        EXPECT_EQ(MACAddress(std::string(text)), MACAddress::ZERO) << text;
    }
    // A NUL inside the text counts as trailing text.
    EXPECT_EQ(MACAddress(std::string("01:23:45:67:89:ab\0x", 19)), MACAddress::ZERO);
    // Assigning bad text clears the earlier bytes.
    MACAddress mac(std::string("01:23:45:67:89:ab"));
    mac = std::string("nonsense");
    EXPECT_EQ(mac, MACAddress::ZERO);
}

TEST(SockAddrTest, TextFormsByFamilyAndPortSurvivesNewAddress) {
    const std::pair<SockAddr, const char*> cases[] = {
        {SockAddr(AF_INET), "0.0.0.0:0"}, {SockAddr(IPAddress("1.2.3.4")), "1.2.3.4:0"},
        {SockAddr(AF_INET6), "[::]:0"},   {SockAddr(IPAddress("::1")), "[::1]:0"},
        {SockAddr(IPAddress()), ""},      {SockAddr(AF_UNIX), ""}};
    for (const auto& [value, printed] : cases) EXPECT_EQ(value.toString(), printed);

    SockAddr sa(IPAddress("10.0.0.1"));
    reinterpret_cast<sockaddr_in*>(sa.getSA())->sin_port = htons(8080);
    sa = IPAddress("10.0.0.2");
    EXPECT_EQ(sa.toString(), "10.0.0.2:8080");
    sa = std::string("2001:db8::7");
    EXPECT_EQ(sa.getPort(), 8080);
    reinterpret_cast<sockaddr_in6*>(sa.getSA())->sin6_port = htons(65535);
    EXPECT_EQ(sa.toString(), "[2001:db8::7]:65535");
    sa = IPAddress();
    EXPECT_EQ(sa.addressFamily(), 0);
    EXPECT_EQ(sa.getPort(), 0);
}

// 16 bytes count for IPv4 and 28 otherwise, so port, padding and scope do.
TEST(SockAddrTest, EqualityComparesPortAndTheBytesBehindTheAddress) {
    SockAddr a(IPAddress("1.2.3.4"));
    sockaddr_in6 other = {};
    IPAddress("1.2.3.4").copy(reinterpret_cast<sockaddr*>(&other));
    reinterpret_cast<unsigned char*>(&other)[20] = 1;
    EXPECT_TRUE(a == reinterpret_cast<sockaddr*>(&other));
    other.sin6_port = htons(1);  // at the offset of sin_port
    EXPECT_FALSE(a == reinterpret_cast<sockaddr*>(&other));

    SockAddr b(IPAddress("::1"));
    SockAddr copy(b);
    EXPECT_TRUE(copy == b.getSA());
    reinterpret_cast<sockaddr_in6*>(copy.getSA())->sin6_scope_id = 3;
    EXPECT_FALSE(copy == b.getSA());
    EXPECT_FALSE(a == b.getSA() || a == nullptr);
    copy = a;
    EXPECT_TRUE(copy == a.getSA());
}

TEST(IPUtilsTest, TextHelpersGuessFamilyAndReadPrefixes) {
    const std::pair<const char*, unsigned short> families[] = {
        {"::1", AF_INET6}, {"1.2.3.4", AF_INET}, {"", 0}, {"12345", 0}, {"ab.cd", AF_INET},
        {"123456.7", 0},   {"1234:", AF_INET6}};
    for (const auto& [text, family] : families)
        EXPECT_EQ(IPUtils::addressFamily(text), family) << text;
    const std::pair<const char*, unsigned short> prefixes[] = {
        {"10.0.0.0/8", 8}, {"10.0.0.0", 32},    {"::1", 128},      {"garbage", 0},
        {"::/0", 0},       {"10.0.0.0/40", 40}, {"garbage/12", 0}, {"1.2.3.4/ 7", 7}};
    for (const auto& [text, prefix] : prefixes)
        EXPECT_EQ(IPUtils::prefixLengthFromCidr(text), prefix) << text;
    EXPECT_THROW(IPUtils::prefixLengthFromCidr("10.0.0.0/x"), std::invalid_argument);
    EXPECT_EQ(IPUtils::prefixLengthFromNetmask("255.255.240.0"), 20);
    for (const char* text : {"10.0.0.0/8", "::/128"}) EXPECT_TRUE(IPUtils::isCidr(text));
    for (const char* text : {"10.0.0.0", "/8", "10.0.0.0/1234"})
        EXPECT_FALSE(IPUtils::isCidr(text)) << text;
    EXPECT_EQ(IPUtils::plainAddr("10.0.0.0"), "10.0.0.0");
    EXPECT_EQ(IPUtils::plainAddr("a/b/c"), "a/b");
}

TEST(IPUtilsTest, MakeNetmaskLeavesOutputAloneOnFailureAndQormacTakesTheLastBytes) {
    IPAddress out("1.2.3.4");
    EXPECT_FALSE(IPUtils::makeNetmask(AF_INET, 33, out));
    EXPECT_EQ(out.toString(), "1.2.3.4");
    EXPECT_TRUE(IPUtils::makeNetmask(AF_INET6, 16, out));
    EXPECT_EQ(out.toString(), "ffff::");

    EXPECT_EQ(IPUtils::QORMAC(IPAddress("2001:db8::aa:bbcc")).toString(), "4a:06:6a:aa:bb:cc");
    EXPECT_EQ(IPUtils::QORMAC(IPAddress("bad")).toString(), "4a:06:6a:00:00:00");
}

TEST(IPUtilsFlatTest, MacTextAndQormacRejectNullPointers) {
    unsigned char mac[6] = {7, 7, 7, 7, 7, 7};
    char text[18] = "untouched";
    in_addr address;
    inet_pton(AF_INET, "10.1.2.3", &address);
    EXPECT_EQ(iputils_str_to_mac(nullptr, "01:02:03:04:05:06") + iputils_str_to_mac(mac, nullptr) +
                  iputils_mac_to_str(nullptr, mac) + iputils_mac_to_str(text, nullptr) +
                  iputils_qormac(nullptr, &address) + iputils_qormac(mac, nullptr),
              0);
    EXPECT_EQ(mac[0], 7);
    EXPECT_STREQ(text, "untouched");

    EXPECT_EQ(iputils_str_to_mac(mac, "0a:1b:2c:3d:4e:5f"), 1);
    EXPECT_EQ(iputils_mac_to_str(text, mac), 1);
    EXPECT_STREQ(text, "0a:1b:2c:3d:4e:5f");
    // Unreadable text still succeeds, with a zero address.
    EXPECT_EQ(iputils_str_to_mac(mac, "nonsense"), 1);
    EXPECT_EQ(MACAddress(mac), MACAddress::ZERO);
    EXPECT_EQ(iputils_qormac(mac, &address), 1);
    EXPECT_EQ(MACAddress(mac).toString(), "4a:06:6a:01:02:03");
}

}  // namespace
