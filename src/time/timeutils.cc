#include "qorbasic/timeutils.h"

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "time/timestamp_format.h"

namespace {

constexpr long kTicksPerSecond = 1000000;

// The zone offset is one figure for the configured zone, taken on a fixed
// reference date. Computing it costs a mktime (which re-reads the zone, and
// stats /etc/localtime when TZ is unset) and a timegm: far too slow for every
// log line. Each thread therefore caches the figure together with the two
// things it can depend on: TZ and the wall-clock second in which it was
// taken. It is computed anew when the wall clock has moved on to another
// second, so a change of the zone file is seen within a second, exactly as
// often as a per-line clock would show it, and at once when TZ changes.
//
// Even getenv is slow beside a log line (a scan of the whole environment), so
// TZ is watched through its place in the environment: the array, the entry's
// index, its address and the address of the entry before it, and the entry's
// text. setenv, putenv and unsetenv change the array or one of the two
// addresses (unsetenv moves the later entries down and leaves a null behind
// the last one), and text written into a putenv buffer changes the text; any
// of these makes the next call look TZ up again. Without TZ the index is
// that of the array's terminating null, which a variable added in place
// overwrites.
// The cache is per thread, so there is nothing to lock and no torn reads.
struct ZoneCache {
    bool valid = false;
    time_t second = 0;
    long offset = 0;
    char** environment = nullptr;
    size_t index = 0;
    const char* entry = nullptr;   // "TZ=..." or null
    const char* before = nullptr;  // the entry at index - 1, if any
    char text[128] = {0};          // the entry's text, when it fits
    bool text_fits = false;
};

thread_local ZoneCache t_zone;

long compute_zone_offset() {
    struct tm reference;
    std::memset(&reference, 0, sizeof reference);
    // The raw field value 2018 (not 118) is what the offset has always been
    // taken from; mktime normalises it in place before timegm reads it.
    reference.tm_year = 2018;
    reference.tm_mon = 3;
    reference.tm_mday = 1;
    time_t local = mktime(&reference);
    time_t utc = timegm(&reference);
    return static_cast<long>(local - utc) * kTicksPerSecond;
}

bool tz_unchanged(const ZoneCache& cache) {
    char** environment = environ;
    if (environment != cache.environment) return false;
    if (environment == nullptr) return true;
    const char* entry = environment[cache.index];
    if (entry != cache.entry) return false;
    if (cache.index > 0 && environment[cache.index - 1] != cache.before) return false;
    // An entry too long for the cache never compares equal: slower, never wrong.
    return entry == nullptr || (cache.text_fits && std::strcmp(entry, cache.text) == 0);
}

// The first "TZ=" entry, as getenv finds it, or the terminating null.
void remember_tz(ZoneCache& cache) {
    char** environment = environ;
    cache.environment = environment;
    cache.index = 0;
    cache.entry = nullptr;
    cache.before = nullptr;
    cache.text_fits = false;
    if (environment == nullptr) return;
    for (const char* e; (e = environment[cache.index]) != nullptr; ++cache.index) {
        if (e[0] == 'T' && e[1] == 'Z' && e[2] == '=') break;
    }
    cache.entry = environment[cache.index];
    if (cache.index > 0) cache.before = environment[cache.index - 1];
    if (cache.entry == nullptr) return;
    cache.text_fits = std::strlen(cache.entry) < sizeof cache.text;
    if (cache.text_fits) std::strcpy(cache.text, cache.entry);
}

long zone_offset() {
    ZoneCache& cache = t_zone;
    time_t now = time(nullptr);
    if (cache.valid && cache.second == now && tz_unchanged(cache)) return cache.offset;
    remember_tz(cache);
    cache.offset = compute_zone_offset();
    cache.second = now;
    cache.valid = true;
    return cache.offset;
}

// Length of "YYYY-MM-DD HH:MM:SS".
constexpr int kSecondTextLength = 19;

// gmtime_r takes the zone lock on each call. Log lines come many to a second,
// so each thread keeps the breakdown of the last second it converted, and the
// timestamp text of that second once it has been written.
struct SecondCache {
    bool valid = false;
    long seconds = 0;
    struct tm fields;
    bool text_valid = false;
    char separator = 0;
    char text[kSecondTextLength];
};

thread_local SecondCache t_second;

void utc_fields(long seconds, struct tm& out) {
    SecondCache& cache = t_second;
    if (cache.valid && cache.seconds == seconds) {
        out = cache.fields;
        return;
    }
    std::memset(&out, 0, sizeof out);
    time_t t = static_cast<time_t>(seconds);
    gmtime_r(&t, &out);
    cache.fields = out;
    cache.seconds = seconds;
    cache.valid = true;
    cache.text_valid = false;
}

// Writes `value` as exactly `width` decimal digits; the caller checks that
// it is in range.
char* put_digits(char* p, int value, int width) {
    for (int i = width - 1; i >= 0; --i) {
        p[i] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
    return p + width;
}

}  // namespace

long current_time_usec1970() {
    struct timeval tv;
    if (gettimeofday(&tv, nullptr) != 0) return static_cast<long>(time(nullptr)) * kTicksPerSecond;
    return static_cast<long>(tv.tv_sec) * kTicksPerSecond + tv.tv_usec;
}

long get_monotonic_time() {
    struct timespec ts = {0, 0};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<long>(ts.tv_sec) * kTicksPerSecond + ts.tv_nsec / 1000;
}

long monotime(long last) {
    long now = current_time_usec1970();
    return now > last ? now : last + 1;
}

void ticks_to_timeval(struct timeval* out, long ticks) {
    if (out == nullptr) return;
    out->tv_sec = ticks / kTicksPerSecond;
    out->tv_usec = static_cast<int32_t>(ticks % kTicksPerSecond);
}

long timeval_to_ticks(const struct timeval* tv) {
    if (tv == nullptr) return 0;
    return static_cast<long>(tv->tv_sec) * kTicksPerSecond + tv->tv_usec;
}

long gmt_to_local(long ticks) {
    return ticks - zone_offset();
}

long local_to_gmt(long ticks) {
    return ticks + zone_offset();
}

TimeBreakdown::TimeBreakdown() {
    fromTicks(0);
}

TimeBreakdown::TimeBreakdown(long value) {
    fromTicks(value);
}

void TimeBreakdown::fromTicks(long value) {
    ticks = value;
    struct tm fields;
    utc_fields(value / kTicksPerSecond, fields);
    year = fields.tm_year + 1900;
    month = fields.tm_mon + 1;
    day = fields.tm_mday;
    hour = fields.tm_hour;
    minute = fields.tm_min;
    second = fields.tm_sec == 60 ? 59 : fields.tm_sec;
    long below = value % kTicksPerSecond;
    millisecond = static_cast<int>(below / 1000);
    microsecond = static_cast<int>(below % 1000);
}

void TimeBreakdown::syncTicks() {
    struct tm fields;
    std::memset(&fields, 0, sizeof fields);
    fields.tm_year = year - 1900;
    fields.tm_mon = month - 1;
    fields.tm_mday = day;
    fields.tm_hour = hour;
    fields.tm_min = minute;
    fields.tm_sec = second;
    ticks =
        static_cast<long>(timegm(&fields)) * kTicksPerSecond + millisecond * 1000L + microsecond;
}

namespace qor {
namespace detail {

int format_timestamp(char* buffer, long ticks, bool with_usec, char separator) {
    long below = ticks % kTicksPerSecond;
    SecondCache& cache = t_second;
    char* p = buffer;
    if (below >= 0 && cache.text_valid && cache.seconds == ticks / kTicksPerSecond &&
        cache.separator == separator) {
        std::memcpy(p, cache.text, kSecondTextLength);
        p += kSecondTextLength;
    } else {
        TimeBreakdown when(ticks);
        // The digit writer covers what a log line meets; a year outside four
        // digits or the negative fraction of a time before 1970 goes through
        // snprintf, which gives the same text for every value.
        if (when.year < 0 || when.year > 9999 || below < 0) {
            int n = std::snprintf(buffer, kTimestampBufferSize, "%04d-%02d-%02d%c%02d:%02d:%02d",
                                  when.year, when.month, when.day, separator, when.hour,
                                  when.minute, when.second);
            if (with_usec && n >= 0 && n < kTimestampBufferSize) {
                std::snprintf(buffer + n, kTimestampBufferSize - n, ".%06ld", below);
            }
            return static_cast<int>(std::strlen(buffer));
        }
        p = put_digits(p, when.year, 4);
        *p++ = '-';
        p = put_digits(p, when.month, 2);
        *p++ = '-';
        p = put_digits(p, when.day, 2);
        *p++ = separator;
        p = put_digits(p, when.hour, 2);
        *p++ = ':';
        p = put_digits(p, when.minute, 2);
        *p++ = ':';
        p = put_digits(p, when.second, 2);
        // TimeBreakdown has just cached this second's fields.
        std::memcpy(cache.text, buffer, kSecondTextLength);
        cache.separator = separator;
        cache.text_valid = true;
    }
    if (with_usec) {
        *p++ = '.';
        p = put_digits(p, static_cast<int>(below), 6);
    }
    *p = '\0';
    // A NUL separator ends the text there, as it does in the printf form.
    return separator == '\0' ? 10 : static_cast<int>(p - buffer);
}

}  // namespace detail
}  // namespace qor

void standard_timestamp(std::string& out, long ticks, bool with_usec, char separator) {
    char buffer[qor::detail::kTimestampBufferSize];
    int n = qor::detail::format_timestamp(buffer, ticks, with_usec, separator);
    out.assign(buffer, static_cast<size_t>(n));
}

long from_standard_timestamp(const std::string& text) {
    TimeBreakdown when(0);
    int fields = std::sscanf(text.c_str(), "%04d-%02d-%02dT%02d:%02d:%02d", &when.year, &when.month,
                             &when.day, &when.hour, &when.minute, &when.second);
    if (fields != 6) return 0;
    when.syncTicks();
    return when.ticks;
}
