// IPCidr: prefixes, containment, neighbours and common supersets.
#include "qorbasic/cidr.h"

#include <climits>

#include "qorbasic/net.h"

IPCidr::IPCidr() : address(), prefix(0) {}

IPCidr::IPCidr(const IPAddress& address_, unsigned short prefix_)
    : address(address_), prefix(prefix_) {}

IPCidr::IPCidr(const std::string& address_, unsigned short prefix_)
    : address(address_), prefix(prefix_) {}

IPCidr::IPCidr(const std::string& text)
    : address(text.substr(0, text.find('/'))), prefix(IPUtils::prefixLengthFromCidr(text)) {}

IPCidr::IPCidr(const std::string& address_, const std::string& netmask_)
    : address(address_), prefix(IPUtils::prefixLengthFromNetmask(netmask_)) {}

IPCidr::IPCidr(const IPAddress& address_, const IPAddress& netmask_)
    : address(address_), prefix(netmask_.netmaskPrefixLength()) {}

bool IPCidr::isValid() const {
    return address.isValid() && prefix <= address.addrLength() * 8;
}

unsigned short IPCidr::host_bits() const {
    // Wraps for a prefix too long for the family, as unsigned arithmetic
    // does; such a prefix is not valid anyway.
    unsigned short width = address.addrLength() * 8;
    return width == 0 ? 0 : static_cast<unsigned short>(width - prefix);
}

std::string IPCidr::plain() const {
    return address.toString();
}

std::string IPCidr::toString() const {
    return address.toString() + "/" + std::to_string(prefix);
}

IPAddress IPCidr::netmask() const {
    return IPAddress::makeNetmask(address.addressFamily(), prefix);
}

IPAddress IPCidr::networkAddress() const {
    return address & netmask();
}

IPAddress IPCidr::broadcastAddress() const {
    return address | ~netmask();
}

bool IPCidr::operator==(const IPCidr& other) const {
    return prefix == other.prefix && address == other.address;
}

bool IPCidr::isDefaultRouteCIDR() const {
    switch (address.addressFamily()) {
        case AF_INET:
            return address == IPAddress::zero4 || *this == cidr128_1;
        case AF_INET6:
            return address == IPAddress::zero6;
        default:
            return false;
    }
}

bool IPCidr::includes(const IPAddress& candidate) const {
    if (candidate.addressFamily() != address.addressFamily()) return false;
    if (prefix == address.addrLength() * 8) return candidate == address;
    IPAddress mask = netmask();
    return (candidate & mask) == (address & mask);
}

bool IPCidr::includes(const IPCidr& other) const {
    return prefix <= other.prefix && includes(other.address);
}

int IPCidr::Range(IPAddress& first, IPAddress& last) const {
    IPAddress low = networkAddress();
    IPAddress high = broadcastAddress();
    first = ++low;
    last = --high;
    // From 32 host bits on the count does not fit an int; it saturates so
    // that a caller comparing it with a bound still gets "very many".
    unsigned short bits = host_bits();
    if (bits >= 32) return INT_MAX;
    return static_cast<int>((1u << bits) - 2u);
}

bool IPCidr::normalize() {
    return address.applyNetmask(prefix);
}

IPCidr IPCidr::normalized() const {
    return IPCidr(networkAddress(), prefix);
}

IPCidr IPCidr::sum(const IPCidr& a, const IPCidr& b) {
    if (!a.isValid() || !b.isValid() || a.addressFamily() != b.addressFamily() || a.prefix == 0 ||
        a.prefix != b.prefix) {
        return invalid;
    }
    IPCidr x = a.normalized();
    if (x == b.normalized()) return x;
    IPCidr shorter_a(a.address, a.prefix - 1);
    IPCidr shorter_b(b.address, b.prefix - 1);
    shorter_a.normalize();
    shorter_b.normalize();
    return shorter_a == shorter_b ? shorter_a : invalid;
}

IPCidr IPCidr::superSet(const IPCidr& a, const IPCidr& b) {
    if (!a.isValid() || !b.isValid() || a.addressFamily() != b.addressFamily()) return invalid;
    unsigned short common = a.prefix < b.prefix ? a.prefix : b.prefix;
    IPCidr x(a.address, common);
    IPCidr y(b.address, common);
    x.normalize();
    y.normalize();
    // Ends at the latest at prefix 0, where both are the family's all-zero
    // network.
    while (x != y) {
        --x.prefix;
        --y.prefix;
        x.normalize();
        y.normalize();
    }
    return x;
}
