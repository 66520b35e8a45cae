// Only numeric text, "localhost" and loopback addresses: nothing here may
// need a network.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>

#include <cstring>
#include <vector>

#include "qorbasic/net.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;

// Names are not looked up: the failure is logged and nothing is written.
TEST(StrToAddrTest, NumericTextFillsItsFamilyAndOtherTextWritesNothing) {
    sockaddr_in6 out;
    std::memset(&out, 0xAB, sizeof(out));
    sockaddr* sa = reinterpret_cast<sockaddr*>(&out);
    EXPECT_EQ(NetworkUtils::StrToAddr("", sa), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(NetworkUtils::StrToAddr("example", sa), EAI_NONAME);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                AllOf(HasSubstr("NetworkUtils::StrToAddr failed"), HasSubstr("query=example")));
    EXPECT_EQ(reinterpret_cast<unsigned char*>(&out)[0], 0xAB);
    ASSERT_EQ(NetworkUtils::StrToAddr("1.2.3.4", sa), 0);
    EXPECT_EQ(IPAddress(sa).toString(), "1.2.3.4");
    EXPECT_EQ(reinterpret_cast<sockaddr_in*>(sa)->sin_port, 0);
    ASSERT_EQ(network_utils_str_to_addr("::1", sa), 0);
    EXPECT_EQ(IPAddress(sa).toString(), "::1");
    EXPECT_EQ(NetworkUtils::StrToAddr("1.2.3.4", nullptr), 0);
}

TEST(AddrToStrTest, GivesNumericHostTextOrEmpty) {
    SockAddr v4(IPAddress("10.20.30.40")), v6(IPAddress("fe80::1"));
    EXPECT_EQ(NetworkUtils::AddrToStr(v4.getSA()), "10.20.30.40");
    EXPECT_EQ(NetworkUtils::AddrToStr(v6.getSA()), "fe80::1");
    EXPECT_EQ(NetworkUtils::AddrToStr(nullptr), "");
    char small[4];
    EXPECT_NE(network_utils_addr_to_str(v4.getSA(), small, sizeof(small)), 0);
}

TEST(LookupNameTest, CallsBackForEachLoopbackEntryWithTheContext) {
    std::vector<IPAddress> seen;
    auto record = [&seen](const sockaddr* sa) { seen.emplace_back(sa); };
    EXPECT_EQ(NetworkUtils::LookupName("", record), 0);
    EXPECT_EQ(NetworkUtils::LookupName("127.0.0.1", record), 0);
    ASSERT_FALSE(seen.empty());
    for (const IPAddress& a : seen) EXPECT_EQ(a.toString(), "127.0.0.1");

    int calls = 0;
    auto count = [](const sockaddr* sa, void* context) {
        if (sa != nullptr) ++*static_cast<int*>(context);
    };
    EXPECT_EQ(network_utils_lookup("::1", &calls, count), 0);
    EXPECT_GT(calls, 0);
}

TEST(DnsResolveTest, LoopbackAndLocalhostResolveWithPortZero) {
    std::vector<sockaddr_storage*> out;
    EXPECT_FALSE(NetworkUtils::dns_resolve(out, ""));
    for (const char* name : {"127.0.0.1", "localhost"}) {
        ASSERT_TRUE(NetworkUtils::dns_resolve(out, std::string(name))) << name;
        ASSERT_FALSE(out.empty()) << name;
        for (sockaddr_storage* entry : out) {
            IPAddress a(reinterpret_cast<const sockaddr*>(entry));
            EXPECT_TRUE(a == IPAddress("127.0.0.1") || (a == IPAddress("::1") && name[0] == 'l'))
                << name;
            EXPECT_EQ(reinterpret_cast<const sockaddr_in*>(entry)->sin_port, 0) << name;
            delete entry;
        }
        out.clear();
    }
}

TEST(DnsResolveTest, FlatFormCopiesTheFirstAddressOrLeavesZero) {
    sockaddr_storage out, zero = {};
    std::memset(&out, 0xAB, sizeof(out));
    EXPECT_FALSE(network_utils_dns_resolve(&out, ""));
    EXPECT_EQ(std::memcmp(&out, &zero, sizeof(out)), 0);
    ASSERT_TRUE(network_utils_dns_resolve(&out, "::1"));
    EXPECT_EQ(IPAddress(reinterpret_cast<const sockaddr*>(&out)).toString(), "::1");
    EXPECT_FALSE(network_utils_dns_resolve(nullptr, "::1"));
}

}  // namespace
