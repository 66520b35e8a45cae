// Files of libqorbasic: queries on paths, whole-file reading and writing,
// tree operations, temporary names and lock files.
//
// Everything lives in the namespace FileUtils, except the two flat lock
// functions at the end. Paths go in as QRSTR; failures come back as a
// CommandResult whose status is a code of qorbasic/status.h (success is 1):
//
//   std::string path;
//   FileUtils::join_filename(path, "/etc/app", "settings.conf");
//   {
//       FileUtils::ScopedFileLock lock(path);      // waits for other holders
//       if (!lock.is_valid()) return false;
//       StringVector lines;
//       CommandResult r = FileUtils::readTextFile(lines, path);
//       if (!r.is_success()) return false;
//       ...
//   }                                              // lock file removed here
//
// The surprising cases:
// - An empty path is always a bad argument, never the current directory.
// - Removing what is already gone and making what already exists are
//   successes; makeDir succeeds even where a regular file stands.
// - The queries follow symbolic links: a dangling link counts as nothing.
// - readOneLine of a missing file is a success with an empty result.
// - The writers report only a failed open; they truncate in place, so a
//   reader that does not take the lock can see a partial file.
// - The lock belongs to the base name of the path: "/a/x.conf" and
//   "/b/x.conf" share one lock. A lock of one name must not be nested, not
//   even in one thread: the inner one waits for ever.
// - Every reader and writer opens without waiting and takes only a regular
//   file (or a directory, which then fails to read or write as before): a
//   FIFO, device or socket at the path fails to open at once, instead of
//   holding the caller, and any lock it holds, in open().
// - tempdir_path and lockdir_path read QOR_TMP_DIR and QOR_LOCK_DIR once per
//   process; lockdir_path ends the process when the default "/var/lock"
//   cannot be resolved.
#ifndef QORBASIC_FILES_H
#define QORBASIC_FILES_H

#include <cstdio>
#include <string>
#include <vector>

#include "qorbasic/export.h"
#include "qorbasic/status.h"
#include "qorbasic/text.h"

