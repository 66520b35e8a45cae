// Detection of a QRSTR that views an output string of the same call.
#ifndef QORBASIC_FOUNDATION_TEXT_ALIAS_H
#define QORBASIC_FOUNDATION_TEXT_ALIAS_H

#include <cstdint>
#include <string>

#include "qorbasic/text.h"

// True when `text` points into the buffer of `s`: a function that clears or
// rewrites `s` before it has read all of `text` must then work on a copy.
// Callers pass their own output back in, as in join_string(s, s, "x").
inline bool text_views(QRSTR const& text, const std::string& s) {
    const uintptr_t begin = reinterpret_cast<uintptr_t>(s.data());
    const uintptr_t at = reinterpret_cast<uintptr_t>(text.ptr());
    return at >= begin && at <= begin + s.capacity();
}

#endif  // QORBASIC_FOUNDATION_TEXT_ALIAS_H
