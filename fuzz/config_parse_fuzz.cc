// One configuration line, with the separator taken from the first byte.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "qorbasic/config.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    const char separator = static_cast<char>(data[0]);
    std::string line(reinterpret_cast<const char*>(data) + 1, size - 1);
    std::string key, value, comment;
    if (ConfigUtils::parseConfigKeyValue(line, key, value, comment, separator)) {
        // The key ends at the first separator; a comment starts " #".
        if (key.find(separator) != std::string::npos ||
            (!comment.empty() && comment.compare(0, 2, " #") != 0)) {
            abort();
        }
    }
    return 0;
}
