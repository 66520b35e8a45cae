// Number and boolean text of libqorbasic.
//
// Parsers have one shape, bool parse_x(T& out, QRSTR const& text), and leave
// a zero value (false for parse_bool) in `out` on failure. Renderers replace
// their output string, except render_bytes, which appends.
//
//   int port;
//   if (!parse_decimal32(port, "  8080")) ...   // leading blanks are fine,
//                                                // trailing ones are not
//   std::string hex;
//   render_hex32(hex, 255, true);                // "000000ff"
//
// What users trip on: the 64-bit parsers clamp instead of failing on
// overflow ("9223372036854775808" parses as INT64_MAX); parse_hex64 is a
// signed conversion, so "ffffffffffffffff" gives 0x7fffffffffffffff while
// "-1" gives 0xffffffffffffffff; parse_bool takes true/yes/1/on and
// false/no/0/off in any case, with no blanks around them.
#ifndef QORBASIC_NUMBERS_H
#define QORBASIC_NUMBERS_H

#include <string>

#include "qorbasic/export.h"
#include "qorbasic/text.h"

QOR_API bool parse_decimal32(int& out, QRSTR const& text);
QOR_API bool parse_decimal64(long& out, QRSTR const& text);
QOR_API bool parse_hex32(unsigned int& out, QRSTR const& text);
QOR_API bool parse_hex64(unsigned long& out, QRSTR const& text);
QOR_API bool parse_bool(bool& out, QRSTR const& text);

QOR_API std::string& render_decimal32(std::string& out, int value);
QOR_API std::string& render_decimal64(std::string& out, long value);
QOR_API std::string& render_hex8(std::string& out, unsigned char value, bool lowercase);
QOR_API std::string& render_hex16(std::string& out, unsigned short value, bool lowercase);
QOR_API std::string& render_hex32(std::string& out, unsigned int value, bool lowercase);
QOR_API std::string& render_hex64(std::string& out, unsigned long value, bool lowercase);
QOR_API std::string& render_bool(std::string& out, bool value);
// Appends two hex digits per byte, with `separator` between bytes unless it
// is NUL. A count of 0 or below appends nothing.
QOR_API void render_bytes(std::string& out, const char* data, int count, bool lowercase,
                          char separator);

QOR_API int hex_to_decimal(char digit);
QOR_API char decimal_to_hex(int value, bool lowercase);

#endif  // QORBASIC_NUMBERS_H
