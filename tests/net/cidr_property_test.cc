// Properties of the prefix arithmetic over many random prefixes of both
// families. The expected values come from bit arithmetic on byte arrays,
// written here from scratch, not from the library's own operators.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "qorbasic/net.h"

namespace {

using Bytes = std::vector<unsigned char>;
constexpr int CASES = 10000;

// The addrLength() bytes of an address, read through the family's view.
Bytes bytes_of(const IPAddress& a) {
    const void* view = a.addr4() ? static_cast<const void*>(a.addr4()) : a.addr6();
    const auto* p = static_cast<const unsigned char*>(view);
    return Bytes(p, p + a.addrLength());
}

bool bit(const Bytes& b, int i) {
    return (b[i / 8] >> (7 - i % 8)) & 1;
}

void set_bit(Bytes& b, int i, bool value) {
    const auto m = static_cast<unsigned char>(0x80 >> (i % 8));
    b[i / 8] = value ? (b[i / 8] | m) : (b[i / 8] & ~m);
}

// The first `n` bits of `b`, the rest cleared.
Bytes masked(Bytes b, int n) {
    for (int i = n; i < static_cast<int>(b.size()) * 8; ++i) set_bit(b, i, false);
    return b;
}

int common_leading_bits(const Bytes& a, const Bytes& b) {
    int n = 0;
    while (n < static_cast<int>(a.size()) * 8 && bit(a, n) == bit(b, n)) ++n;
    return n;
}

class PrefixProperties : public ::testing::Test {
  protected:
    std::mt19937 rng{20261123u};

    unsigned short family() { return rng() % 2 ? AF_INET : AF_INET6; }
    static int width(unsigned short family) { return family == AF_INET ? 32 : 128; }
    int below(int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); }

    Bytes random_bytes(unsigned short family) {
        Bytes b(width(family) / 8);
        for (unsigned char& c : b) c = static_cast<unsigned char>(rng());
        return b;
    }

    // A second address that shares a random number of leading bits with
    // `b`, so that both outcomes of a containment test come up often.
    Bytes near(const Bytes& b) {
        Bytes other = b;
        int keep = below(static_cast<int>(b.size()) * 8 + 1);
        for (int i = keep; i < static_cast<int>(b.size()) * 8; ++i) set_bit(other, i, rng() % 2);
        return other;
    }

    static IPAddress address(const Bytes& b, unsigned short family) {
        return IPAddress(b.data(), family);
    }
};

TEST_F(PrefixProperties, NetmaskPrefixLengthInvertsMakeNetmask) {
    for (int i = 0; i < CASES; ++i) {
        unsigned short f = family();
        int n = below(width(f) + 1);
        IPAddress mask = IPAddress::makeNetmask(f, n);
        Bytes ones(width(f) / 8, 0xFF);
        ASSERT_EQ(bytes_of(mask), masked(ones, n)) << f << "/" << n;
        ASSERT_EQ(mask.netmaskPrefixLength(), n) << f << "/" << n;
    }
}

TEST_F(PrefixProperties, IncludesAgreesWithMaskingByHand) {
    int included = 0;
    for (int i = 0; i < CASES; ++i) {
        unsigned short f = family();
        Bytes net = random_bytes(f);
        Bytes candidate = near(net);
        int n = below(width(f) + 1);
        bool expected = masked(net, n) == masked(candidate, n);
        included += expected;
        IPCidr prefix(address(net, f), n);
        ASSERT_EQ(prefix.includes(address(candidate, f)), expected) << prefix.toString();
        // The same bytes under the other family are never included.
        candidate.resize(16);
        ASSERT_FALSE(prefix.includes(address(candidate, f == AF_INET ? AF_INET6 : AF_INET)));
    }
    // Both outcomes must have been exercised.
    EXPECT_GT(included, CASES / 10);
    EXPECT_LT(included, CASES - CASES / 10);
}

TEST_F(PrefixProperties, SumOfTheTwoHalvesGivesThePrefixBack) {
    for (int i = 0; i < CASES; ++i) {
        unsigned short f = family();
        int n = below(width(f));  // the whole: 0 to width - 1
        Bytes whole = masked(random_bytes(f), n);
        // The halves are one bit longer, and may carry random host bits.
        Bytes low = random_bytes(f), high = random_bytes(f);
        for (int b = 0; b < n; ++b) {
            set_bit(low, b, bit(whole, b));
            set_bit(high, b, bit(whole, b));
        }
        set_bit(low, n, false);
        set_bit(high, n, true);
        IPCidr a(address(low, f), n + 1), b(address(high, f), n + 1);
        IPCidr expected(address(whole, f), n);
        if (rng() % 2) std::swap(a, b);
        ASSERT_EQ(IPCidr::sum(a, b), expected) << a.toString() << " + " << b.toString();
    }
}

TEST_F(PrefixProperties, SuperSetIsTheLongestCommonPrefixAndIncludesBoth) {
    for (int i = 0; i < CASES; ++i) {
        unsigned short f = family();
        Bytes a_bytes = random_bytes(f);
        Bytes b_bytes = near(a_bytes);
        int la = below(width(f) + 1), lb = below(width(f) + 1);
        IPCidr a(address(a_bytes, f), la), b(address(b_bytes, f), lb);

        int length = std::min({la, lb, common_leading_bits(a_bytes, b_bytes)});
        IPCidr expected(address(masked(a_bytes, length), f), length);
        IPCidr super = IPCidr::superSet(a, b);
        ASSERT_EQ(super, expected) << a.toString() << " ^ " << b.toString();
        ASSERT_TRUE(super.includes(a) && super.includes(b)) << super.toString();
    }
}

}  // namespace
