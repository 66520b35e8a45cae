// IPCidr from any text raises at most the two exceptions of the prefix
// parser; everything built from it is total.
#include <cstdint>
#include <stdexcept>
#include <string>

#include "qorbasic/net.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    try {
        IPCidr prefix(text);
        IPAddress first, last;
        (void)prefix.Range(first, last);
        (void)prefix.toString();
        (void)prefix.isDefaultRouteCIDR();
        (void)IPCidr::superSet(prefix, IPCidr::zero4);
        (void)IPCidr::sum(prefix, prefix.normalized());
    } catch (const std::invalid_argument&) {
    } catch (const std::out_of_range&) {
    }
    return 0;
}
