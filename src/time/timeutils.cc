#include "qorbasic/timeutils.h"

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
// things it can depend on: the text of TZ and the wall-clock second in which
// it was taken. It is computed anew when TZ reads differently or when the
// wall clock has moved on to another second, so a change of the zone file is
// seen within a second, exactly as often as a per-line clock would show it.
// The cache is per thread, so there is nothing to lock and no torn reads.
struct ZoneCache {
    bool valid = false;
    bool tz_set = false;
    time_t second = 0;
    long offset = 0;
    char tz[128] = {0};
    bool tz_fits = false;
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

bool same_tz(const ZoneCache& cache, const char* tz) {
    if (tz == nullptr) return !cache.tz_set;
    if (!cache.tz_set || !cache.tz_fits) return false;
    return std::strcmp(cache.tz, tz) == 0;
}

long zone_offset() {
    ZoneCache& cache = t_zone;
    time_t now = time(nullptr);
    const char* tz = std::getenv("TZ");
    if (cache.valid && cache.second == now && same_tz(cache, tz)) return cache.offset;
    cache.offset = compute_zone_offset();
    cache.second = now;
    cache.tz_set = tz != nullptr;
    // A TZ text too long for the cache never compares equal, so such a zone
    // is computed on every call: slower, never wrong.
    cache.tz_fits = tz != nullptr && std::strlen(tz) < sizeof cache.tz;
    if (cache.tz_fits) std::strcpy(cache.tz, tz);
    cache.valid = true;
    return cache.offset;
}

// gmtime_r takes the zone lock on each call. Log lines come many to a second,
// so each thread keeps the breakdown of the last second it converted.
struct SecondCache {
    bool valid = false;
    long seconds = 0;
    struct tm fields;
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
    TimeBreakdown when(ticks);
    int fraction = when.millisecond * 1000 + when.microsecond;
    // The digit writer covers what a log line meets; a year outside four
    // digits or the negative fraction of a time before 1970 goes through
    // snprintf, which gives the same text for every value.
    if (when.year < 0 || when.year > 9999 || fraction < 0) {
        int n =
            std::snprintf(buffer, kTimestampBufferSize, "%04d-%02d-%02d%c%02d:%02d:%02d", when.year,
                          when.month, when.day, separator, when.hour, when.minute, when.second);
        if (with_usec && n >= 0 && n < kTimestampBufferSize) {
            std::snprintf(buffer + n, kTimestampBufferSize - n, ".%06d", fraction);
        }
        return static_cast<int>(std::strlen(buffer));
    }
    char* p = put_digits(buffer, when.year, 4);
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
    if (with_usec) {
        *p++ = '.';
        p = put_digits(p, fraction, 6);
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
