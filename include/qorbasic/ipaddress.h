// IP and MAC address values of libqorbasic.
//
// IPAddress holds one IPv4 or IPv6 address as 16 bytes in network order and
// a family; MACAddress holds the 6 bytes of a hardware address. Both are
// small copyable values that never touch the network, and every operation on
// them is total: bad input gives an invalid value, never an exception.
//
//   IPAddress a("10.1.2.3");
//   IPAddress net = a & IPAddress::makeNetmask(AF_INET, 8);   // 10.0.0.0
//   IPAddress::makeNetmask(AF_INET, 24).netmaskPrefixLength();  // 24
//   IPAddress("::ffff:1.2.3.4").toIPv4();                    // true, now 1.2.3.4
//   IPAddress::makeIPv6LinkLocal(MACAddress("02:11:22:33:44:55")).toString();
//                                                  // "fe80::11:22ff:fe33:4455"
//
// Surprising cases:
// - "Valid" means only that the family is not 0: the all-zero addresses zero4
//   and zero6 are valid, and so is an address built from a sockaddr of a
//   family other than IPv4 and IPv6 (it has no bytes and prints as "").
// - Addresses of different families are never equal, and the binary
//   operators take the family and the width from the LEFT operand only.
// - ++ and -- that run past the end of the family give INVALID_ADDRESS.
// - netmaskPrefixLength() gives 0 both for the all-zero mask and for any
//   mask that is not a run of ones followed by zeros.
// - MACAddress from text wants exactly "x:x:x:x:x:x" in hexadecimal; any
//   trailing character, a blank too, gives the zero address.
#ifndef QORBASIC_IPADDRESS_H
#define QORBASIC_IPADDRESS_H

#include <netinet/in.h>
#include <sys/socket.h>

#include <string>

#include "qorbasic/export.h"

class SockAddr;

class QOR_API MACAddress {
  public:
    static const MACAddress ZERO;
    static const MACAddress BROADCAST;

    MACAddress();
    explicit MACAddress(const unsigned char* bytes);
    explicit MACAddress(const std::string& text);

    MACAddress& operator=(const std::string& text);
    bool operator==(const MACAddress& other) const;
    bool operator!=(const MACAddress& other) const { return !(*this == other); }

    // "01:23:45:67:89:ab": lower-case, two digits per byte.
    std::string toString() const;
    const unsigned char* bytes() const { return bytes_; }

  private:
    unsigned char bytes_[6];
};

class QOR_API IPAddress {
  public:
    static const IPAddress zero4;
    static const IPAddress zero6;
    static const IPAddress INVALID_ADDRESS;

    IPAddress();
    explicit IPAddress(const in_addr& address);
    explicit IPAddress(const in6_addr& address);
    // 4 bytes for AF_INET, 16 for AF_INET6, the invalid address for any other
    // family. A null data gives zero bytes under the family as given.
    IPAddress(const void* data, unsigned short family);
    // Numeric text, IPv4 tried first; the invalid address if neither reads.
    explicit IPAddress(const std::string& text);
    // Null gives the invalid address; a family other than IPv4 and IPv6 is
    // kept, with no bytes.
    explicit IPAddress(const sockaddr* address);
    explicit IPAddress(const SockAddr& address);

    bool isValid() const { return family != 0; }
    unsigned short addressFamily() const { return family; }
    // 4, 16, or 0 for any other family.
    unsigned short addrLength() const;
    // Views into the bytes, null unless the family matches.
    const in_addr* addr4() const;
    const in6_addr* addr6() const;
    // "invalid" for the invalid address, "" for a family that has no text.
    std::string toString() const;
    // Fills a sockaddr_in (16 bytes) or sockaddr_in6 (28 bytes) with port 0;
    // does nothing for the invalid address.
    void copy(sockaddr* out) const;

    bool operator==(const IPAddress& other) const;
    bool operator!=(const IPAddress& other) const { return !(*this == other); }
    IPAddress operator~() const;
    IPAddress operator|(const IPAddress& other) const;
    IPAddress operator&(const IPAddress& other) const;
    IPAddress& operator++();
    IPAddress& operator--();

    // `prefix` leading one bits; invalid for a prefix too long for the family
    // or a family other than IPv4 and IPv6.
    static IPAddress makeNetmask(unsigned int family, unsigned int prefix);
    // Both are false, with nothing changed, when the mask's family differs.
    bool applyNetmask(const IPAddress& mask);
    bool applyNetmask(unsigned short prefix);
    unsigned short netmaskPrefixLength() const;

    // IPv4 becomes ::ffff:a.b.c.d; false only for the invalid address and
    // families without bytes.
    bool toIPv6();
    IPAddress v6mapped() const;
    bool isIPv4InIPv6() const;
    // A mapped IPv6 address becomes its IPv4 address; false for any other
    // IPv6 address, which stays as it was.
    bool toIPv4();

    // ff02::1:ffXX:XXXX from the last 3 bytes; invalid unless IPv6.
    IPAddress v6SolicitedNodeMcastAddress() const;
    // The Ethernet multicast address of a multicast (or IPv4 broadcast)
    // address; MACAddress::ZERO for anything else.
    MACAddress multicastMac() const;
    // fe80::/64 with the modified EUI-64 of `mac`. The universal/local bit is
    // cleared, not inverted.
    static IPAddress makeIPv6LinkLocal(const MACAddress& mac);
    // Inside the ORCHID prefix 2001:10::/28 of the Host Identity Protocol.
    bool isHIT() const;

  private:
    // Applies `op` to each byte of the family's width; the rest stays zero.
    template <typename Op>
    IPAddress combine(const IPAddress& other, Op op) const;

    unsigned short family;
    unsigned char bytes[16];
};

#endif  // QORBASIC_IPADDRESS_H
