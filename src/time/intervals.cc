// Intervals: durations as short human texts ("10 secs", "1 day") and back.
#include <charconv>
#include <cstdlib>
#include <string>

#include "qorbasic/timeutils.h"

namespace {

constexpr unsigned long kMillisecond = 1000UL;
constexpr unsigned long kSecond = 1000UL * kMillisecond;
constexpr unsigned long kMinute = 60UL * kSecond;
constexpr unsigned long kHour = 60UL * kMinute;
constexpr unsigned long kDay = 24UL * kHour;

struct UnitWords {
    unsigned long factor;
    const char* const* words;
};

const char* const kUsecWords[] = {"usec", "usecs", "microsecond", "microseconds", nullptr};
const char* const kMsecWords[] = {"ms",     "msec",        "msecs",        "milli",
                                  "millis", "millisecond", "milliseconds", nullptr};
const char* const kSecWords[] = {"s", "sec", "secs", "second", "seconds", nullptr};
const char* const kMinWords[] = {"m", "min", "mins", "minute", "minutes", nullptr};
const char* const kHourWords[] = {"h", "hr", "hrs", "hour", "hours", nullptr};
const char* const kDayWords[] = {"d", "day", "days", nullptr};

// Tried group by group in this order; the end-of-word test keeps "m" from
// taking "ms" or "min".
const UnitWords kUnits[] = {{1, kUsecWords},      {kMillisecond, kMsecWords}, {kSecond, kSecWords},
                            {kMinute, kMinWords}, {kHour, kHourWords},        {kDay, kDayWords}};

// A word ends at NUL, at a blank or other byte below 32, and at any byte from
// 0x80 up: all of them are below 33 as a signed char.
bool ends_word(char c) {
    return static_cast<signed char>(c) < 33;
}

char ascii_lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// `text` starts with `word`, ignoring ASCII case, and the word ends there.
bool starts_with_word(const char* text, const char* word) {
    for (; *word != '\0'; ++text, ++word) {
        if (ascii_lower(*text) != *word) return false;
    }
    return ends_word(*text);
}

struct RenderUnit {
    unsigned long divisor;
    const char* one;
    const char* many;
};

const RenderUnit kUsecs = {1, " usec", " usecs"};
const RenderUnit kMsecs = {kMillisecond, " ms", " ms"};
const RenderUnit kSecs = {kSecond, " sec", " secs"};
const RenderUnit kMins = {kMinute, " min", " mins"};
const RenderUnit kHours = {kHour, " hr", " hrs"};
const RenderUnit kDays = {kDay, " day", " days"};

// Below ten of the next larger unit a value keeps the smaller unit, unless
// it is a whole number of the larger one.
const RenderUnit& unit_for(unsigned long ticks) {
    if (ticks < 10 * kMillisecond) return ticks % kMillisecond == 0 ? kMsecs : kUsecs;
    if (ticks < 10 * kSecond) return (ticks / kMillisecond) % 1000 == 0 ? kSecs : kMsecs;
    if (ticks < 10 * kMinute) return (ticks / kSecond) % 60 == 0 ? kMins : kSecs;
    if (ticks < 10 * kHour) return (ticks / kMinute) % 60 == 0 ? kHours : kMins;
    if (ticks < 10 * kDay) return (ticks / kHour) % 24 == 0 ? kDays : kHours;
    return kDays;
}

}  // namespace

long parse_interval(const char* text) {
    if (text == nullptr) return 0;
    char* end = nullptr;
    long long count = std::strtoll(text, &end, 10);
    const char* p = end;
    while (*p != '\0' && static_cast<signed char>(*p) <= 32) ++p;
    if (*p == '\0') return 0;
    for (const UnitWords& unit : kUnits) {
        for (const char* const* word = unit.words; *word != nullptr; ++word) {
            if (!starts_with_word(p, *word)) continue;
            // Unsigned, so that an overflow wraps instead of being undefined.
            return static_cast<long>(static_cast<unsigned long>(count) * unit.factor);
        }
    }
    return 0;
}

// The magnitude is taken in unsigned arithmetic, so the most negative long
// prints exactly, as "-" and the units of 2^63 ticks.
void render_interval(std::string& out, long ticks) {
    if (ticks == 0) {
        out.assign("0 seconds");
        return;
    }
    unsigned long magnitude = static_cast<unsigned long>(ticks);
    if (ticks < 0) magnitude = 0UL - magnitude;
    const RenderUnit& unit = unit_for(magnitude);
    unsigned long count = magnitude / unit.divisor;
    char text[32];
    char* p = text;
    if (ticks < 0) *p++ = '-';
    p = std::to_chars(p, text + sizeof text, count).ptr;
    out.assign(text, p);
    out.append(count == 1 ? unit.one : unit.many);
}
