// Views of the IP and transport headers of a raw packet.
#include "logging/library_log.h"
#include "qorbasic/net.h"

namespace {

constexpr int MIN_IPV4_HEADER = 20;
constexpr int PROTOCOL_OFFSET = 9;

}  // namespace

namespace NetworkUtils {

// A packet comes from the network, so no content of it may end the process:
// where a broken packet would be an assertion failure, the view logs the
// fault and leaves out every part that can't be trusted.
PacketParts::PacketParts(char* data_, int length_)
    : data(data_),
      length(length_),
      ipv4(nullptr),
      ip_payload(nullptr),
      ipv6(nullptr),
      icmp(nullptr),
      icmp_payload(nullptr),
      tcp(nullptr),
      tcp_payload(nullptr),
      udp(nullptr),
      udp_payload(nullptr),
      proto255(nullptr) {
    if (length <= 0 || data == nullptr) {
        if (length > 0) {
            QOR_LOG(QOR_LOGLEVEL_ERROR, "packet bytes missing").add("length", length);
        }
        data = nullptr;
        length = 0;
        return;
    }
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(data);
    // Offsets are checked against the length before a pointer is formed, so
    // no pointer ever lies beyond the end of the packet.
    auto part = [this](int offset) { return offset < length ? data + offset : nullptr; };
    int version = bytes[0] >> 4;
    if (version == 6) {
        ipv6 = data;
        return;
    }
    if (version != 4) return;
    ipv4 = data;
    int header_length = (bytes[0] & 0x0F) * 4;
    if (header_length < MIN_IPV4_HEADER) {
        // Where the header ends is unknown, so no payload or transport part.
        QOR_LOG(QOR_LOGLEVEL_ERROR, "invalid packet header length")
            .add("header_length", header_length)
            .add("length", length);
        return;
    }
    ip_payload = part(header_length);
    if (length < MIN_IPV4_HEADER) return;
    switch (bytes[PROTOCOL_OFFSET]) {
        case 1:
            icmp = part(header_length);
            icmp_payload = part(header_length + 28);
            break;
        case 6:
            tcp = part(header_length);
            tcp_payload = part(header_length + 20);
            break;
        case 17:
            udp = part(header_length);
            udp_payload = part(header_length + 8);
            break;
        case 255:
            proto255 = part(header_length);
            break;
        default:
            break;
    }
}

}  // namespace NetworkUtils
