// Addresses and name resolution of libqorbasic.
//
// The address values (IPAddress and MACAddress in ipaddress.h, IPCidr in
// cidr.h), SockAddr, the text helpers of IPUtils, and NetworkUtils, which
// reaches the platform's resolver and finds the headers of a raw IP packet:
//
//   SockAddr sa(IPAddress("::1"));
//   sa.toString();                                     // "[::1]:0"
//   IPUtils::prefixLengthFromCidr("10.0.0.0/8");         // 8
//   IPUtils::QORMAC(IPAddress("10.1.2.3")).toString();   // "4a:06:6a:01:02:03"
//
//   sockaddr_in6 out;
//   NetworkUtils::StrToAddr("::1", reinterpret_cast<sockaddr*>(&out));  // 0
//
//   char packet[1500];   // filled by a read from a raw socket
//   int received = 0;    // the bytes it read
//   NetworkUtils::PacketParts parts(packet, received);
//   if (parts.udp) { ... }   // parts.udp_payload follows the 8 header bytes
//
// Surprising cases:
// - StrToAddr reads numeric text only and returns 0 for success (and for an
//   empty text, which writes nothing); other values are getaddrinfo codes.
//   LookupName and dns_resolve do use the name service and may block.
// - dns_resolve keeps family and address only (port 0); the caller owns and
//   frees the pointers it returns.
// - PacketParts reads fixed offsets only (no TCP options, no IPv6 extension
//   headers) and leaves null every part that would start at or behind the
//   end of the packet. A malformed packet never ends the process: null bytes
//   with a positive length, or an IPv4 header length below 20, are logged
//   at ERROR and give a view without the parts that can't be trusted.
// - IPUtils::addressFamily only guesses from the first five characters.
// - The iputils_ and network_utils_ functions are the flat interface,
//   exported unmangled.
#ifndef QORBASIC_NET_H
#define QORBASIC_NET_H

#include <netinet/in.h>
#include <sys/socket.h>

#include <functional>
#include <string>
#include <vector>

#include "qorbasic/cidr.h"
#include "qorbasic/export.h"
#include "qorbasic/ipaddress.h"
#include "qorbasic/text.h"

// A socket address with a port, in the 28 bytes of a sockaddr_in6; port
// and address are held in network byte order.
class QOR_API SockAddr {
  public:
    explicit SockAddr(unsigned int family);
    explicit SockAddr(const IPAddress& address);
    SockAddr(const SockAddr& other);
    SockAddr& operator=(const SockAddr& other);
    // Replaces family and address and keeps the port.
    SockAddr& operator=(const IPAddress& address);
    SockAddr& operator=(const std::string& text);
    // Compares 16 bytes for AF_INET and 28 otherwise, so port and padding
    // count. A null pointer is never equal.
    bool operator==(const sockaddr* other) const;

    const sockaddr* getSA() const { return &storage_.sa; }
    sockaddr* getSA() { return &storage_.sa; }
    unsigned short addressFamily() const { return storage_.sa.sa_family; }
    // Host byte order; 0 for a family other than IPv4 and IPv6.
    unsigned short getPort() const;
    // "1.2.3.4:80" or "[::1]:80"; "" for any other family.
    std::string toString() const;

  private:
    union Storage {
        sockaddr sa;
        sockaddr_in in4;
        sockaddr_in6 in6;
    } storage_;
};

namespace IPUtils {
// AF_INET at the first '.', AF_INET6 at the first ':' within the first five
// characters; 0 otherwise. No check that the text is an address.
QOR_API unsigned short addressFamily(const std::string& text);
// A '/' among the last 4 characters of a text of at least 4.
QOR_API bool isCidr(const std::string& text);
// The text before the last '/'.
QOR_API std::string plainAddr(const std::string& text);
// The number behind the last '/', cut to 16 bits and not checked against
// the family; the full length without a '/'; 0 when addressFamily() is 0.
// Raises std::invalid_argument or std::out_of_range for a bad number.
QOR_API unsigned short prefixLengthFromCidr(const std::string& text);
QOR_API unsigned short prefixLengthFromNetmask(const std::string& text);
// `out` changes only when the result is true.
QOR_API bool makeNetmask(unsigned short family, unsigned short prefix, IPAddress& out);
// The overlay's locally administered MAC 4a:06:6a:XX:XX:XX from the last
// three bytes of the address (bytes 1 to 3 for IPv4).
QOR_API MACAddress QORMAC(const IPAddress& address);
}  // namespace IPUtils

// Each returns 1, or 0 when a pointer argument is null.
QOR_C_API int iputils_qormac(unsigned char* mac, const in_addr* address);
// Writes 17 characters and the terminator.
QOR_C_API int iputils_mac_to_str(char* text, const unsigned char* mac);
// An unreadable text gives 6 zero bytes, and still 1.
QOR_C_API int iputils_str_to_mac(unsigned char* mac, const char* text);

namespace NetworkUtils {

// A view of the headers of a raw IP packet. Every pointer points into the
// caller's packet, which must outlive the view; a pointer is null when the
// packet has no such part or it would start at or behind the end.
struct QOR_API PacketParts {
    PacketParts(char* data, int length);

    char* data;
    int length;
    char* ipv4;
    char* ip_payload;  // the byte behind the IPv4 header
    char* ipv6;
    char* icmp;
    char* icmp_payload;  // 28 bytes behind icmp
    char* tcp;
    char* tcp_payload;  // 20 bytes behind tcp, options are not read
    char* udp;
    char* udp_payload;  // 8 bytes behind udp
    char* proto255;     // the payload of IP protocol 255
};

// Numeric text to a socket address, without the name service. 0 for success
// (an empty text too, which writes nothing), else a getaddrinfo code, which
// is logged. `out` may be null, else needs room for the family of the text.
QOR_API int StrToAddr(const std::string& text, sockaddr* out);
// The numeric host text; "" on failure.
QOR_API std::string AddrToStr(sockaddr* address);
// Calls `callback` for each address that getaddrinfo lists (possibly once
// per socket type). 0 for success and for an empty name, else the code.
QOR_API int LookupName(const std::string& name, std::function<void(const sockaddr*)> callback);
// Clears `out` (without freeing) and fills it with new IPv4 and IPv6
// addresses, port 0, which the caller frees. False for an empty name or a
// failed lookup, which is logged.
QOR_API bool dns_resolve(std::vector<sockaddr_storage*>& out, QRSTR const& name);

}  // namespace NetworkUtils

QOR_C_API int network_utils_str_to_addr(const char* text, sockaddr* out);
// getnameinfo with NI_NUMERICHOST; returns its code.
QOR_C_API int network_utils_addr_to_str(sockaddr* address, char* text, unsigned int size);
QOR_C_API int network_utils_lookup(const char* name, void* context,
                                   void (*callback)(const sockaddr*, void*));
// The first address of dns_resolve into `out`, which is zeroed first; true
// when an address was copied.
QOR_C_API bool network_utils_dns_resolve(sockaddr_storage* out, const char* name);

#endif  // QORBASIC_NET_H
