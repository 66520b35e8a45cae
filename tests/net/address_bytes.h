// Test helpers that read an address as plain bytes, for comparisons with
// computations done by hand.
#ifndef QORBASIC_TESTS_NET_ADDRESS_BYTES_H
#define QORBASIC_TESTS_NET_ADDRESS_BYTES_H

#include <vector>

#include "qorbasic/net.h"

namespace net_test {

using Bytes = std::vector<unsigned char>;

// The addrLength() bytes of an address; empty for one without bytes.
inline Bytes bytes_of(const IPAddress& address) {
    const void* p = address.addr4() ? static_cast<const void*>(address.addr4())
                                    : static_cast<const void*>(address.addr6());
    if (p == nullptr) return Bytes();
    const unsigned char* first = static_cast<const unsigned char*>(p);
    return Bytes(first, first + address.addrLength());
}

inline IPAddress ip(const char* text) {
    return IPAddress(std::string(text));
}

}  // namespace net_test

#endif  // QORBASIC_TESTS_NET_ADDRESS_BYTES_H
