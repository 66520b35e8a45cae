// MACAddress from any text: a non-zero result prints as text that reads back
// to the same address.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "qorbasic/net.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    MACAddress mac(text);
    if (MACAddress(mac.toString()) != mac) std::abort();
    return 0;
}
