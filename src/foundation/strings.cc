// String algorithms: trimming, case, splitting, joining and comparing.
#include "qorbasic/strings.h"

#include <cctype>
#include <cstring>
#include <cwchar>

#include "foundation/text_alias.h"

int limited_string_length(QRSTR const& text, int limit) {
    return text.length() < limit ? text.length() : limit;
}

// Both searches see the text up to its first NUL, as strchr and strrchr do.
int string_findchar(QRSTR const& text, char c) {
    if (text.is_empty()) return -1;
    const char* found = strchr(text.ptr(), c);
    return found != nullptr ? static_cast<int>(found - text.ptr()) : -1;
}

int string_reversefind(QRSTR const& text, char c) {
    if (text.is_empty()) return -1;
    const char* found = strrchr(text.ptr(), c);
    return found != nullptr ? static_cast<int>(found - text.ptr()) : -1;
}

bool string_starts_with(QRSTR const& text, QRSTR const& prefix) {
    if (text.length() < prefix.length()) return false;
    return strncmp(text.ptr(), prefix.ptr(), static_cast<size_t>(prefix.length())) == 0;
}

bool string_ends_with(QRSTR const& text, QRSTR const& suffix) {
    if (text.length() < suffix.length()) return false;
    const char* tail = text.ptr() + (text.length() - suffix.length());
    return strncmp(tail, suffix.ptr(), static_cast<size_t>(suffix.length())) == 0;
}

bool is_domain_char(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.';
}

