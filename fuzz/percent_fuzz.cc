// percent_decode on arbitrary text, and the round trip
// percent_decode(percent_encode(x)) == x for every byte string.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "qorbasic/url.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::string decoded, encoded;
    percent_decode(decoded, text);
    if (decoded.size() > text.size()) abort();
    percent_decode(decoded, percent_encode(encoded, text));
    if (decoded != text) abort();
    return 0;
}
