#include <string>

#include "qorbasic/log.h"
#include "qorbasic/strings.h"

namespace {

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
