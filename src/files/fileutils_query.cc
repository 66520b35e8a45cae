// File queries: existence and kind of a path, size, times, links and the program's own directory.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "qorbasic/files.h"
#include "qorbasic/timeutils.h"

namespace FileUtils {

namespace {

constexpr std::size_t kPathBufferSize = 4096;

// stat() follows links, so a dangling link counts as nothing there.
bool stat_path(const QRSTR& path, struct stat& info) {
    return path.has_text() && stat(path.ptr(), &info) == 0;
}

bool has_type(const QRSTR& path, mode_t type) {
    struct stat info;
    return stat_path(path, info) && (info.st_mode & S_IFMT) == type;
}

}  // namespace

bool pathExists(const QRSTR& path) {
    struct stat info;
    return stat_path(path, info);
}

bool fileExists(const QRSTR& path) {
    return has_type(path, S_IFREG);
}

bool dirExists(const QRSTR& path) {
    return has_type(path, S_IFDIR);
}

bool fifoExists(const QRSTR& path) {
    return has_type(path, S_IFIFO);
}

long getFileSize(const QRSTR& path) {
    struct stat info;
    return stat_path(path, info) ? static_cast<long>(info.st_size) : -1;
}

long getFileModifiedDate(const QRSTR& path) {
    struct stat info;
    return stat_path(path, info) ? static_cast<long>(info.st_mtime) * 1000000L : 0;
}

bool fileIsRecent(const QRSTR& path, long age) {
    struct stat info;
    if (!stat_path(path, info) || !S_ISREG(info.st_mode)) return false;
    return current_time_usec1970() < static_cast<long>(info.st_mtime) * 1000000L + age;
}

bool fifoHasReader(const QRSTR& path) {
    if (!path.has_text()) return false;
    const int fd = open(path.ptr(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return false;
    close(fd);
    return true;
}

std::string readLink(const std::string& path) {
    char buffer[kPathBufferSize];
    const ssize_t length = readlink(path.c_str(), buffer, sizeof buffer);
    // A full buffer may hold a cut target, so it counts as a failure.
    if (length < 1 || length >= static_cast<ssize_t>(sizeof buffer)) return std::string();
    return std::string(buffer, static_cast<std::size_t>(length));
}

CommandResult getBinariesDirectory(std::string& out) {
    out = "/opt/qor/";
    return CommandResult(STATUS_SUCCESS);
}

CommandResult getWorkingDirectory(std::string& out) {
    char buffer[kPathBufferSize];
    if (getcwd(buffer, sizeof buffer) == nullptr) {
        out.clear();
        return CommandResult(STATUS_GETCWD_FAILED);
    }
    out = buffer;
    return CommandResult(STATUS_SUCCESS);
}

}  // namespace FileUtils
