// IPAddress: parsing, text, comparison and derived addresses.
#include "qorbasic/ipaddress.h"

#include <arpa/inet.h>

#include <cstring>

#include "qorbasic/cidr.h"
#include "qorbasic/net.h"

namespace {

unsigned short width_of(unsigned short family) {
    if (family == AF_INET) return 4;
    if (family == AF_INET6) return 16;
    return 0;
}

}  // namespace

IPAddress::IPAddress() : family(0), bytes{} {}

IPAddress::IPAddress(const in_addr& address) : IPAddress(&address, AF_INET) {}

IPAddress::IPAddress(const in6_addr& address) : IPAddress(&address, AF_INET6) {}

IPAddress::IPAddress(const void* data, unsigned short family_) : family(family_), bytes{} {
    if (data == nullptr) return;
    unsigned short width = width_of(family_);
    if (width == 0) {
        family = 0;
        return;
    }
    std::memcpy(bytes, data, width);
}

IPAddress::IPAddress(const std::string& text) : IPAddress() {
    if (inet_pton(AF_INET, text.c_str(), bytes) == 1) {
        family = AF_INET;
    } else if (inet_pton(AF_INET6, text.c_str(), bytes) == 1) {
        family = AF_INET6;
    } else {
        std::memset(bytes, 0, sizeof(bytes));
    }
}

IPAddress::IPAddress(const sockaddr* address) : IPAddress() {
    if (address == nullptr) return;
    family = address->sa_family;
    if (family == AF_INET) {
        std::memcpy(bytes, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, 4);
    } else if (family == AF_INET6) {
        std::memcpy(bytes, &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr, 16);
    }
}

IPAddress::IPAddress(const SockAddr& address) : IPAddress(address.getSA()) {}

unsigned short IPAddress::addrLength() const {
    return width_of(family);
}

const in_addr* IPAddress::addr4() const {
    return family == AF_INET ? reinterpret_cast<const in_addr*>(bytes) : nullptr;
}

const in6_addr* IPAddress::addr6() const {
    return family == AF_INET6 ? reinterpret_cast<const in6_addr*>(bytes) : nullptr;
}

std::string IPAddress::toString() const {
    if (!isValid()) return "invalid";
    char text[INET6_ADDRSTRLEN] = {};
    if (inet_ntop(family, bytes, text, sizeof(text)) == nullptr) return std::string();
    return text;
}

void IPAddress::copy(sockaddr* out) const {
    if (!isValid() || out == nullptr) return;
    std::memset(out, 0, family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6));
    out->sa_family = family;
    if (family == AF_INET) {
        std::memcpy(&reinterpret_cast<sockaddr_in*>(out)->sin_addr, bytes, 4);
    } else if (family == AF_INET6) {
        std::memcpy(&reinterpret_cast<sockaddr_in6*>(out)->sin6_addr, bytes, 16);
    }
}

bool IPAddress::operator==(const IPAddress& other) const {
    return family == other.family && std::memcmp(bytes, other.bytes, sizeof(bytes)) == 0;
}

template <typename Op>
IPAddress IPAddress::combine(const IPAddress& other, Op op) const {
    IPAddress result;
    unsigned short width = addrLength();
    if (width == 0) return result;
    result.family = family;
    for (unsigned short i = 0; i < width; ++i) result.bytes[i] = op(bytes[i], other.bytes[i]);
    return result;
}

IPAddress IPAddress::operator~() const {
    return combine(*this,
                   [](unsigned char a, unsigned char) { return static_cast<unsigned char>(~a); });
}

IPAddress IPAddress::operator|(const IPAddress& other) const {
    return combine(
        other, [](unsigned char a, unsigned char b) { return static_cast<unsigned char>(a | b); });
}

IPAddress IPAddress::operator&(const IPAddress& other) const {
    return combine(
        other, [](unsigned char a, unsigned char b) { return static_cast<unsigned char>(a & b); });
}

IPAddress& IPAddress::operator++() {
    // Big-endian add with carry from the last byte; a carry out of the first
    // byte means the family's range is exhausted.
    for (int i = addrLength() - 1; i >= 0; --i) {
        if (++bytes[i] != 0) return *this;
    }
    *this = INVALID_ADDRESS;
    return *this;
}

