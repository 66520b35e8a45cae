// PacketParts: the header views of a raw IP packet.
#include <gtest/gtest.h>

#include <array>
#include <tuple>
#include <vector>

#include "qorbasic/log.h"
#include "qorbasic/net.h"

namespace {

using NetworkUtils::PacketParts;

// Offsets of the parts from the start of the packet, -1 for null, in the order
// ipv4, ip_payload, ipv6, icmp, icmp_payload, tcp, tcp_payload, udp,
// udp_payload, proto255.
using Offsets = std::array<int, 10>;
constexpr int N = -1;
constexpr Offsets NONE = {N, N, N, N, N, N, N, N, N, N};

Offsets offsets_of(const PacketParts& p, const char* base) {
    auto at = [base](const char* part) { return part ? static_cast<int>(part - base) : -1; };
    return {at(p.ipv4), at(p.ip_payload),  at(p.ipv6), at(p.icmp),        at(p.icmp_payload),
            at(p.tcp),  at(p.tcp_payload), at(p.udp),  at(p.udp_payload), at(p.proto255)};
}

// A zeroed packet of `length` bytes, at least 10, with version and header
// length in its first byte and the protocol in the tenth.
std::vector<char> packet(int length, unsigned char first, unsigned char protocol) {
    std::vector<char> bytes(length, 0);
    bytes[0] = static_cast<char>(first);
    bytes[9] = static_cast<char>(protocol);
    return bytes;
}

TEST(PacketPartsTest, FindsHeadersAtFixedOffsetsWithinThePacket) {
    const std::tuple<const char*, int, unsigned char, unsigned char, Offsets> cases[] = {
        {"tcp header at the end", 20, 0x45, 6, {0, N, N, N, N, N, N, N, N, N}},
        {"short ipv4, protocol unread", 10, 0x45, 6, {0, N, N, N, N, N, N, N, N, N}},
        {"icmp payload at the end", 48, 0x45, 1, {0, 20, N, 20, N, N, N, N, N, N}},
        {"icmp with payload", 49, 0x45, 1, {0, 20, N, 20, 48, N, N, N, N, N}},
        {"udp behind 24-byte header", 60, 0x46, 17, {0, 24, N, N, N, N, N, 24, 32, N}},
        {"tcp with payload", 41, 0x45, 6, {0, 20, N, N, N, 20, 40, N, N, N}},
        {"protocol 255", 30, 0x45, 255, {0, 20, N, N, N, N, N, N, N, 20}},
        {"other protocol", 30, 0x45, 47, {0, 20, N, N, N, N, N, N, N, N}},
        {"header longer than packet", 30, 0x4F, 6, {0, N, N, N, N, N, N, N, N, N}},
        {"header shorter than 20 bytes", 60, 0x41, 6, {0, N, N, N, N, N, N, N, N, N}},
        {"ipv6", 40, 0x60, 6, {N, N, 0, N, N, N, N, N, N, N}},
        {"version 5", 40, 0x50, 6, NONE}};
    for (const auto& [what, length, first, protocol, expected] : cases) {
        std::vector<char> bytes = packet(length, first, protocol);
        PacketParts parts(bytes.data(), length);
        EXPECT_TRUE(parts.data == bytes.data() && parts.length == length) << what;
        EXPECT_EQ(offsets_of(parts, bytes.data()), expected) << what;
    }
}

TEST(PacketPartsTest, EmptyLengthOrMissingBytesGiveEmptyView) {
    std::vector<char> bytes = packet(40, 0x45, 6);
    for (int length : {0, -5, 40}) {
        testing::internal::CaptureStderr();
        PacketParts parts(length == 40 ? nullptr : bytes.data(), length);
        std::string log = testing::internal::GetCapturedStderr();
        EXPECT_EQ(log.find("packet bytes missing") != std::string::npos, length == 40) << log;
        EXPECT_TRUE(parts.data == nullptr && parts.length == 0) << length;
        EXPECT_EQ(offsets_of(parts, bytes.data()), NONE) << length;
    }
}

TEST(PacketPartsDeathTest, ShortHeaderLeavesProcessAliveUnderDefaultAssertHandler) {
    EXPECT_EXIT(
        {
            setAssertFailure(defaultAssertFailure);
            for (unsigned char first : {0x40, 0x41, 0x44}) {
                std::vector<char> bytes = packet(60, first, 17);
                PacketParts parts(bytes.data(), 60);
                if (parts.udp != nullptr) std::exit(2);
            }
            PacketParts missing(nullptr, 20);
            std::exit(missing.data == nullptr ? 0 : 3);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
