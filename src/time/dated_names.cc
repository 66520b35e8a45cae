// Dated file names: a prefix, the date of a tick value read as UTC to the
// day, hour, minute or second, and a suffix.
#include <cstdio>
#include <string>

#include "qorbasic/timeutils.h"

namespace {

enum class Precision { kDay, kHour, kMinute, kSecond };

// The prefix and suffix are copied as they stand, whatever their length: a
// name too long for the file system fails when it is opened, where a cut
// name would lose its date and could fall on another period's file.
void dated_name(std::string& out, const char* prefix, long ticks, const char* suffix,
                Precision precision) {
    if (ticks == 0) ticks = current_time_usec1970();
    TimeBreakdown when(ticks);
    char date[64];
    int n = std::snprintf(date, sizeof date, "%04d%02d%02d", when.year, when.month, when.day);
    switch (precision) {
        case Precision::kDay:
            break;
        case Precision::kHour:
            n += std::snprintf(date + n, sizeof date - n, "-%02d", when.hour);
            break;
        case Precision::kMinute:
            n += std::snprintf(date + n, sizeof date - n, "-%02d%02d", when.hour, when.minute);
            break;
        case Precision::kSecond:
            n += std::snprintf(date + n, sizeof date - n, "-%02d%02d%02d", when.hour, when.minute,
                               when.second);
            break;
    }
    out.assign(prefix != nullptr ? prefix : "");
    out.append(date, static_cast<size_t>(n));
    out.append(suffix != nullptr ? suffix : "");
}

}  // namespace

void filename_by_day(std::string& out, const char* prefix, long ticks, const char* suffix) {
    dated_name(out, prefix, ticks, suffix, Precision::kDay);
}

void filename_by_hour(std::string& out, const char* prefix, long ticks, const char* suffix) {
    dated_name(out, prefix, ticks, suffix, Precision::kHour);
}

void filename_by_minute(std::string& out, const char* prefix, long ticks, const char* suffix) {
    dated_name(out, prefix, ticks, suffix, Precision::kMinute);
}

void filename_by_second(std::string& out, const char* prefix, long ticks, const char* suffix) {
    dated_name(out, prefix, ticks, suffix, Precision::kSecond);
}
