// IPAddress from any text: never raises, and a valid address prints as text
// that reads back to the same address.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "qorbasic/net.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    IPAddress address(text);
    if (address.isValid() && IPAddress(address.toString()) != address) std::abort();
    IPAddress next = address;
    ++next;
    (void)address.netmaskPrefixLength();
    (void)address.multicastMac();
    (void)address.v6mapped().toString();
    return 0;
}
