// IPUtils helpers (families, netmasks, prefix lengths, MAC values) and their flat forms.
#include <cstring>
#include <string>

#include "qorbasic/net.h"

namespace IPUtils {

unsigned short addressFamily(const std::string& text) {
    for (size_t i = 0; i < 5 && i < text.size(); ++i) {
        if (text[i] == '.') return AF_INET;
        if (text[i] == ':') return AF_INET6;
    }
    return 0;
}

bool isCidr(const std::string& text) {
    if (text.size() < 4) return false;
    return text.find('/', text.size() - 4) != std::string::npos;
}

std::string plainAddr(const std::string& text) {
    return text.substr(0, text.rfind('/'));
}

unsigned short prefixLengthFromCidr(const std::string& text) {
    unsigned short family = addressFamily(text);
    if (family == 0) return 0;
    size_t slash = text.rfind('/');
    if (slash == std::string::npos) return family == AF_INET ? 32 : 128;
    // std::stol raises for a text without digits or a number beyond a long;
    // callers of the prefix parser rely on exactly those two exceptions.
    return static_cast<unsigned short>(std::stol(text.substr(slash + 1), nullptr, 10));
}

unsigned short prefixLengthFromNetmask(const std::string& text) {
    return IPAddress(text).netmaskPrefixLength();
}

bool makeNetmask(unsigned short family, unsigned short prefix, IPAddress& out) {
    IPAddress mask = IPAddress::makeNetmask(family, prefix);
    if (!mask.isValid()) return false;
    out = mask;
    return true;
}

MACAddress QORMAC(const IPAddress& address) {
    unsigned char mac[6] = {0x4A, 0x06, 0x6A, 0, 0, 0};
    if (const in_addr* v4 = address.addr4()) {
        std::memcpy(mac + 3, reinterpret_cast<const unsigned char*>(v4) + 1, 3);
    } else if (const in6_addr* v6 = address.addr6()) {
        std::memcpy(mac + 3, reinterpret_cast<const unsigned char*>(v6) + 13, 3);
    }
    return MACAddress(mac);
}

}  // namespace IPUtils

int iputils_qormac(unsigned char* mac, const in_addr* address) {
    if (mac == nullptr || address == nullptr) return 0;
    std::memcpy(mac, IPUtils::QORMAC(IPAddress(*address)).bytes(), 6);
    return 1;
}

int iputils_mac_to_str(char* text, const unsigned char* mac) {
    if (text == nullptr || mac == nullptr) return 0;
    std::strncpy(text, MACAddress(mac).toString().c_str(), 18);
    return 1;
}

int iputils_str_to_mac(unsigned char* mac, const char* text) {
    if (mac == nullptr || text == nullptr) return 0;
    std::memcpy(mac, MACAddress(std::string(text)).bytes(), 6);
    return 1;
}