namespace FileUtils {

// ---------------------------------------------------------------------------
// Queries. They stat the path (following links) and never say why they fail.

QOR_API bool pathExists(const QRSTR& path);
// True only for a regular file (or a link to one).
QOR_API bool fileExists(const QRSTR& path);
QOR_API bool dirExists(const QRSTR& path);
QOR_API bool fifoExists(const QRSTR& path);
// Size in bytes, or -1.
QOR_API long getFileSize(const QRSTR& path);
// Modification time in microseconds since 1970 (whole seconds), or 0.
QOR_API long getFileModifiedDate(const QRSTR& path);
// A regular file modified less than `age` microseconds ago.
QOR_API bool fileIsRecent(const QRSTR& path, long age);
// Opens the path write-only and non-blocking. For a FIFO that succeeds only
// while some process reads it; any writable regular file gives true too.
QOR_API bool fifoHasReader(const QRSTR& path);
// The text of a symbolic link, or "" (no link, error, target of 4096 bytes
// or more).
QOR_API std::string readLink(const std::string& path);
// Always "/opt/qor/".
QOR_API CommandResult getBinariesDirectory(std::string& out);
// STATUS_GETCWD_FAILED with `out` cleared on failure.
QOR_API CommandResult getWorkingDirectory(std::string& out);

// ---------------------------------------------------------------------------
// Whole-file writers. Each replaces the whole file, creating it with 0666
// less the umask. STATUS_INVALID_ARGUMENT for an empty path,
// STATUS_OPEN_FAILED when the file cannot be opened; write errors are not
// detected.

// Each element followed by a line feed.
QOR_API CommandResult writeFile(const QRSTR& path, const std::vector<std::string>& lines);
QOR_API CommandResult writeFile(const QRSTR& path, const StringVector& lines);
// The text up to its first NUL, and one line feed if `newline`.
QOR_API CommandResult writeFile(const QRSTR& path, const QRSTR& text, bool newline);
// `length` bytes of `data`; a length of 0 empties the file.
QOR_API CommandResult writeBinaryFile(const QRSTR& path, const char* data, unsigned length);

// ---------------------------------------------------------------------------
// Whole-file readers. Lines end at a line feed; trailing CR, LF and NUL bytes
// are cut. A line longer than 10,000,000 bytes ends the reading silently:
// the result is a success with the lines before it.

// The first line that holds anything but blanks, trimmed. A missing file is
// a success with `out` empty; anything at the path that cannot be opened (a
// FIFO, say) is STATUS_OPEN_FAILED.
QOR_API CommandResult readOneLine(std::string& out, const QRSTR& path);
// `out` is cleared in every case. STATUS_OPEN_FAILED if the file cannot be
// opened.
QOR_API CommandResult readTextFile(StringVector& out, const QRSTR& path);
QOR_API CommandResult readTextFile(std::vector<std::string>& out, const QRSTR& path);
// The whole file. STATUS_STAT_FAILED for a missing file, STATUS_OPEN_FAILED,
// and STATUS_READ_FAILED when reading fails or the file shrinks while it is
// read; then `out` holds the bytes that were read.
QOR_API CommandResult readBinaryFile(std::vector<char>& out, const QRSTR& path);
// True if the contents differ. A missing or unreadable file always differs,
// even from itself.
QOR_API bool diffFile(const QRSTR& path_a, const QRSTR& path_b);

// ---------------------------------------------------------------------------
// Tree operations.

// Permission bits, handed to the system as they are.
enum ACCESSMODE {
    ACCESSMODE_RW_ALL = 0666,
    ACCESSMODE_RWX_OWNER_RX_ALL = 0755,
};

// One level; `mode` is subject to the umask. Success also where anything of
// that name exists already. STATUS_MKDIR_FAILED.
QOR_API CommandResult makeDir(const QRSTR& path, ACCESSMODE mode);
// Success also where chmod fails but the mode is already what is asked.
// STATUS_CHMOD_FAILED.
QOR_API CommandResult setAccess(const QRSTR& path, ACCESSMODE mode);
// Success for a missing path. STATUS_UNLINK_FAILED (a directory, say).
QOR_API CommandResult removeFile(const QRSTR& path);
// Success for a missing path. STATUS_RMDIR_FAILED (not empty, say).
QOR_API CommandResult removeDir(const QRSTR& path);
// removeFile, and removeDir where that fails.
QOR_API CommandResult removeFileOrDir(const QRSTR& path);
// Removes a tree; the path must be absolute. Links inside the tree are
// removed, never followed; a top path that is a link loses only the link.
// The walk goes by open directories, not rebuilt paths: a subdirectory that
// another process swaps for a link meanwhile can make the removal fail, but
// never leads it outside the tree. STATUS_RMDIR_FAILED when something could
// not go (levels below the 2048th included), with as much removed as could be.
QOR_API CommandResult removeRecursively(const QRSTR& path);
// rename, falling back to copy and remove across file systems. With
// `overwrite` false an existing regular file at `dest` is kept and the
// result is STATUS_RENAME_FAILED. Every failure is STATUS_RENAME_FAILED.
QOR_API CommandResult moveFile(const QRSTR& source, const QRSTR& dest, bool overwrite);
// Copies the bytes; the destination always ends with mode 0644. A missing
// source is STATUS_INVALID_ARGUMENT. With `overwrite` false an existing
// destination is refused with STATUS_OPEN_FAILED; so is a destination that
// is the source itself (by name, through a link or a second hard link),
// which keeps every byte. The failures carry the path concerned as `subject`
// and "copyFile" as `operation`.
QOR_API CommandResult copyFile(const QRSTR& source, const QRSTR& dest, bool overwrite);

// One scan of a directory, with the entry names sorted into five lists by
// kind, in the order of readdir; "." and ".." are in none. A link is sorted
// by what its text names, resolved against the working directory of the
// process (not the link's own directory); a dangling link goes to `others`,
// a link that cannot be read to no list.
class QOR_API DirectoryContents {
  public:
    explicit DirectoryContents(const QRSTR& path);
    DirectoryContents(const DirectoryContents&) = delete;
    DirectoryContents& operator=(const DirectoryContents&) = delete;

