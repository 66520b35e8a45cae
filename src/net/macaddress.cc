// MACAddress: parsing and text.
#include <cstdio>
#include <cstring>

#include "qorbasic/ipaddress.h"

MACAddress::MACAddress() : bytes_{} {}

MACAddress::MACAddress(const unsigned char* bytes) : bytes_{} {
    if (bytes != nullptr) std::memcpy(bytes_, bytes, sizeof(bytes_));
}

MACAddress::MACAddress(const std::string& text) : bytes_{} {
    *this = text;
}

MACAddress& MACAddress::operator=(const std::string& text) {
    unsigned char read[6] = {};
    int consumed = -1;
    int fields = std::sscanf(text.c_str(), "%hhx:%hhx:%hhx:%hhx:%hhx:%hhx%n", &read[0], &read[1],
                             &read[2], &read[3], &read[4], &read[5], &consumed);
    // The whole text must be the address: %n is compared with the full
    // length, so trailing characters (and embedded NULs) give zero.
    if (fields != 6 || consumed < 0 || static_cast<size_t>(consumed) != text.size()) {
        std::memset(bytes_, 0, sizeof(bytes_));
    } else {
        std::memcpy(bytes_, read, sizeof(bytes_));
    }
    return *this;
}

bool MACAddress::operator==(const MACAddress& other) const {
    return std::memcmp(bytes_, other.bytes_, sizeof(bytes_)) == 0;
}

std::string MACAddress::toString() const {
    char text[18];
    std::snprintf(text, sizeof(text), "%02x:%02x:%02x:%02x:%02x:%02x", bytes_[0], bytes_[1],
                  bytes_[2], bytes_[3], bytes_[4], bytes_[5]);
    return text;
}
