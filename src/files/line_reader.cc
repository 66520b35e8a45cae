// The chunked line reader that config and profile files are read with.
#include "files/line_reader.h"

#include <cstring>

namespace FileUtils {
namespace internal {

namespace {

constexpr std::size_t kChunkSize = 500;

// The end of the stream: the last line needs no line end.
int finish_last_line(std::string& buffer) {
    if (buffer.empty()) return 0;
    buffer.push_back('\0');
    return 1;
}

}  // namespace

int read_file_line(std::string& buffer, FILE* stream, std::size_t max_size) {
    buffer.clear();
    char chunk[kChunkSize];
    for (;;) {
        if (buffer.size() + kChunkSize > max_size) return 0;
        if (fgets(chunk, sizeof chunk, stream) == nullptr) return finish_last_line(buffer);
        const std::size_t length = strlen(chunk);
        if (length == 0) return finish_last_line(buffer);
        buffer.append(chunk, length);
        const char last = chunk[length - 1];
        if (last == '\n' || last == '\r') {
            buffer.push_back('\0');
            return 1;
        }
    }
}

}  // namespace internal
}  // namespace FileUtils
