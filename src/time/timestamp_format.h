// The standard timestamp written straight into a caller's buffer, for the
// log path, which formats a line without a temporary string per field.
#ifndef QORBASIC_SRC_TIME_TIMESTAMP_FORMAT_H
#define QORBASIC_SRC_TIME_TIMESTAMP_FORMAT_H

namespace qor {
namespace detail {

// Room for any timestamp that format_timestamp writes, with its NUL.
constexpr int kTimestampBufferSize = 256;

// Writes the text of standard_timestamp into `buffer` (at least
// kTimestampBufferSize bytes), NUL-terminated; returns its length.
int format_timestamp(char* buffer, long ticks, bool with_usec, char separator);

}  // namespace detail
}  // namespace qor

#endif  // QORBASIC_SRC_TIME_TIMESTAMP_FORMAT_H
