// Temporary names, unique files and the cached temporary and lock directories.
#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "files/tempfiles_internal.h"
#include "logging/library_log.h"
#include "qorbasic/files.h"
#include "qorbasic/threads.h"

namespace FileUtils {

namespace {

constexpr std::size_t kPathBufferSize = 4096;
constexpr int kUniqueFileAttempts = 11;

// Filled at first use without a lock, read-only after that.
std::string& cached_tempdir() {
    static std::string cache;
    return cache;
}

std::string& cached_lockdir() {
    static std::string cache;
    return cache;
}

// The value of an environment variable that has text, or null.
const char* env_text(const char* name) {
    const char* value = getenv(name);
    return (value != nullptr && value[0] != '\0') ? value : nullptr;
}

// Finishes a cache on its first fill: the "/" at its end, and the directory
// made if it can be, one level only. A failure shows when a file in it is made.
std::string& settle_directory(std::string& cache, std::string& out) {
    trailing_dirsep(cache);
    makeDir(cache, ACCESSMODE_RWX_OWNER_RX_ALL);
    out = cache;
    return out;
}

void log_failed_mkstemp(int error) {
    // Logged under the names the product's log readers know this call by.
    QOR_LOG_SITE(QOR_LOGLEVEL_ERROR, "failed to open file", "FileUtils", "makeUniqueFile")
        .add("error", strerror(error));
}

}  // namespace

namespace internal {

void forget_cached_directories() {
    cached_tempdir().clear();
    cached_lockdir().clear();
}

void realpath_or_exit(std::string& out, const char* path, const char* caller) {
    char buffer[kPathBufferSize];
    static_assert(kPathBufferSize >= PATH_MAX, "realpath needs PATH_MAX bytes");
    if (realpath(path, buffer) == nullptr) {
        const int error = errno;
        fprintf(stderr, "%s: realpath() failed: (%d) %s\n", caller, error, strerror(error));
        exit_process(EXIT_PROCESS_ERROR);
    }
    out = buffer;
}

}  // namespace internal

std::string& trailing_dirsep(std::string& path) {
    if (!path.empty() && path.back() != '/') path.push_back('/');
    return path;
}

std::string& tempdir_path(std::string& out) {
    std::string& cache = cached_tempdir();
    if (!cache.empty()) return out = cache;
    const char* value = env_text("QOR_TMP_DIR");
    cache = value != nullptr ? value : "/tmp/";
    return settle_directory(cache, out);
}

std::string& lockdir_path(std::string& out) {
    std::string& cache = cached_lockdir();
    if (!cache.empty()) return out = cache;
    // The variable is taken as it is; only the default is made canonical.
    if (const char* value = env_text("QOR_LOCK_DIR")) {
        cache = value;
    } else {
        internal::realpath_or_exit(cache, "/var/lock", "lockdir_path");
    }
    return settle_directory(cache, out);
}

std::string& makeTempFilename(std::string& out, const QRSTR& name) {
    tempdir_path(out);
    out.append(name.ptr(), static_cast<std::size_t>(name.length()));
    return out;
}

std::string& makeLockFilename(std::string& out, const QRSTR& name) {
    lockdir_path(out);
    out.append(name.ptr(), static_cast<std::size_t>(name.length()));
    return out;
}

std::string& join_filename(std::string& out, const QRSTR& p1, const QRSTR& p2, const QRSTR& p3,
                           const QRSTR& p4, const QRSTR& p5, const QRSTR& p6, const QRSTR& p7,
                           const QRSTR& p8, const QRSTR& p9, const QRSTR& p10) {
    const QRSTR* const parts[] = {&p1, &p2, &p3, &p4, &p5, &p6, &p7, &p8, &p9, &p10};
    out.clear();
    for (const QRSTR* part : parts) {
        if (!part->has_text()) continue;
        trailing_dirsep(out);
        out.append(part->ptr(), static_cast<std::size_t>(part->length()));
    }
    return out;
}

FILE* makeUniqueFile(const QRSTR& prefix, std::string& name) {
    char buffer[kPathBufferSize];
    for (int attempt = 0; attempt < kUniqueFileAttempts; ++attempt) {
        const int length = snprintf(buffer, sizeof buffer, "%s.XXXXXX", prefix.ptr());
        if (length < 0 || length >= static_cast<int>(sizeof buffer)) return nullptr;
        const int fd = mkstemp(buffer);
        if (fd < 0) {
            log_failed_mkstemp(errno);
            continue;
        }
        fchmod(fd, 0644);
        FILE* stream = fdopen(fd, "w+");
        if (stream != nullptr) {
            name = buffer;
            return stream;
        }
        // Leave nothing behind for an attempt that gave no stream.
        close(fd);
        unlink(buffer);
    }
    return nullptr;
}

}  // namespace FileUtils
