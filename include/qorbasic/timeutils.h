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

#endif  // QORBASIC_TIMEUTILS_H
