#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "files/file_handles.h"
#include "files/line_reader.h"
#include "qorbasic/files.h"
#include "qorbasic/strings.h"

namespace FileUtils {

namespace internal {

ssize_t read_retrying(int fd, void* data, size_t length) {
    ssize_t count;
    do {
        count = read(fd, data, length);
    } while (count < 0 && errno == EINTR);
    return count;
}

ssize_t write_retrying(int fd, const void* data, size_t length) {
    ssize_t count;
    do {
        count = write(fd, data, length);
    } while (count < 0 && errno == EINTR);
    return count;
}

}  // namespace internal

namespace {

using internal::UniqueFd;
using internal::UniqueFile;

const char* element_text(const std::vector<std::string>& lines, std::size_t index) {
    return lines[index].c_str();
}

const char* element_text(const StringVector& lines, std::size_t index) {
    return lines.fetch(static_cast<int>(index)).c_str();
}

template <typename Lines>
CommandResult write_lines(const QRSTR& path, const Lines& lines, std::size_t count) {
    if (!path.has_text()) return CommandResult(STATUS_INVALID_ARGUMENT);
    UniqueFile stream(fopen(path.ptr(), "w"));
    if (!stream.valid()) return CommandResult(STATUS_OPEN_FAILED);
    for (std::size_t i = 0; i < count; ++i) {
        fputs(element_text(lines, i), stream.get());
        fputc('\n', stream.get());
    }
    return CommandResult(STATUS_SUCCESS);
}

void append_line(std::vector<std::string>& out, const char* line) {
    out.emplace_back(line);
}

void append_line(StringVector& out, const char* line) {
    out.append(line);
}

// Cuts the line end (and the NUL the line reader put behind it) off.
void cut_line_end(std::string& line) {
    while (!line.empty()) {
        const char last = line.back();
        if (last != '\0' && last != '\r' && last != '\n') break;
        line.pop_back();
    }
}

template <typename Lines>
CommandResult read_lines(Lines& out, const QRSTR& path) {
    out.clear();
    if (!path.has_text()) return CommandResult(STATUS_INVALID_ARGUMENT);
    UniqueFile stream(fopen(path.ptr(), "r"));
    if (!stream.valid()) return CommandResult(STATUS_OPEN_FAILED);
    std::string line;
    while (internal::read_file_line(line, stream.get(), internal::kLongestLine)) {
        cut_line_end(line);
        append_line(out, line.c_str());
    }
    return CommandResult(STATUS_SUCCESS);
}

}  // namespace

CommandResult writeFile(const QRSTR& path, const std::vector<std::string>& lines) {
    return write_lines(path, lines, lines.size());
}

CommandResult writeFile(const QRSTR& path, const StringVector& lines) {
    return write_lines(path, lines, static_cast<std::size_t>(lines.size()));
}

CommandResult writeFile(const QRSTR& path, const QRSTR& text, bool newline) {
    if (!path.has_text()) return CommandResult(STATUS_INVALID_ARGUMENT);
    std::ofstream stream(path.ptr(), std::ios::out | std::ios::trunc);
    if (!stream.is_open()) return CommandResult(STATUS_OPEN_FAILED);
    stream << text.ptr();
    if (newline) stream << '\n';
    stream.flush();
    stream.close();
    return CommandResult(STATUS_SUCCESS);
}

CommandResult writeBinaryFile(const QRSTR& path, const char* data, unsigned length) {
    if (!path.has_text()) return CommandResult(STATUS_INVALID_ARGUMENT);
    std::ofstream stream(path.ptr(), std::ios::out | std::ios::trunc | std::ios::binary);
    if (!stream.is_open()) return CommandResult(STATUS_OPEN_FAILED);
    if (length > 0) stream.write(data, static_cast<std::streamsize>(length));
    stream.close();
    return CommandResult(STATUS_SUCCESS);
}

CommandResult readOneLine(std::string& out, const QRSTR& path) {
    out.clear();
    if (!path.has_text()) return CommandResult(STATUS_INVALID_ARGUMENT);
    UniqueFile stream(fopen(path.ptr(), "r"));
    if (!stream.valid()) {
        // A missing file simply has no first line.
        return CommandResult(fileExists(path) ? STATUS_OPEN_FAILED : STATUS_SUCCESS);
    }
    std::string line;
    while (internal::read_file_line(line, stream.get(), internal::kLongestLine)) {
        string_trim(out, line.c_str());
        if (!out.empty()) break;
    }
    return CommandResult(STATUS_SUCCESS);
}

CommandResult readTextFile(StringVector& out, const QRSTR& path) {
    return read_lines(out, path);
}

CommandResult readTextFile(std::vector<std::string>& out, const QRSTR& path) {
    return read_lines(out, path);
}

CommandResult readBinaryFile(std::vector<char>& out, const QRSTR& path) {
    if (!path.has_text()) return CommandResult(STATUS_INVALID_ARGUMENT);
    const long size = getFileSize(path);
    if (size < 0) return CommandResult(STATUS_STAT_FAILED);
    if (size == 0) {
        out.clear();
        return CommandResult(STATUS_SUCCESS);
    }
    UniqueFd fd(open(path.ptr(), O_RDONLY | O_CLOEXEC));
    if (!fd.valid()) return CommandResult(STATUS_OPEN_FAILED);
    out.resize(static_cast<std::size_t>(size));
    std::size_t done = 0;
    while (done < out.size()) {
        const ssize_t count =
            internal::read_retrying(fd.get(), out.data() + done, out.size() - done);
        if (count < 0) return CommandResult(STATUS_READ_FAILED);
        if (count == 0) {
            // The file shrank after its size was taken: keep what was there.
            out.resize(done);
            return CommandResult(STATUS_READ_FAILED);
        }
        done += static_cast<std::size_t>(count);
    }
    return CommandResult(STATUS_SUCCESS);
}

bool diffFile(const QRSTR& path_a, const QRSTR& path_b) {
    if (getFileSize(path_a) != getFileSize(path_b)) return true;
    UniqueFile a(path_a.has_text() ? fopen(path_a.ptr(), "r") : nullptr);
    if (!a.valid()) return true;
    UniqueFile b(path_b.has_text() ? fopen(path_b.ptr(), "r") : nullptr);
    if (!b.valid()) return true;
    char block_a[1024];
    char block_b[1024];
    for (;;) {
        const std::size_t count_a = fread(block_a, 1, sizeof block_a, a.get());
        const std::size_t count_b = fread(block_b, 1, sizeof block_b, b.get());
        if (count_a != count_b || memcmp(block_a, block_b, count_a) != 0) return true;
        // A stream that cannot be read (a directory, say) differs from anything.
        if (ferror(a.get()) != 0 || ferror(b.get()) != 0) return true;
        const bool end_a = feof(a.get()) != 0;
        const bool end_b = feof(b.get()) != 0;
        if (end_a || end_b) return end_a != end_b;
    }
}

}  // namespace FileUtils
