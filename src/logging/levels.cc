// The seven level records, their names, and the parser of level names.
#include <cstdint>
#include <string>

#include "logging/library_log.h"
#include "logging/log_path.h"
#include "qorbasic/log.h"
#include "qorbasic/strings.h"

namespace {

// One array in severity order: levels compare by address.
const qor_loglevel_impl kLevels[7] = {
    {12345, 7, "T~", "TRACE", ""},       {12345, 7, "D~", "DEBUG", ""},
    {12345, 6, "I~", "INFO", ""},        {12345, 5, "N~", "NOTICE", ""},
    {12345, 4, "W~", "WARNING", "WARN"}, {12345, 3, "E~", "ERROR", "ERR"},
    {12345, 2, "F~", "FATAL", ""},
};

// Reports a level outside the table. Inside the log path (a format function
// of an emitter, or a thread holding the LogInput mutex) the report would
// wait for a lock of its own thread, so it is left out there and only the
// fallback text is given.
void report_invalid_level(const char* function) {
    if (qor::detail::thread_in_log_path()) return;
    BasicLog::Source* source = qor::detail::library_source();
    if (!source->would_send(QOR_LOGLEVEL_ERROR)) return;
    BasicLog::LogMessageBuilder(source->receiver(), source->name().c_str(), QOR_LOGLEVEL_ERROR,
                                "invalid log level", __FILE__, function);
}

struct LevelName {
    const char* name;
    const qor_loglevel_impl* const* level;
};

// Tried in this order; the shorter of two forms with one stem comes first,
// and the end-of-word test keeps "WARN" from taking "WARNING".
const LevelName kLongForms[] = {
    {"TRACE", &QOR_LOGLEVEL_TRACE},    {"DEBUG", &QOR_LOGLEVEL_DEBUG},
    {"INFO", &QOR_LOGLEVEL_INFO},      {"NOTICE", &QOR_LOGLEVEL_NOTICE},
    {"WARN", &QOR_LOGLEVEL_WARN},      {"WARNING", &QOR_LOGLEVEL_WARN},
    {"ERR", &QOR_LOGLEVEL_ERROR},      {"ERROR", &QOR_LOGLEVEL_ERROR},
    {"FATAL", &QOR_LOGLEVEL_FATAL},    {"PANIC", &QOR_LOGLEVEL_FATAL},
    {"EMERG", &QOR_LOGLEVEL_FATAL},    {"EMERGENCY", &QOR_LOGLEVEL_FATAL},
    {"CRITICAL", &QOR_LOGLEVEL_FATAL}, {"ALERT", &QOR_LOGLEVEL_FATAL},
};

const qor_loglevel_impl* const* const kShortForms[] = {
    &QOR_LOGLEVEL_TRACE, &QOR_LOGLEVEL_DEBUG, &QOR_LOGLEVEL_INFO,  &QOR_LOGLEVEL_NOTICE,
    &QOR_LOGLEVEL_WARN,  &QOR_LOGLEVEL_ERROR, &QOR_LOGLEVEL_FATAL,
};

}  // namespace

const qor_loglevel_impl* const QOR_LOGLEVEL_TRACE = &kLevels[0];
const qor_loglevel_impl* const QOR_LOGLEVEL_DEBUG = &kLevels[1];
const qor_loglevel_impl* const QOR_LOGLEVEL_INFO = &kLevels[2];
const qor_loglevel_impl* const QOR_LOGLEVEL_NOTICE = &kLevels[3];
const qor_loglevel_impl* const QOR_LOGLEVEL_WARN = &kLevels[4];
const qor_loglevel_impl* const QOR_LOGLEVEL_ERROR = &kLevels[5];
const qor_loglevel_impl* const QOR_LOGLEVEL_FATAL = &kLevels[6];
const qor_loglevel_impl* const QOR_LOGLEVEL_DEFAULT = nullptr;

// Only the seven records themselves are valid; a pointer into the middle of
// one would pass a plain range test and then be read as a record.
bool loglevel_is_valid(const qor_loglevel_impl* level) {
    uintptr_t p = reinterpret_cast<uintptr_t>(level);
    uintptr_t first = reinterpret_cast<uintptr_t>(&kLevels[0]);
    uintptr_t last = reinterpret_cast<uintptr_t>(&kLevels[6]);
    return p >= first && p <= last && (p - first) % sizeof(qor_loglevel_impl) == 0;
}

const char* loglevel_shortname(const qor_loglevel_impl* level) {
    if (loglevel_is_valid(level)) return level->short_name;
    report_invalid_level(__func__);
    return "X~";
}

const char* loglevel_fullname(const qor_loglevel_impl* level) {
    if (loglevel_is_valid(level)) return level->full_name;
    report_invalid_level(__func__);
    return "<log level>";
}

int loglevel_to_syslog(const qor_loglevel_impl* level) {
    if (loglevel_is_valid(level)) return level->syslog_priority;
    report_invalid_level(__func__);
    return QOR_LOGLEVEL_INFO->syslog_priority;
}

const qor_loglevel_impl* parse_loglevel(const char* text) {
    if (text == nullptr) return QOR_LOGLEVEL_INFO;
    std::string trimmed;
    string_trim(trimmed, text);
    if (trimmed.empty()) return QOR_LOGLEVEL_INFO;
    for (const qor_loglevel_impl* const* level : kShortForms) {
        if (limited_equals_nocase(trimmed, (*level)->short_name, 2)) return *level;
    }
    // The level field of a log line, "[WARNING 2017-01-02 ...", parses too.
    size_t start = trimmed[0] == '[' ? 1 : 0;
    const char* word = trimmed.c_str() + start;
    size_t available = trimmed.size() - start;
    for (const LevelName& form : kLongForms) {
        size_t n = std::char_traits<char>::length(form.name);
        if (n > available || !limited_equals_nocase(word, form.name, static_cast<int>(n))) continue;
        char next = word[n];
        if (next == '\0' || next == ' ' || next == ']') return *form.level;
    }
    return QOR_LOGLEVEL_INFO;
}
