// The number and bool parsers on arbitrary text: a failure leaves a zero
// value, the 32-bit parsers agree with the 64-bit ones within their range,
// and a parsed decimal rendered by render_decimal64 parses back to itself.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "qorbasic/numbers.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);

    long decimal = -1;
    const bool decimal_ok = parse_decimal64(decimal, text);
    if (decimal_ok) {
        std::string rendered;
        long again = -1;
        if (!parse_decimal64(again, render_decimal64(rendered, decimal)) || again != decimal) {
            abort();
        }
    }
    int decimal32 = -1;
    const bool in_int = decimal >= INT32_MIN && decimal <= INT32_MAX;
    if (parse_decimal32(decimal32, text) != (decimal_ok && in_int)) abort();
    if (decimal32 != (decimal_ok && in_int ? decimal : 0)) abort();
    if (!decimal_ok && decimal != 0) abort();

    unsigned long hex = 1;
    const bool hex_ok = parse_hex64(hex, text);
    unsigned int hex32 = 1;
    const bool in_uint = hex <= UINT32_MAX;
    if (parse_hex32(hex32, text) != (hex_ok && in_uint)) abort();
    if (hex32 != (hex_ok && in_uint ? hex : 0)) abort();
    if (!hex_ok && hex != 0) abort();

    bool flag = true;
    if (!parse_bool(flag, text) && flag) abort();
    return 0;
}
