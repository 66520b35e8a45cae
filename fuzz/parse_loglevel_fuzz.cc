// parse_loglevel on arbitrary text: never null, always one of the seven
// levels, and a level's own full name or short name always reads back as it.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "qorbasic/log.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const qor_loglevel_impl* level = parse_loglevel(text.c_str());
    if (level == nullptr || !loglevel_is_valid(level)) abort();
    if (parse_loglevel(level->full_name) != level || parse_loglevel(level->short_name) != level) {
        abort();
    }
    return 0;
}
