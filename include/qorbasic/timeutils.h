// Clocks, ticks and timestamps of libqorbasic.
//
// The library keeps time in ticks: one tick is one microsecond in a signed
// 64-bit long. A wall-clock time counts ticks from 1970-01-01 00:00:00 UTC.
//
//   long now = current_time_usec1970();
//   std::string text;
//   standard_timestamp(text, now, false, 'T');           // 2018-04-01T13:25:09
//   standard_timestamp(text, gmt_to_local(now), true, ' ');  // local, with usec
//
// TimeBreakdown and the timestamp functions read ticks as UTC; convert first
// with gmt_to_local for a local reading. The zone offset is taken on one
// fixed reference date (2018-04-01), so every season converts with the same
// figure. from_standard_timestamp needs the 'T' separator and returns 0 for
// text that does not match, which cannot be told from the epoch itself.
//
// The zone offset is read from the C library's zone (TZ, or the system zone)
// and kept per thread: a change of TZ is seen at the next call, a change of
// the system zone file within a second.
//
// Intervals are durations as short texts, and dated file names put a date
// between a prefix and a suffix:
//
//   std::string text;
//   long ticks = parse_interval("10 mins");             // 600000000
//   render_interval(text, 90 * 1000000L);               // "90 secs"
//   filename_by_day(text, "app-", gmt_to_local(current_time_usec1970()), ".log");
//                                                       // app-20180401.log
//
// parse_interval gives 0 for every failure: a number without a unit ("10"),
// an unknown word ("10 weeks"), a fraction ("1.5 h"). Words are matched
// ignoring case, so "M" is minutes, not months. render_interval keeps a value
// below ten of the next larger unit in the smaller unit unless it is a whole
// number of the larger one (90 secs, but 2 mins), and drops any remainder
// smaller than the unit it prints: 12345 ticks are "12 ms".
#ifndef QORBASIC_TIMEUTILS_H
#define QORBASIC_TIMEUTILS_H

#include <sys/time.h>

#include <string>

#include "qorbasic/export.h"

QOR_C_API long current_time_usec1970();
QOR_C_API long get_monotonic_time();
// Strictly rising when each result is fed back in as `last`.
QOR_C_API long monotime(long last);
QOR_C_API void ticks_to_timeval(struct timeval* out, long ticks);
QOR_C_API long timeval_to_ticks(const struct timeval* tv);

QOR_API long gmt_to_local(long ticks);
QOR_API long local_to_gmt(long ticks);

class QOR_API TimeBreakdown {
  public:
    TimeBreakdown();
    explicit TimeBreakdown(long ticks);

    void fromTicks(long ticks);
    // Recomputes `ticks` from the calendar fields (timegm normalises them).
    void syncTicks();

    int year;
    int month;
    int day;
    int hour;
    int minute;
    int second;
    int millisecond;
    int microsecond;
    long ticks;
};

QOR_API void standard_timestamp(std::string& out, long ticks, bool with_usec, char separator);
QOR_API long from_standard_timestamp(const std::string& text);

// A duration text such as "10 sec", "2h", "-5 min" or "1 day" in ticks; 0 when
// the text can't be read. The product wraps instead of failing on overflow.
QOR_API long parse_interval(const char* text);
// Replaces `out` by the duration in one unit ("0 seconds", "1 usec",
// "1500 ms", "10 hrs", "-1 sec").
QOR_API void render_interval(std::string& out, long ticks);

// Replaces `out` by prefix, date and suffix: "<prefix>YYYYMMDD<suffix>", with
// "-HH", "-HHMM" or "-HHMMSS" behind the date in the finer forms. The ticks
// are read as UTC; 0 means now. A null prefix or suffix is empty text.
QOR_API void filename_by_day(std::string& out, const char* prefix, long ticks, const char* suffix);
QOR_API void filename_by_hour(std::string& out, const char* prefix, long ticks, const char* suffix);
QOR_API void filename_by_minute(std::string& out, const char* prefix, long ticks,
                                const char* suffix);
QOR_API void filename_by_second(std::string& out, const char* prefix, long ticks,
                                const char* suffix);

#endif  // QORBASIC_TIMEUTILS_H
