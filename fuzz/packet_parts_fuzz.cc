// PacketParts over any bytes: every part it finds lies inside the packet.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "qorbasic/net.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // A copy of exactly `size` bytes, so that ASan sees any read beyond it.
    std::vector<char> packet(data, data + size);
    NetworkUtils::PacketParts parts(packet.data(), static_cast<int>(size));
    const char* end = packet.data() + size;
    for (const char* part :
         {parts.ipv4, parts.ip_payload, parts.ipv6, parts.icmp, parts.icmp_payload, parts.tcp,
          parts.tcp_payload, parts.udp, parts.udp_payload, parts.proto255}) {
        if (part != nullptr && (part < packet.data() || part >= end)) std::abort();
    }
    return 0;
}
