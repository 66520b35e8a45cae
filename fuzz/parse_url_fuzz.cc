// parse_url on arbitrary text: no crash, and a URL that parses has a scheme
// ending in "://" and a host, from which make_url builds a URL again.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "qorbasic/strings.h"
#include "qorbasic/url.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string url(reinterpret_cast<const char*>(data), size);
    std::string scheme, host, port, path, rebuilt;
    if (!parse_url(scheme, host, port, path, url)) return 0;
    if (!string_ends_with(scheme, "://") || host.empty()) abort();
    if (!make_url(scheme, host, port, path, rebuilt)) abort();
    return 0;
}
