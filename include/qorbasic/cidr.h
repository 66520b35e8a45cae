// CIDR prefixes of libqorbasic: an IP address with a prefix length.
//
// IPCidr answers containment questions, joins two neighbouring prefixes
// (sum) and finds the smallest prefix holding two others (superSet):
//
//   IPCidr net("10.0.0.0/8");
//   net.includes(IPAddress("10.9.9.9"));                          // true
//   net.includes(IPCidr("10.1.0.0/16"));                          // true
//   IPCidr::sum(IPCidr("10.0.0.0/25"), IPCidr("10.0.0.128/25"));    // 10.0.0.0/24
//   IPCidr::superSet(IPCidr("10.0.0.0/24"), IPCidr("10.0.1.0/24")); // 10.0.0.0/23
//   IPAddress first, last;
//   IPCidr("10.0.0.0/24").Range(first, last);   // 254: 10.0.0.1 to 10.0.0.254
//
// Surprising cases:
// - The address keeps its host bits: IPCidr("10.1.2.3/8").toString() is
//   "10.1.2.3/8", and == counts host bits. normalize() clears them.
// - The prefix text is read with std::stol: IPCidr("10.0.0.0/x") raises
//   std::invalid_argument and a huge number std::out_of_range; those are the
//   only exceptions of the address family. A number too long for the family
//   is kept, and isValid() is then false.
// - A text without a '/' gets the full length: IPCidr("10.0.0.1") is a /32.
// - Range() counts 2^host_bits - 2, so a /31 gives 0 and a /32 gives -1; from
//   32 host bits on the count stays at INT_MAX.
// - 0.0.0.0/1 and 128.0.0.0/1, the halves of the split default route, count
//   as default routes, and so does any prefix of the address 0.0.0.0 or ::.
#ifndef QORBASIC_CIDR_H
#define QORBASIC_CIDR_H

#include <string>

#include "qorbasic/export.h"
#include "qorbasic/ipaddress.h"

class QOR_API IPCidr {
  public:
    static const IPCidr zero4;      // 0.0.0.0/0
    static const IPCidr zero6;      // ::/0
    static const IPCidr cidr128_1;  // 128.0.0.0/1
    static const IPCidr hit_net;    // 2001:10::/28
    static const IPCidr invalid;

    IPCidr();
    IPCidr(const IPAddress& address, unsigned short prefix);
    IPCidr(const std::string& address, unsigned short prefix);
    // "a.b.c.d/n", "x::y/n", or a bare address with the full length.
    explicit IPCidr(const std::string& text);
    IPCidr(const std::string& address, const std::string& netmask);
    IPCidr(const IPAddress& address, const IPAddress& netmask);

    // A family, and a prefix no longer than the family's width.
    bool isValid() const;
    unsigned short addressFamily() const { return address.addressFamily(); }
    unsigned short prefix_length() const { return prefix; }
    unsigned short host_bits() const;
    // The address alone, host bits included.
    std::string plain() const;
    // "10.0.0.0/8"; the invalid prefix gives "invalid/0".
    std::string toString() const;
    IPAddress netmask() const;
    IPAddress networkAddress() const;
    IPAddress broadcastAddress() const;

    bool operator==(const IPCidr& other) const;
    bool operator!=(const IPCidr& other) const { return !(*this == other); }
    bool isDefaultRouteCIDR() const;
    bool includes(const IPAddress& candidate) const;
    bool includes(const IPCidr& other) const;
    // The first and last host addresses and their count, see above.
    int Range(IPAddress& first, IPAddress& last) const;

    bool normalize();
    IPCidr normalized() const;

    // The prefix one bit shorter that two neighbours of equal length make
    // up; the prefix itself for two equal networks; invalid otherwise.
    static IPCidr sum(const IPCidr& a, const IPCidr& b);
    // The longest prefix that includes both; invalid across families.
    static IPCidr superSet(const IPCidr& a, const IPCidr& b);

  private:
    IPAddress address;
    unsigned short prefix;
};

#endif  // QORBASIC_CIDR_H
