#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "files/file_handles.h"
#include "qorbasic/files.h"

namespace {

// Whether `path` still names the file open on `fd`. A waiter may get the
// lock on a file that its holder has removed meanwhile; that lock guards
// nothing, since a newcomer creates and locks a new file of the same name.
bool path_names_descriptor(const char* path, int fd) {
    struct stat by_fd;
    struct stat by_path;
    if (fstat(fd, &by_fd) != 0 || lstat(path, &by_path) != 0) return false;
    return by_fd.st_dev == by_path.st_dev && by_fd.st_ino == by_path.st_ino;
}

int open_lock_file(const char* path) {
    // Lock files are shared by every user of the product: 0666 whatever the
    // umask. The lock directory is shared too, so a link planted at the lock
    // path is not followed (that would create its target) but fails the lock,
    // and a FIFO or device there is refused rather than waited on.
    const mode_t saved = umask(0);
    const int fd = FileUtils::internal::open_file(path, O_RDWR | O_CREAT | O_NOFOLLOW, 0666);
    umask(saved);
    return fd;
}

// The part of `path` behind its last "/" or backslash.
std::string base_name(const std::string& path) {
    const std::string::size_type cut = path.find_last_of("/\\");
    return cut == std::string::npos ? path : path.substr(cut + 1);
}

}  // namespace

int fileutils_acquirelock(const char* path, int wait) {
    if (path == nullptr || path[0] == '\0') return -1;
    const int operation = wait != 0 ? LOCK_EX : LOCK_EX | LOCK_NB;
    for (;;) {
        const int fd = open_lock_file(path);
        if (fd < 0) return -1;
        if (flock(fd, operation) != 0) {
            close(fd);
            return -1;
        }
        if (path_names_descriptor(path, fd)) return fd;
        // Locked a file that was removed on release: start again on the new one.
        close(fd);
    }
}

void fileutils_releaselock(int fd, const char* path) {
    if (fd < 0) return;
    // The name goes while the lock is still held, so that nobody can lock
    // the file under that name after us; see path_names_descriptor.
    FileUtils::removeFileOrDir(path);
    close(fd);
}

namespace FileUtils {

ScopedFileLock::ScopedFileLock(const std::string& path) : fd(-1) {
    lockdir_path(filename);
    filename += base_name(path);
    filename += ".lock";
    fd = fileutils_acquirelock(filename.c_str(), 1);
}

ScopedFileLock::~ScopedFileLock() {
    release();
}

void ScopedFileLock::release() {
    if (!is_valid()) return;
    fileutils_releaselock(fd, filename.c_str());
    fd = -1;
}

}  // namespace FileUtils