    bool is_success() const;

    std::string path;  // empty if the constructor got an empty path
    int status;        // STATUS_INVALID_ARGUMENT, STATUS_OPENDIR_FAILED
    StringVector directories;
    StringVector files;
    StringVector dir_links;
    StringVector file_links;
    StringVector others;  // FIFOs, sockets, devices, dangling links, ...
};

// ---------------------------------------------------------------------------
// Path builders, temporary names and lock files.

// Appends "/" to a non-empty path that does not end in one; returns `path`.
QOR_API std::string& trailing_dirsep(std::string& path);
// QOR_TMP_DIR or "/tmp/", with "/" at the end; read once per process, and
// the directory is made (one level) at that first call.
QOR_API std::string& tempdir_path(std::string& out);
// QOR_LOCK_DIR or the canonical form of "/var/lock", with "/" at the end;
// read once per process. Ends the process if "/var/lock" cannot be resolved.
QOR_API std::string& lockdir_path(std::string& out);
QOR_API std::string& makeTempFilename(std::string& out, const QRSTR& name);
QOR_API std::string& makeLockFilename(std::string& out, const QRSTR& name);
// Joins the parts that have text with "/", without doubling a "/" at a
// joint: join_filename(out, "/opt/", "x", "y") is "/opt/x/y".
QOR_API std::string& join_filename(
    std::string& out, const QRSTR& p1, const QRSTR& p2, const QRSTR& p3 = QRSTR::empty(),
    const QRSTR& p4 = QRSTR::empty(), const QRSTR& p5 = QRSTR::empty(),
    const QRSTR& p6 = QRSTR::empty(), const QRSTR& p7 = QRSTR::empty(),
    const QRSTR& p8 = QRSTR::empty(), const QRSTR& p9 = QRSTR::empty(),
    const QRSTR& p10 = QRSTR::empty());
// Makes and opens ("w+", mode 0644) a new file named `prefix` + ".XXXXXX".
// On success `name` is its path; the caller closes the stream and removes
// the file. Null after 11 failed attempts, `name` untouched.
QOR_API FILE* makeUniqueFile(const QRSTR& prefix, std::string& name);

// The lock that guards a file between processes and threads: an exclusive
// flock on <lockdir>/<base name of path>.lock. The constructor waits as long
// as it takes; is_valid() is false when the lock could not be taken (lock
// directory missing or not writable, wait interrupted by a signal, or a
// link, FIFO or device at the lock path: a link there is never followed, so
// its target is not created). The lock file exists only while the lock is
// held.
class QOR_API ScopedFileLock {
  public:
    explicit ScopedFileLock(const std::string& path);
    ~ScopedFileLock();
    ScopedFileLock(const ScopedFileLock&) = delete;
    ScopedFileLock& operator=(const ScopedFileLock&) = delete;

    bool is_valid() const { return fd != -1; }
    // Gives up the lock; a second call does nothing.
    void release();

    std::string filename;  // path of the lock file
    int fd;                // -1 when no lock is held
};

}  // namespace FileUtils

// Lock on the file `path` itself, created with mode 0666 whatever the umask.
// With `wait` 0 it returns -1 at once when another holder has the lock. -1
// also where `path` is a link (not followed) or anything but a regular file.
// Returns the descriptor, or -1.
QOR_C_API int fileutils_acquirelock(const char* path, int wait);
// Removes the lock file and closes `fd`; nothing for a negative `fd`.
QOR_C_API void fileutils_releaselock(int fd, const char* path);

#endif  // QORBASIC_FILES_H
