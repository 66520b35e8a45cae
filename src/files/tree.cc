#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "files/file_handles.h"
#include "qorbasic/files.h"

namespace FileUtils {

namespace {

using internal::UniqueFd;

constexpr mode_t kCopyMode = 0644;
constexpr std::size_t kCopyBlock = 4096;

bool is_symlink(const QRSTR& path) {
    struct stat info;
    return lstat(path.ptr(), &info) == 0 && S_ISLNK(info.st_mode);
}

constexpr int kOpenDirectory = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
// Each level of a removal holds a descriptor and a stack frame, so a tree
// built deep on purpose must not take them all. Paths of at most 4096 bytes
// reach no deeper than this, so nothing a path could name is left over.
constexpr int kDeepestLevel = 2048;

bool is_dot_or_dotdot(const char* name) {
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

// Removes what lies below the directory open on `fd` (taken over and closed),
// as far as it can; what could not go shows when the caller removes the
// directory itself. Every step is relative to an open directory, never a
// path rebuilt from names: a subdirectory that another process swaps for a
// link is opened with O_NOFOLLOW and so refused, and one that it renames
// away keeps being emptied where it went, so nothing outside the tree is
// ever reached. Other entries go before subdirectories.
void empty_directory(int fd, int level) {
    DIR* stream = fdopendir(fd);
    if (stream == nullptr) {
        close(fd);
        return;
    }
    internal::UniqueDir closer(stream);
    const int at = dirfd(stream);
    // The names are read in full first: unlinking while readdir goes on may
    // make it skip entries.
    std::vector<std::string> names;
    while (const struct dirent* entry = readdir(stream)) {
        if (!is_dot_or_dotdot(entry->d_name)) names.emplace_back(entry->d_name);
    }
    std::vector<std::string> subdirectories;
    for (const std::string& name : names) {
        struct stat info;
        if (fstatat(at, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) continue;
        if (S_ISDIR(info.st_mode)) {
            subdirectories.push_back(name);
        } else {
            unlinkat(at, name.c_str(), 0);
        }
    }
    for (const std::string& name : subdirectories) {
        const int child = level < kDeepestLevel ? openat(at, name.c_str(), kOpenDirectory) : -1;
        if (child >= 0) empty_directory(child, level + 1);
        // Swapped for a link or a file since the look: that entry goes instead.
        if (unlinkat(at, name.c_str(), AT_REMOVEDIR) != 0 && errno == ENOTDIR) {
            unlinkat(at, name.c_str(), 0);
        }
    }
}

// Whether two open descriptors are one file.
bool same_file(int a, int b) {
    struct stat info_a;
    struct stat info_b;
    return fstat(a, &info_a) == 0 && fstat(b, &info_b) == 0 && info_a.st_dev == info_b.st_dev &&
           info_a.st_ino == info_b.st_ino;
}

CommandResult copy_failure(int status, const QRSTR& subject) {
    return CommandResult(status, subject, "copyFile");
}

}  // namespace

CommandResult makeDir(const QRSTR& path, ACCESSMODE mode) {
    if (!path.has_text()) return CommandResult(STATUS_INVALID_ARGUMENT);
    if (mkdir(path.ptr(), static_cast<mode_t>(mode)) == 0 || errno == EEXIST) {
        return CommandResult(STATUS_SUCCESS);
    }
    return CommandResult(STATUS_MKDIR_FAILED);
}

CommandResult setAccess(const QRSTR& path, ACCESSMODE mode) {
    if (!path.has_text()) return CommandResult(STATUS_INVALID_ARGUMENT);
    if (chmod(path.ptr(), static_cast<mode_t>(mode)) == 0) return CommandResult(STATUS_SUCCESS);
    // Someone who may not change the mode still succeeds where it is right already.
    struct stat info;
    if (stat(path.ptr(), &info) == 0 && (info.st_mode & 0777) == static_cast<mode_t>(mode)) {
        return CommandResult(STATUS_SUCCESS);
    }
    return CommandResult(STATUS_CHMOD_FAILED);
}

CommandResult removeFile(const QRSTR& path) {
    if (!path.has_text()) return CommandResult(STATUS_INVALID_ARGUMENT);
    if (unlink(path.ptr()) == 0 || errno == ENOENT) return CommandResult(STATUS_SUCCESS);
    return CommandResult(STATUS_UNLINK_FAILED);
}

CommandResult removeDir(const QRSTR& path) {
    if (!path.has_text()) return CommandResult(STATUS_INVALID_ARGUMENT);
    if (rmdir(path.ptr()) == 0 || errno == ENOENT) return CommandResult(STATUS_SUCCESS);
    return CommandResult(STATUS_RMDIR_FAILED);
}

CommandResult removeFileOrDir(const QRSTR& path) {
    CommandResult result = removeFile(path);
    if (result.is_success()) return result;
    return removeDir(path);
}

CommandResult removeRecursively(const QRSTR& path) {
    if (!path.has_text() || path.ptr()[0] != '/') return CommandResult(STATUS_INVALID_ARGUMENT);
    // A top path that is a link loses the link only; what it names is not ours.
    if (is_symlink(path) || !dirExists(path)) return removeFile(path);
    const int fd = open(path.ptr(), kOpenDirectory);
    if (fd >= 0) empty_directory(fd, 1);
    return removeDir(path);
}

CommandResult moveFile(const QRSTR& source, const QRSTR& dest, bool overwrite) {
    if (!source.has_text() || !dest.has_text()) return CommandResult(STATUS_INVALID_ARGUMENT);
    if (!overwrite && fileExists(dest)) return CommandResult(STATUS_RENAME_FAILED);
    if (rename(source.ptr(), dest.ptr()) == 0) return CommandResult(STATUS_SUCCESS);
    if (errno == EXDEV && copyFile(source, dest, overwrite).is_success() &&
        removeFile(source).is_success()) {
        return CommandResult(STATUS_SUCCESS);
    }
    return CommandResult(STATUS_RENAME_FAILED);
}

CommandResult copyFile(const QRSTR& source, const QRSTR& dest, bool overwrite) {
    if (!source.has_text() || !dest.has_text()) return CommandResult(STATUS_INVALID_ARGUMENT);
    const long size = getFileSize(source);
    if (size < 0) return CommandResult(STATUS_INVALID_ARGUMENT);
    UniqueFd in(internal::open_file(source.ptr(), O_RDONLY | O_CLOEXEC));
    if (!in.valid()) return copy_failure(STATUS_OPEN_FAILED, source);
    // Without overwrite, O_EXCL refuses an existing destination in the same
    // step that creates a new one, so no other writer can slip in between.
    // With it, the destination is truncated only once it is known not to be
    // the source itself (by name, through a link or as a second hard link),
    // which the truncation would empty.
    const int create = overwrite ? 0 : O_EXCL;
    UniqueFd out(
        internal::open_file(dest.ptr(), O_WRONLY | O_CREAT | O_CLOEXEC | create, kCopyMode));
    if (!out.valid() || same_file(in.get(), out.get())) {
        return copy_failure(STATUS_OPEN_FAILED, dest);
    }
    if (ftruncate(out.get(), 0) != 0) return copy_failure(STATUS_WRITE_FAILED, dest);
    char block[kCopyBlock];
    long written = 0;
    while (written < size) {
        const ssize_t count = internal::read_retrying(in.get(), block, sizeof block);
        // A source that shrank since its size was taken ends before the size
        // is reached; the copy is then incomplete and counts as a failed read.
        if (count <= 0) return copy_failure(STATUS_READ_FAILED, source);
        if (!internal::write_all(out.get(), block, static_cast<size_t>(count))) {
            return copy_failure(STATUS_WRITE_FAILED, dest);
        }
        written += count;
    }
    in.reset();
    fchmod(out.get(), kCopyMode);
    return CommandResult(STATUS_SUCCESS);
}

}  // namespace FileUtils
