// TEMPORARY: the log forms, intervals and dated file names are on their way
// to main from another branch. These are their signatures and stand-ins
// just good enough for the emitters; this file and pending_forms.cc go once
// that branch is merged.
#ifndef QORBASIC_SRC_LOGGING_PENDING_FORMS_H
#define QORBASIC_SRC_LOGGING_PENDING_FORMS_H

#include <string>

namespace BasicLog {
std::string& logging_escape(std::string& text);
}  // namespace BasicLog

long parse_interval(const char* text);
void filename_by_day(std::string& out, const char* prefix, long ticks, const char* suffix);
void filename_by_hour(std::string& out, const char* prefix, long ticks, const char* suffix);
void filename_by_minute(std::string& out, const char* prefix, long ticks, const char* suffix);
void filename_by_second(std::string& out, const char* prefix, long ticks, const char* suffix);

#endif  // QORBASIC_SRC_LOGGING_PENDING_FORMS_H
