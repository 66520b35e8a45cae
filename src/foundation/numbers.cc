// Number and boolean parsing and rendering.
#include "qorbasic/numbers.h"

#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdlib>

// The 64-bit parsers take what strtoll takes (leading white space, a sign,
// "0x" in base 16) and must end exactly at the terminator. Overflow is not a
// failure: strtoll clamps and the clamped value is the result. errno is kept
// as the caller left it, so that a parse between a failing call and its log
// line does not change the reported error.
static bool parse_signed64(long long& out, QRSTR const& text, int base) {
    out = 0;
    if (text.is_empty()) return false;
    const int saved_errno = errno;
    char* end = nullptr;
    long long value = strtoll(text.ptr(), &end, base);
    errno = saved_errno;
    if (*end != '\0') return false;
    out = value;
    return true;
}

bool parse_decimal64(long& out, QRSTR const& text) {
    long long value;
    bool ok = parse_signed64(value, text, 10);
    out = static_cast<long>(value);
    return ok;
}

bool parse_hex64(unsigned long& out, QRSTR const& text) {
    long long value;
    bool ok = parse_signed64(value, text, 16);
    // A negative text gives its two's complement: "-1" is all ones.
    out = static_cast<unsigned long>(value);
    return ok;
}

bool parse_decimal32(int& out, QRSTR const& text) {
    long value;
    if (parse_decimal64(value, text) && value >= INT_MIN && value <= INT_MAX) {
        out = static_cast<int>(value);
        return true;
    }
    out = 0;
    return false;
}

bool parse_hex32(unsigned int& out, QRSTR const& text) {
    unsigned long value;
    if (parse_hex64(value, text) && value <= 0xFFFFFFFFul) {
        out = static_cast<unsigned int>(value);
        return true;
    }
    out = 0;
    return false;
}

bool parse_bool(bool& out, QRSTR const& text) {
    struct Word {
        const char* text;
        bool value;
    };
    static const Word words[] = {{"true", true},   {"yes", true}, {"1", true},  {"on", true},
                                 {"false", false}, {"no", false}, {"0", false}, {"off", false}};
    for (const Word& word : words) {
        if (equals_nocase(text, word.text)) {
            out = word.value;
            return true;
        }
    }
    out = false;
    return false;
}

// to_chars gives the same digits as "%d" and "%ld" without a format pass.
template <typename Int>
static std::string& render_decimal(std::string& out, Int value) {
    char digits[24];
    std::to_chars_result r = std::to_chars(digits, digits + sizeof digits, value);
    out.assign(digits, r.ptr);
    return out;
}

std::string& render_decimal32(std::string& out, int value) {
    return render_decimal(out, value);
}
std::string& render_decimal64(std::string& out, long value) {
    return render_decimal(out, value);
}

static const char upper_digits[] = "0123456789ABCDEF";
static const char lower_digits[] = "0123456789abcdef";

// Writes exactly `count` digits, most significant nibble first.
static std::string& render_hex(std::string& out, unsigned long value, int count, bool lowercase) {
    const char* digits = lowercase ? lower_digits : upper_digits;
    out.resize(static_cast<size_t>(count));
    for (int i = count - 1; i >= 0; --i) {
        out[static_cast<size_t>(i)] = digits[value & 0xF];
        value >>= 4;
    }
    return out;
}

std::string& render_hex8(std::string& out, unsigned char value, bool lowercase) {
    return render_hex(out, value, 2, lowercase);
}
std::string& render_hex16(std::string& out, unsigned short value, bool lowercase) {
    return render_hex(out, value, 4, lowercase);
}
std::string& render_hex32(std::string& out, unsigned int value, bool lowercase) {
    return render_hex(out, value, 8, lowercase);
}
std::string& render_hex64(std::string& out, unsigned long value, bool lowercase) {
    return render_hex(out, value, 16, lowercase);
}

std::string& render_bool(std::string& out, bool value) {
    out.assign(value ? "true" : "false");
    return out;
}

void render_bytes(std::string& out, const char* data, int count, bool lowercase, char separator) {
    if (count <= 0 || data == nullptr) return;
    const char* digits = lowercase ? lower_digits : upper_digits;
    const size_t per_byte = separator != '\0' ? 3 : 2;
    out.reserve(out.size() + static_cast<size_t>(count) * per_byte);
    for (int i = 0; i < count; ++i) {
        if (i > 0 && separator != '\0') out.push_back(separator);
        const unsigned char byte = static_cast<unsigned char>(data[i]);
        out.push_back(digits[byte >> 4]);
        out.push_back(digits[byte & 0xF]);
    }
}

int hex_to_decimal(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    return -1;
}

char decimal_to_hex(int value, bool lowercase) {
    if (value < 0 || value > 15) return '?';
    return (lowercase ? lower_digits : upper_digits)[value];
}
