// The one place where a log line is put together. Every emitter and line
// writer of the library goes through compose_line, so the join of the two
// halves, the cut at a NUL, the escaping and the line end are the same for
// all of them.
#ifndef QORBASIC_SRC_LOGGING_FORMATS_H
#define QORBASIC_SRC_LOGGING_FORMATS_H

#include <string>

namespace qor {
namespace detail {

// Flags of compose_line, to be or-ed.
constexpr unsigned kLinePlain = 0;
// Every byte outside 32..126 becomes printable, as logging_escape does; a NUL
// inside a half then becomes a blank instead of ending it.
constexpr unsigned kLineEscaped = 1;
// A line feed goes behind the text.
constexpr unsigned kLineNewline = 2;

// Replaces `out` by "headers content". Unescaped, each half ends at its first
// NUL, as a "%s" of it would print.
void compose_line(std::string& out, const std::string& headers, const std::string& content,
                  unsigned flags);

// Appends `data` as a quoted JSON string, with the escapes of the JSON writer
// and \u0000 for a NUL, which would otherwise end the line for a writer that
// prints with "%s".
void append_json_string(std::string& out, const char* data, size_t size);

}  // namespace detail
}  // namespace qor

#endif  // QORBASIC_SRC_LOGGING_FORMATS_H
