// The line reader shared by the readers of text files.
#ifndef QORBASIC_SRC_FILES_LINE_READER_H
#define QORBASIC_SRC_FILES_LINE_READER_H

#include <cstddef>
#include <cstdio>
#include <string>

namespace FileUtils {
namespace internal {

// The limit that the library's own readers give read_file_line.
constexpr std::size_t kLongestLine = 10000000;

// Reads one line of `stream` into `buffer`, with its line end and a NUL
// behind it, and returns 1; returns 0 when there is no line to give. A line
// ends at a line feed, or at a carriage return that is the last byte of a
// 499-byte chunk. A line that would outgrow `max_size` gives 0 as if the
// file had ended there: the caller stops, with what it read so far.
// Chunks are read with fgets, which tells no length: a NUL byte in the file
// drops the rest of its chunk, a line end in it included.
int read_file_line(std::string& buffer, FILE* stream, std::size_t max_size);

}  // namespace internal
}  // namespace FileUtils

#endif  // QORBASIC_SRC_FILES_LINE_READER_H
