// Shared helper of the address tests: an IPAddress from a C string.
#ifndef QORBASIC_TESTS_NET_ADDRESS_BYTES_H
#define QORBASIC_TESTS_NET_ADDRESS_BYTES_H

#include <string>

#include "qorbasic/net.h"

namespace net_test {

inline IPAddress ip(const char* text) {
    return IPAddress(std::string(text));
}

}  // namespace net_test

#endif  // QORBASIC_TESTS_NET_ADDRESS_BYTES_H
