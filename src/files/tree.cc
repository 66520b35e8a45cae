#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>

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

void remove_each(const std::string& dir, const StringVector& names,
                 CommandResult (*remove)(const QRSTR&)) {
    for (int i = 0; i < names.size(); ++i) remove(dir + "/" + names.fetch(i));
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
    const std::string dir = path.ptr();
    const DirectoryContents contents(dir);
    remove_each(dir, contents.files, removeFile);
    remove_each(dir, contents.file_links, removeFile);
    remove_each(dir, contents.dir_links, removeFile);
    remove_each(dir, contents.directories, removeRecursively);
    remove_each(dir, contents.others, removeFile);
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
    UniqueFd in(open(source.ptr(), O_RDONLY | O_CLOEXEC));
    if (!in.valid()) return copy_failure(STATUS_OPEN_FAILED, source);
    // Without overwrite, O_EXCL refuses an existing destination in the same
    // step that creates a new one, so no other writer can slip in between.
    const int create = overwrite ? O_TRUNC : O_EXCL;
    UniqueFd out(open(dest.ptr(), O_WRONLY | O_CREAT | O_CLOEXEC | create, kCopyMode));
    if (!out.valid()) return copy_failure(STATUS_OPEN_FAILED, dest);
    char block[kCopyBlock];
    long written = 0;
    while (written < size) {
        const ssize_t count = internal::read_retrying(in.get(), block, sizeof block);
        // A source that shrank since its size was taken ends before the size
        // is reached; the copy is then incomplete and counts as a failed read.
        if (count <= 0) return copy_failure(STATUS_READ_FAILED, source);
        for (ssize_t done = 0; done < count;) {
            const ssize_t put = internal::write_retrying(out.get(), block + done,
                                                         static_cast<size_t>(count - done));
            if (put < 0) return copy_failure(STATUS_WRITE_FAILED, dest);
            done += put;
        }
        written += count;
    }
    in.reset();
    fchmod(out.get(), kCopyMode);
    return CommandResult(STATUS_SUCCESS);
}

}  // namespace FileUtils