IPAddress& IPAddress::operator--() {
    for (int i = addrLength() - 1; i >= 0; --i) {
        if (bytes[i]-- != 0) return *this;
    }
    *this = INVALID_ADDRESS;
    return *this;
}

IPAddress IPAddress::makeNetmask(unsigned int family_, unsigned int prefix) {
    unsigned short width = width_of(static_cast<unsigned short>(family_));
    if (width == 0 || family_ > 0xFFFF || prefix > width * 8u) return INVALID_ADDRESS;
    IPAddress mask;
    mask.family = static_cast<unsigned short>(family_);
    for (unsigned int i = 0; i < width && prefix > 0; ++i) {
        unsigned int ones = prefix < 8 ? prefix : 8;
        mask.bytes[i] = static_cast<unsigned char>(0xFF00 >> ones);
        prefix -= ones;
    }
    return mask;
}

bool IPAddress::applyNetmask(const IPAddress& mask) {
    if (mask.family != family) return false;
    *this = *this & mask;
    return true;
}

bool IPAddress::applyNetmask(unsigned short prefix) {
    return applyNetmask(makeNetmask(family, prefix));
}

unsigned short IPAddress::netmaskPrefixLength() const {
    unsigned short prefix = 0;
    bool partial = false;
    for (unsigned short i = 0; i < addrLength(); ++i) {
        unsigned char byte = bytes[i];
        if (partial && byte != 0) return 0;
        int k = 0;
        while (k <= 8 && static_cast<unsigned char>(0xFF << k) != byte) ++k;
        if (k > 8) return 0;
        if (byte < 0xFF) partial = true;
        prefix += 8 - k;
    }
    return prefix;
}

bool IPAddress::isIPv4InIPv6() const {
    static const unsigned char mapped_prefix[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
    return family == AF_INET6 && std::memcmp(bytes, mapped_prefix, 12) == 0;
}

bool IPAddress::toIPv6() {
    if (family == AF_INET6) return true;
    if (family != AF_INET) return false;
    unsigned char v4[4];
    std::memcpy(v4, bytes, 4);
    std::memset(bytes, 0, sizeof(bytes));
    bytes[10] = 0xFF;
    bytes[11] = 0xFF;
    std::memcpy(bytes + 12, v4, 4);
    family = AF_INET6;
    return true;
}

IPAddress IPAddress::v6mapped() const {
    IPAddress mapped(*this);
    mapped.toIPv6();
    return mapped;
}

bool IPAddress::toIPv4() {
    if (family == AF_INET) return true;
    if (!isIPv4InIPv6()) return false;
    *this = IPAddress(bytes + 12, AF_INET);
    return true;
}

IPAddress IPAddress::v6SolicitedNodeMcastAddress() const {
    if (family != AF_INET6) return INVALID_ADDRESS;
    unsigned char mcast[16] = {0xFF, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x01, 0xFF};
    std::memcpy(mcast + 13, bytes + 13, 3);
    return IPAddress(mcast, AF_INET6);
}

MACAddress IPAddress::multicastMac() const {
    if (family == AF_INET) {
        if (bytes[0] == 0xFF && bytes[1] == 0xFF && bytes[2] == 0xFF && bytes[3] == 0xFF) {
            return MACAddress::BROADCAST;
        }
        if ((bytes[0] & 0xF0) == 0xE0) {
            const unsigned char mac[6] = {
                0x01, 0x00, 0x5E, static_cast<unsigned char>(bytes[1] & 0x7F), bytes[2], bytes[3]};
            return MACAddress(mac);
        }
    } else if (family == AF_INET6 && bytes[0] == 0xFF) {
        const unsigned char mac[6] = {0x33, 0x33, bytes[12], bytes[13], bytes[14], bytes[15]};
        return MACAddress(mac);
    }
    return MACAddress::ZERO;
}

IPAddress IPAddress::makeIPv6LinkLocal(const MACAddress& mac) {
    const unsigned char* m = mac.bytes();
    const unsigned char local[16] = {
        0xFE, 0x80, 0,    0,    0,    0,    0,   0, static_cast<unsigned char>(m[0] & 0xFD),
        m[1], m[2], 0xFF, 0xFE, m[3], m[4], m[5]};
    return IPAddress(local, AF_INET6);
}

bool IPAddress::isHIT() const {
    return IPCidr::hit_net.includes(*this);
}
