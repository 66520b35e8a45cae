#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
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

bool write_all(int fd, const void* data, size_t length) {
    const char* bytes = static_cast<const char*>(data);
    while (length > 0) {
        const ssize_t put = write_retrying(fd, bytes, length);
        if (put < 0) return false;
        bytes += put;
        length -= static_cast<size_t>(put);
    }
    return true;
}

int open_file(const char* path, int flags, mode_t mode) {
    const int fd = open(path, flags | O_NONBLOCK | O_NOCTTY, mode);
    if (fd < 0) return -1;
    struct stat info;
    const bool plain = fstat(fd, &info) == 0 && (S_ISREG(info.st_mode) || S_ISDIR(info.st_mode));
    if (!plain || fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK) != 0) {
        close(fd);
        errno = ENXIO;
        return -1;
    }
    return fd;
}

FILE* open_stream(const char* path, int flags, const char* stdio_mode) {
    const int fd = open_file(path, flags, 0666);
    if (fd < 0) return nullptr;
    FILE* stream = fdopen(fd, stdio_mode);
    if (stream == nullptr) close(fd);
    return stream;
}

}  // namespace internal

namespace {

using internal::UniqueFd;
using internal::UniqueFile;

constexpr int kReadFlags = O_RDONLY | O_CLOEXEC;
constexpr int kRewriteFlags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;

FILE* open_to_read(const QRSTR& path) {
    return internal::open_stream(path.ptr(), kReadFlags, "r");
}

const char* element_text(const std::vector<std::string>& lines, std::size_t index) {
    return lines[index].c_str();
}

const char* element_text(const StringVector& lines, std::size_t index) {
    return lines.fetch(static_cast<int>(index)).c_str();
}

template <typename Lines>
CommandResult write_lines(const QRSTR& path, const Lines& lines, std::size_t count) {
    if (!path.has_text()) return CommandResult(STATUS_INVALID_ARGUMENT);
    UniqueFile stream(internal::open_stream(path.ptr(), kRewriteFlags, "w"));
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
    UniqueFile stream(open_to_read(path));
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
    UniqueFd fd(internal::open_file(path.ptr(), kRewriteFlags, 0666));
    if (!fd.valid()) return CommandResult(STATUS_OPEN_FAILED);
    // Write errors go unreported, as with every writer here.
    if (internal::write_all(fd.get(), text.ptr(), strlen(text.ptr())) && newline) {
        internal::write_all(fd.get(), "\n", 1);
    }
    return CommandResult(STATUS_SUCCESS);
}

CommandResult writeBinaryFile(const QRSTR& path, const char* data, unsigned length) {
    if (!path.has_text()) return CommandResult(STATUS_INVALID_ARGUMENT);
    UniqueFd fd(internal::open_file(path.ptr(), kRewriteFlags, 0666));
    if (!fd.valid()) return CommandResult(STATUS_OPEN_FAILED);
    if (length > 0) internal::write_all(fd.get(), data, length);
    return CommandResult(STATUS_SUCCESS);
}

CommandResult readOneLine(std::string& out, const QRSTR& path) {
    out.clear();
    if (!path.has_text()) return CommandResult(STATUS_INVALID_ARGUMENT);
    UniqueFile stream(open_to_read(path));
    if (!stream.valid()) {
        // A missing file simply has no first line; anything else that is
        // there but refused (a FIFO, say) failed to open.
        return CommandResult(pathExists(path) ? STATUS_OPEN_FAILED : STATUS_SUCCESS);
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
    struct stat info;
    if (stat(path.ptr(), &info) != 0) return CommandResult(STATUS_STAT_FAILED);
    // A special file has no size to go by and is refused, as open_file would.
    if (!S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode)) return CommandResult(STATUS_OPEN_FAILED);
    const long size = static_cast<long>(info.st_size);
    if (size == 0) {
        out.clear();
        return CommandResult(STATUS_SUCCESS);
    }
    UniqueFd fd(internal::open_file(path.ptr(), kReadFlags));
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
    UniqueFile a(path_a.has_text() ? open_to_read(path_a) : nullptr);
    if (!a.valid()) return true;
    UniqueFile b(path_b.has_text() ? open_to_read(path_b) : nullptr);
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
