// Only numeric text, "localhost" and loopback addresses: nothing here may
// need a network.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netdb.h>

#include <cstring>
#include <vector>

#include "net/address_bytes.h"
#include "qorbasic/net.h"

namespace {

using net_test::ip;

void free_all(std::vector<sockaddr_storage*>& list) {
    for (sockaddr_storage* entry : list) delete entry;
    list.clear();
}

TEST(StrToAddrTest, EmptyTextSucceedsAndWritesNothing) {
    sockaddr_in6 out;
    std::memset(&out, 0xAB, sizeof(out));
    EXPECT_EQ(NetworkUtils::StrToAddr("", reinterpret_cast<sockaddr*>(&out)), 0);
    EXPECT_EQ(reinterpret_cast<unsigned char*>(&out)[0], 0xAB);
}

TEST(StrToAddrTest, NumericTextFillsTheStructureOfItsFamily) {
    sockaddr_in6 out;
    std::memset(&out, 0, sizeof(out));
    sockaddr* sa = reinterpret_cast<sockaddr*>(&out);
    ASSERT_EQ(NetworkUtils::StrToAddr("1.2.3.4", sa), 0);
    EXPECT_EQ(sa->sa_family, AF_INET);
    EXPECT_EQ(IPAddress(sa).toString(), "1.2.3.4");
    EXPECT_EQ(reinterpret_cast<sockaddr_in*>(sa)->sin_port, 0);

    ASSERT_EQ(network_utils_str_to_addr("::1", sa), 0);
    EXPECT_EQ(sa->sa_family, AF_INET6);
    EXPECT_EQ(IPAddress(sa).toString(), "::1");

    EXPECT_EQ(NetworkUtils::StrToAddr("1.2.3.4", nullptr), 0);
}

TEST(StrToAddrTest, NamesAreNotLookedUpAndTheFailureIsLogged) {
    sockaddr_in6 out;
    std::memset(&out, 0xAB, sizeof(out));
    testing::internal::CaptureStderr();
    int rc = NetworkUtils::StrToAddr("example", reinterpret_cast<sockaddr*>(&out));
    std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(rc, EAI_NONAME);
    EXPECT_EQ(reinterpret_cast<unsigned char*>(&out)[0], 0xAB);
    EXPECT_NE(log.find("NetworkUtils::StrToAddr failed"), std::string::npos) << log;
    EXPECT_NE(log.find("query=example"), std::string::npos) << log;
}

TEST(AddrToStrTest, GivesNumericHostTextOrEmpty) {
    SockAddr v4(ip("10.20.30.40")), v6(ip("fe80::1"));
    EXPECT_EQ(NetworkUtils::AddrToStr(v4.getSA()), "10.20.30.40");
    EXPECT_EQ(NetworkUtils::AddrToStr(v6.getSA()), "fe80::1");
    EXPECT_EQ(NetworkUtils::AddrToStr(nullptr), "");

    char small[4];
    EXPECT_NE(network_utils_addr_to_str(v4.getSA(), small, sizeof(small)), 0);
}

TEST(LookupNameTest, CallsBackForEachLoopbackEntry) {
    std::vector<IPAddress> seen;
    EXPECT_EQ(NetworkUtils::LookupName("127.0.0.1",
                                       [&seen](const sockaddr* sa) { seen.emplace_back(sa); }),
              0);
    ASSERT_FALSE(seen.empty());
    for (const IPAddress& a : seen) EXPECT_EQ(a.toString(), "127.0.0.1");

    seen.clear();
    EXPECT_EQ(NetworkUtils::LookupName("", [&seen](const sockaddr* sa) { seen.emplace_back(sa); }),
              0);
    EXPECT_TRUE(seen.empty());
}

TEST(LookupNameTest, FlatFormPassesTheContext) {
    int calls = 0;
    auto count = [](const sockaddr* sa, void* context) {
        if (sa != nullptr) ++*static_cast<int*>(context);
    };
    EXPECT_EQ(network_utils_lookup("::1", &calls, count), 0);
    EXPECT_GT(calls, 0);
}

TEST(DnsResolveTest, EmptyNameGivesFalseAndEmptyList) {
    std::vector<sockaddr_storage*> out;
    EXPECT_FALSE(NetworkUtils::dns_resolve(out, ""));
    EXPECT_TRUE(out.empty());
}

TEST(DnsResolveTest, LoopbackResolvesWithPortZero) {
    std::vector<sockaddr_storage*> out;
    ASSERT_TRUE(NetworkUtils::dns_resolve(out, "127.0.0.1"));
    ASSERT_FALSE(out.empty());
    for (sockaddr_storage* entry : out) {
        ASSERT_EQ(entry->ss_family, AF_INET);
        const sockaddr_in* in = reinterpret_cast<const sockaddr_in*>(entry);
        EXPECT_EQ(in->sin_port, 0);
        EXPECT_EQ(in->sin_addr.s_addr, htonl(INADDR_LOOPBACK));
    }
    free_all(out);
}

TEST(DnsResolveTest, LocalhostGivesLoopbackAddressesOnly) {
    std::vector<sockaddr_storage*> out;
    ASSERT_TRUE(NetworkUtils::dns_resolve(out, std::string("localhost")));
    for (sockaddr_storage* entry : out) {
        IPAddress a(reinterpret_cast<const sockaddr*>(entry));
        EXPECT_TRUE(a == ip("127.0.0.1") || a == ip("::1")) << a.toString();
    }
    free_all(out);
}

TEST(DnsResolveTest, FlatFormCopiesTheFirstAddressOrLeavesZero) {
    sockaddr_storage out;
    std::memset(&out, 0xAB, sizeof(out));
    EXPECT_FALSE(network_utils_dns_resolve(&out, ""));
    sockaddr_storage zero;
    std::memset(&zero, 0, sizeof(zero));
    EXPECT_EQ(std::memcmp(&out, &zero, sizeof(out)), 0);

    ASSERT_TRUE(network_utils_dns_resolve(&out, "::1"));
    EXPECT_EQ(IPAddress(reinterpret_cast<const sockaddr*>(&out)).toString(), "::1");
    EXPECT_FALSE(network_utils_dns_resolve(nullptr, "::1"));
}

}  // namespace
