// Byte scans of the parser: over the white space of the C locale, over
// decimal digits, and to the next quote or backslash in a string. Each has a
// plain form and a fast form (SSE2, sixteen bytes at a time) that must give
// the same result; the parser uses the fast one, and a test compares the two.
#ifndef QORBASIC_SRC_JSON_SCAN_H
#define QORBASIC_SRC_JSON_SCAN_H

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace qor {
namespace detail {

// isspace() of the C locale: blank, and tab to carriage return.
inline bool isCSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// The first byte in [p, end) that is no C white space, or end.
inline const char* skipCSpacePlain(const char* p, const char* end) {
    while (p < end && isCSpace(*p)) ++p;
    return p;
}

// The first byte in [p, end) that is no decimal digit, or end.
inline const char* skipDigitsPlain(const char* p, const char* end) {
    while (p < end && static_cast<unsigned char>(*p - '0') <= 9) ++p;
    return p;
}

// The first quote or backslash in [p, end), or end.
inline const char* findQuoteOrBackslashPlain(const char* p, const char* end) {
    while (p < end && *p != '"' && *p != '\\') ++p;
    return p;
}

#ifdef __SSE2__

inline const char* skipCSpaceFast(const char* p, const char* end) {
    // Most calls stand on a byte that is no white space at all.
    if (p<end&& static_cast<unsigned char>(*p)> ' ') return p;
    const __m128i blank = _mm_set1_epi8(' '), tab = _mm_set1_epi8('\t'),
                  span = _mm_set1_epi8('\r' - '\t');
    while (end - p >= 16) {
        __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        // A byte b is in tab..carriage return when b - tab, unsigned, is at
        // most their distance.
        __m128i offset = _mm_sub_epi8(bytes, tab);
        __m128i inRange = _mm_cmpeq_epi8(_mm_min_epu8(offset, span), offset);
        __m128i space = _mm_or_si128(inRange, _mm_cmpeq_epi8(bytes, blank));
        unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(space));
        if (mask != 0xFFFF) return p + __builtin_ctz(~mask);
        p += 16;
    }
    return skipCSpacePlain(p, end);
}

inline const char* skipDigitsFast(const char* p, const char* end) {
    const __m128i zero = _mm_set1_epi8('0'), nine = _mm_set1_epi8(9);
    while (end - p >= 16) {
        __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        __m128i offset = _mm_sub_epi8(bytes, zero);
        __m128i digit = _mm_cmpeq_epi8(_mm_min_epu8(offset, nine), offset);
        unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(digit));
        if (mask != 0xFFFF) return p + __builtin_ctz(~mask);
        p += 16;
    }
    return skipDigitsPlain(p, end);
}

inline const char* findQuoteOrBackslashFast(const char* p, const char* end) {
    const __m128i quote = _mm_set1_epi8('"'), backslash = _mm_set1_epi8('\\');
    while (end - p >= 16) {
        __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        __m128i hit = _mm_or_si128(_mm_cmpeq_epi8(bytes, quote), _mm_cmpeq_epi8(bytes, backslash));
        unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(hit));
        if (mask != 0) return p + __builtin_ctz(mask);
        p += 16;
    }
    return findQuoteOrBackslashPlain(p, end);
}

#else

inline const char* skipCSpaceFast(const char* p, const char* end) {
    return skipCSpacePlain(p, end);
}

inline const char* skipDigitsFast(const char* p, const char* end) {
    return skipDigitsPlain(p, end);
}

inline const char* findQuoteOrBackslashFast(const char* p, const char* end) {
    return findQuoteOrBackslashPlain(p, end);
}

#endif

}  // namespace detail
}  // namespace qor

#endif  // QORBASIC_SRC_JSON_SCAN_H
