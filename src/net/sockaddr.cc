// SockAddr: a socket address with its port, and its text forms.
#include <arpa/inet.h>

#include <cstring>

#include "qorbasic/net.h"

SockAddr::SockAddr(unsigned int family) {
    std::memset(&storage_, 0, sizeof(storage_));
    storage_.sa.sa_family = static_cast<sa_family_t>(family);
}

SockAddr::SockAddr(const IPAddress& address) {
    std::memset(&storage_, 0, sizeof(storage_));
    unsigned short family = address.addressFamily();
    if (family == AF_INET || family == AF_INET6) address.copy(&storage_.sa);
}

SockAddr::SockAddr(const SockAddr& other) {
    std::memcpy(&storage_, &other.storage_, sizeof(storage_));
}

SockAddr& SockAddr::operator=(const SockAddr& other) {
    if (this != &other) std::memcpy(&storage_, &other.storage_, sizeof(storage_));
    return *this;
}

SockAddr& SockAddr::operator=(const IPAddress& address) {
    unsigned short port = getPort();
    std::memset(&storage_, 0, sizeof(storage_));
    unsigned short family = address.addressFamily();
    if (family != AF_INET && family != AF_INET6) return *this;
    address.copy(&storage_.sa);
    // sin_port and sin6_port share their offset.
    storage_.in4.sin_port = htons(port);
    return *this;
}

SockAddr& SockAddr::operator=(const std::string& text) {
    return *this = IPAddress(text);
}

bool SockAddr::operator==(const sockaddr* other) const {
    if (other == nullptr || other->sa_family != storage_.sa.sa_family) return false;
    size_t size = storage_.sa.sa_family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
    return std::memcmp(&storage_, other, size) == 0;
}

unsigned short SockAddr::getPort() const {
    unsigned short family = addressFamily();
    if (family != AF_INET && family != AF_INET6) return 0;
    return ntohs(storage_.in4.sin_port);
}

std::string SockAddr::toString() const {
    char text[INET6_ADDRSTRLEN] = {};
    switch (addressFamily()) {
        case AF_INET:
            if (inet_ntop(AF_INET, &storage_.in4.sin_addr, text, sizeof(text)) == nullptr) break;
            return std::string(text) + ":" + std::to_string(getPort());
        case AF_INET6:
            if (inet_ntop(AF_INET6, &storage_.in6.sin6_addr, text, sizeof(text)) == nullptr) break;
            return "[" + std::string(text) + "]:" + std::to_string(getPort());
        default:
            break;
    }
    return std::string();
}
