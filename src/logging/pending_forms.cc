// TEMPORARY stand-ins, see pending_forms.h.
#include "logging/pending_forms.h"

#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "qorbasic/timeutils.h"

namespace BasicLog {
std::string& logging_escape(std::string& text) {
    for (char& c : text) {
        unsigned char b = static_cast<unsigned char>(c);
        if (b < 32) c = ' ';
        if (b > 126) c = '?';
    }
    return text;
}
}  // namespace BasicLog

long parse_interval(const char* text) {
    if (text == nullptr) return 0;
    char* end = nullptr;
    long count = std::strtol(text, &end, 10);
    while (*end == ' ') ++end;
    const struct {
        const char* word;
        long factor;
    } units[] = {{"ms", 1000},          {"sec", 1000000},  {"s", 1000000},
                 {"min", 60000000},     {"m", 60000000},   {"hour", 3600000000},
                 {"hours", 3600000000}, {"h", 3600000000}, {"day", 86400000000},
                 {"days", 86400000000}, {"d", 86400000000}};
    for (const auto& unit : units) {
        if (strcasecmp(end, unit.word) == 0) return count * unit.factor;
    }
    return 0;
}

static void dated(std::string& out, const char* prefix, long ticks, const char* suffix, int parts) {
    TimeBreakdown t(ticks);
    char buffer[256];
    int n = std::snprintf(buffer, sizeof buffer, "%s%04d%02d%02d", prefix ? prefix : "", t.year,
                          t.month, t.day);
    if (parts > 0) n += std::snprintf(buffer + n, sizeof buffer - n, "-%02d", t.hour);
    if (parts > 1) n += std::snprintf(buffer + n, sizeof buffer - n, "%02d", t.minute);
    if (parts > 2) n += std::snprintf(buffer + n, sizeof buffer - n, "%02d", t.second);
    std::snprintf(buffer + n, sizeof buffer - n, "%s", suffix ? suffix : "");
    out = buffer;
}

void filename_by_day(std::string& out, const char* p, long t, const char* s) {
    dated(out, p, t, s, 0);
}
void filename_by_hour(std::string& out, const char* p, long t, const char* s) {
    dated(out, p, t, s, 1);
}
void filename_by_minute(std::string& out, const char* p, long t, const char* s) {
    dated(out, p, t, s, 2);
}
void filename_by_second(std::string& out, const char* p, long t, const char* s) {
    dated(out, p, t, s, 3);
}
