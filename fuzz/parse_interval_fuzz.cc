// parse_interval on arbitrary text, and render_interval on the result and on
// the first eight bytes read as a tick count: the rendering reads back to
// within one of its unit, renders again to the same text, and never hits
// undefined behaviour (the most negative count included).
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "qorbasic/timeutils.h"

namespace {

void check_round_trip(long ticks) {
    std::string text;
    render_interval(text, ticks);
    if (ticks == 0) {
        if (text != "0 seconds") abort();
        return;
    }
    long back = parse_interval(text.c_str());
    if ((back < 0) != (ticks < 0) || back == 0) abort();
    // Both sides in unsigned arithmetic: the dropped part is below one unit.
    unsigned long magnitude = ticks < 0 ? 0UL - static_cast<unsigned long>(ticks) : ticks;
    unsigned long back_magnitude = back < 0 ? 0UL - static_cast<unsigned long>(back) : back;
    unsigned long count = std::strtoul(text.c_str() + (ticks < 0 ? 1 : 0), nullptr, 10);
    if (count == 0 || back_magnitude > magnitude ||
        magnitude - back_magnitude >= back_magnitude / count) {
        abort();
    }
    std::string again;
    render_interval(again, back);
    if (again != text) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    check_round_trip(parse_interval(text.c_str()));
    if (size >= sizeof(long)) {
        long ticks;
        std::memcpy(&ticks, data, sizeof ticks);
        check_round_trip(ticks);
    }
    return 0;
}
