// The crash report's own formatter: the handler can't use the C library's
// formatted output (it may allocate or lock), so this one knows only the
// conversions the report needs and writes into a fixed buffer.
#include <cstdarg>
#include <cstring>

#include "panic/panic_internal.h"

namespace {

char* cursor = nullptr;
char* limit = nullptr;

// Longest number text: 20 digits of a 64-bit unsigned value, or 19 digits
// and a sign.
constexpr int kNumberSpace = 20;

void put_char(char c) {
    if (cursor < limit) *cursor++ = c;
}

void put_fill(int count, char fill) {
    for (int i = 0; i < count; ++i) put_char(fill);
}

void put_padded(const char* text, int length, int width, bool left, char fill) {
    int pad = width > length ? width - length : 0;
    if (!left) put_fill(pad, fill);
    for (int i = 0; i < length; ++i) put_char(text[i]);
    if (left) put_fill(pad, fill);
}

// Renders `magnitude` in `base` from the low digit up at the end of `space`;
// returns where the text starts.
char* render_number(char* space_end, unsigned long long magnitude, unsigned base, bool upper,
                    bool negative) {
    const char* digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
    char* p = space_end;
    do {
        *--p = digits[magnitude % base];
        magnitude /= base;
    } while (magnitude != 0);
    if (negative) *--p = '-';
    return p;
}

}  // namespace

namespace qor {
namespace detail {

void panic_format_to(char* buffer, size_t size) {
    memset(buffer, 0, size);
    cursor = buffer;
    limit = buffer + size;
}

char* panic_format_cursor() {
    return cursor;
}

void panic_format(const char* format, ...) {
    va_list args;
    va_start(args, format);
    for (const char* f = format; *f != '\0'; ++f) {
        if (*f != '%') {
            put_char(*f);
            continue;
        }
        bool left = false;
        bool zero = false;
        int width = 0;
        if (f[1] == '-') {
            left = true;
            ++f;
        }
        while (f[1] == '0') {
            zero = true;
            ++f;
        }
        if (f[1] == '*') {
            width = va_arg(args, int);
            ++f;
        } else {
            while (f[1] >= '0' && f[1] <= '9') {
                width = width * 10 + (f[1] - '0');
                ++f;
            }
        }
        int longs = 0;
        while (f[1] == 'l' && longs < 2) {
            ++longs;
            ++f;
        }
        const char conversion = *++f;
        if (conversion == '\0') break;
        const char fill = zero ? '0' : ' ';
        char space[kNumberSpace];
        char* const space_end = space + kNumberSpace;
        switch (conversion) {
            case 'd': {
                long long value = longs > 0 ? va_arg(args, long long) : va_arg(args, int);
                unsigned long long magnitude = value < 0
                                                   ? 0ULL - static_cast<unsigned long long>(value)
                                                   : static_cast<unsigned long long>(value);
                char* text = render_number(space_end, magnitude, 10, false, value < 0);
                put_padded(text, static_cast<int>(space_end - text), width, left, fill);
                break;
            }
            case 'u':
            case 'x':
            case 'X': {
                unsigned long long value =
                    longs > 0 ? va_arg(args, unsigned long long) : va_arg(args, unsigned int);
                char* text = render_number(space_end, value, conversion == 'u' ? 10 : 16,
                                           conversion == 'X', false);
                put_padded(text, static_cast<int>(space_end - text), width, left, fill);
                break;
            }
            case 'p': {
                char* text = render_number(
                    space_end, reinterpret_cast<uintptr_t>(va_arg(args, void*)), 16, false, false);
                put_padded(text, static_cast<int>(space_end - text), 16, false, '0');
                break;
            }
            case 'c':
                put_char(static_cast<char>(va_arg(args, int)));
                break;
            case 's': {
                const char* text = va_arg(args, const char*);
                if (text == nullptr) text = "(null)";
                put_padded(text, static_cast<int>(strlen(text)), width, left, fill);
                break;
            }
            default:  // unknown conversions print nothing and take no argument
                break;
        }
    }
    va_end(args);
}

}  // namespace detail
}  // namespace qor
