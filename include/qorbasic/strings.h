// String algorithms of libqorbasic: search, trimming, case, splitting,
// joining and wide text. All work on bytes under the process's locale; text
// comes in as QRSTR const& or const std::string&, and goes out through a
// std::string& parameter that the function replaces.
//
//   std::string line = "  key = value \n";
//   string_trim(line);                          // "key = value"
//   std::vector<std::string> f = split_string("a,,b", ',');   // a, "", b
//
// Two rules that users trip on:
// - The two trims differ: string_trim(std::string&) cuts isspace() bytes,
//   while string_trim(out, text) cuts every byte <= 32, DEL and every byte
//   from 0x80 up.
// - The two field splitters differ at their edges: the std::vector form reads
//   as std::getline does (an empty text gives no field, a trailing separator
//   adds no empty field), while the StringVector form always ends with the
//   last field, even an empty one ("" gives one empty field, "a," two).
#ifndef QORBASIC_STRINGS_H
#define QORBASIC_STRINGS_H

#include <string>
#include <vector>

#include "qorbasic/export.h"
#include "qorbasic/text.h"

QOR_API int limited_string_length(QRSTR const& text, int limit);
QOR_API int string_findchar(QRSTR const& text, char c);
QOR_API int string_reversefind(QRSTR const& text, char c);
QOR_API bool string_starts_with(QRSTR const& text, QRSTR const& prefix);
QOR_API bool string_ends_with(QRSTR const& text, QRSTR const& suffix);
QOR_API bool is_domain_char(char c);
QOR_API bool is_ipv6_char(char c);

QOR_API std::string& string_ltrim(std::string& text);
QOR_API std::string& string_rtrim(std::string& text);
QOR_API std::string& string_trim(std::string& text);
QOR_API void string_trim(std::string& out, QRSTR const& text);

QOR_API char char_toupper(char c);
QOR_API char char_tolower(char c);
QOR_API std::string& string_toupper(std::string& text);
QOR_API std::string& string_tolower(std::string& text);
QOR_API std::string& string_toupper(std::string& out, QRSTR const& text);
QOR_API std::string& string_tolower(std::string& out, QRSTR const& text);
QOR_API std::string downcased(const std::string& text);

QOR_API bool split_string(const std::string& text, std::string& left, std::string& right,
                          const std::string& separator);
QOR_API void split_string(const std::string& text, char separator, std::vector<std::string>& out);
QOR_API std::vector<std::string> split_string(const std::string& text, char separator);
QOR_API void split_string_by_ws(const std::string& text, std::vector<std::string>& out);
QOR_API void split_string(StringVector& out, QRSTR const& text, int separator);

QOR_API void join_string(std::string& out, char separator, const std::vector<std::string>& parts);
QOR_API std::string join_string(char separator, const std::vector<std::string>& parts);
QOR_API std::string& join_string(std::string& out, QRSTR const& p1, QRSTR const& p2,
                                 QRSTR const& p3 = QRSTR::empty(), QRSTR const& p4 = QRSTR::empty(),
                                 QRSTR const& p5 = QRSTR::empty(), QRSTR const& p6 = QRSTR::empty(),
                                 QRSTR const& p7 = QRSTR::empty(), QRSTR const& p8 = QRSTR::empty(),
                                 QRSTR const& p9 = QRSTR::empty(),
                                 QRSTR const& p10 = QRSTR::empty());

QOR_API void ascii_to_widechar(std::wstring& out, const char* text);
QOR_API void widechar_to_ascii(std::string& out, const wchar_t* text);

#endif  // QORBASIC_STRINGS_H