bool is_ipv6_char(char c) {
    return (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F') || (c >= '0' && c <= '9') || c == ':' ||
           c == '[' || c == ']';
}

// The C library's character classes get the byte as a signed char, as the
// rest of the library hands it over; glibc's tables are defined for -128..255,
// and in the C locale no byte from 0x80 up is a space or a letter.
static bool is_space_byte(char c) {
    return isspace(static_cast<signed char>(c)) != 0;
}

std::string& string_ltrim(std::string& text) {
    size_t start = 0;
    while (start < text.size() && is_space_byte(text[start])) ++start;
    text.erase(0, start);
    return text;
}

std::string& string_rtrim(std::string& text) {
    size_t end = text.size();
    while (end > 0 && is_space_byte(text[end - 1])) --end;
    text.resize(end);
    return text;
}

std::string& string_trim(std::string& text) {
    return string_ltrim(string_rtrim(text));
}

// The copying trim cuts control bytes, the blank, DEL and, since a byte from
// 0x80 up is negative as a signed char, every non-ASCII byte at the edges.
static bool is_trimmed_byte(char c) {
    signed char value = static_cast<signed char>(c);
    return value <= 32 || value == 127;
}

void string_trim(std::string& out, QRSTR const& text) {
    const char* p = text.ptr();
    int start = 0;
    int end = text.length();
    while (start < end && is_trimmed_byte(p[start])) ++start;
    while (end > start && is_trimmed_byte(p[end - 1])) --end;
    // assign copes with a text that views `out` itself.
    out.assign(p + start, static_cast<size_t>(end - start));
}

char char_toupper(char c) {
    return static_cast<char>(toupper(static_cast<signed char>(c)));
}
char char_tolower(char c) {
    return static_cast<char>(tolower(static_cast<signed char>(c)));
}

// Converts in place and, if anything changed, cuts the string at its first
// NUL: the in-place case forms treat the string as a C string once they
// rewrite it. The result is the same as building a NUL-terminated copy, with
// no allocation.
static std::string& convert_in_place(std::string& text, char (*convert)(char)) {
    size_t i = 0;
    while (i < text.size() && convert(text[i]) == text[i]) ++i;
    if (i == text.size()) return text;
    for (; i < text.size(); ++i) text[i] = convert(text[i]);
    const size_t nul = text.find('\0');
    if (nul != std::string::npos) text.resize(nul);
    return text;
}

std::string& string_toupper(std::string& text) {
    return convert_in_place(text, char_toupper);
}
std::string& string_tolower(std::string& text) {
    return convert_in_place(text, char_tolower);
}

// Writes position by position over a string of the final length, so that a
// text that views `out` itself (same length, no reallocation) still converts.
static std::string& convert_copy(std::string& out, QRSTR const& text, char (*convert)(char)) {
    const char* p = text.ptr();
    size_t n = static_cast<size_t>(text.length());
    out.resize(n);
    for (size_t i = 0; i < n; ++i) out[i] = convert(p[i]);
    return out;
}

std::string& string_toupper(std::string& out, QRSTR const& text) {
    return convert_copy(out, text, char_toupper);
}
std::string& string_tolower(std::string& out, QRSTR const& text) {
    return convert_copy(out, text, char_tolower);
}

std::string downcased(const std::string& text) {
    std::string result(text);
    for (char& c : result) c = static_cast<char>(tolower(static_cast<signed char>(c)));
    return result;
}

bool split_string(const std::string& text, std::string& left, std::string& right,
                  const std::string& separator) {
    if (&text == &left || &text == &right || &separator == &left || &separator == &right) {
        // Copies, not references: the outputs alias the inputs.
        // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
        const std::string text_copy(text), separator_copy(separator);
        return split_string(text_copy, left, right, separator_copy);
    }
    size_t pos = text.find(separator);
    if (pos == std::string::npos) return false;
    left.assign(text, 0, pos);
    right.assign(text, pos + separator.size(), std::string::npos);
    return true;
}

// Reads fields as std::getline does, without a stream: no field for an empty
// text and no empty field after a trailing separator.
void split_string(const std::string& text, char separator, std::vector<std::string>& out) {
    size_t pos = 0;
    while (pos < text.size()) {
        size_t end = text.find(separator, pos);
        if (end == std::string::npos) end = text.size();
        out.emplace_back(text, pos, end - pos);
        pos = end + 1;
    }
}

std::vector<std::string> split_string(const std::string& text, char separator) {
    std::vector<std::string> fields;
    split_string(text, separator, fields);
    return fields;
}

// The white space of the classic locale, which a default string stream uses.
static bool is_stream_space(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

void split_string_by_ws(const std::string& text, std::vector<std::string>& out) {
    size_t pos = 0;
    const size_t n = text.size();
    while (pos < n) {
        while (pos < n && is_stream_space(text[pos])) ++pos;
        size_t start = pos;
        while (pos < n && !is_stream_space(text[pos])) ++pos;
        if (pos > start) out.emplace_back(text, start, pos - start);
    }
}

void split_string(StringVector& out, QRSTR const& text, int separator) {
    // Clearing `out` frees its strings, so a text that views one of them,
    // as in split_string(list, list.fetch(0), ','), is read from a copy.
    for (int i = 0; i < out.size(); ++i) {
        if (text_views(text, out.fetch(i))) {
            const std::string copy(text.ptr(), static_cast<size_t>(text.length()));
            split_string(out, copy, separator);
            return;
        }
    }
    out.clear();
    const char* p = text.ptr();
    const int n = text.length();
    // One reusable buffer: StringVector::append needs a terminated text.
    std::string field;
    int start = 0;
    for (int i = 0; i <= n; ++i) {
        if (i == n || static_cast<int>(static_cast<signed char>(p[i])) == separator) {
            field.assign(p + start, static_cast<size_t>(i - start));
            out.append(field);
            start = i + 1;
        }
    }
}

void join_string(std::string& out, char separator, const std::vector<std::string>& parts) {
    size_t total = parts.empty() ? 0 : parts.size() - 1;
    bool aliased = false;
    for (const std::string& part : parts) {
        total += part.size();
        aliased = aliased || &part == &out;
    }
    std::string local;
    std::string& target = aliased ? local : out;
    target.clear();
    target.reserve(total);
    for (size_t i = 0; i < parts.size(); ++i) {
        if (i > 0) target.push_back(separator);
        target.append(parts[i]);
    }
    if (aliased) out.swap(local);
}

std::string join_string(char separator, const std::vector<std::string>& parts) {
    std::string out;
    join_string(out, separator, parts);
    return out;
}

std::string& join_string(std::string& out, QRSTR const& p1, QRSTR const& p2, QRSTR const& p3,
                         QRSTR const& p4, QRSTR const& p5, QRSTR const& p6, QRSTR const& p7,
                         QRSTR const& p8, QRSTR const& p9, QRSTR const& p10) {
    const QRSTR* parts[] = {&p1, &p2, &p3, &p4, &p5, &p6, &p7, &p8, &p9, &p10};
    // A part may view `out` itself (join_string(s, s, "x") appends); then
    // the result is built aside, since clearing `out` would destroy it.
    size_t total = 0;
    bool aliased = false;
    for (const QRSTR* part : parts) {
        total += static_cast<size_t>(part->length());
        aliased = aliased || text_views(*part, out);
    }
    std::string local;
    std::string& target = aliased ? local : out;
    target.clear();
    target.reserve(total);
    for (const QRSTR* part : parts) {
        if (part->has_text()) target.append(part->ptr(), static_cast<size_t>(part->length()));
    }
    if (aliased) out.swap(local);
    return out;
}

void ascii_to_widechar(std::wstring& out, const char* text) {
    size_t n = text != nullptr ? strlen(text) : 0;
    out.resize(n);
    for (size_t i = 0; i < n; ++i) out[i] = static_cast<wchar_t>(static_cast<signed char>(text[i]));
}

void widechar_to_ascii(std::string& out, const wchar_t* text) {
    size_t n = text != nullptr ? wcslen(text) : 0;
    out.resize(n);
    for (size_t i = 0; i < n; ++i) {
        wchar_t c = text[i];
        out[i] = (c < 32 || c > 126) ? '?' : static_cast<char>(c);
    }
}
