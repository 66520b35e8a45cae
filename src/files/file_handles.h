// Scope-bound holders of an open descriptor and of an open stream, and the
// one way the library opens a file it reads or rewrites.
#ifndef QORBASIC_SRC_FILES_FILE_HANDLES_H
#define QORBASIC_SRC_FILES_FILE_HANDLES_H

#include <dirent.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>

namespace FileUtils {
namespace internal {

class UniqueFd {
  public:
    explicit UniqueFd(int fd) : fd_(fd) {}
    ~UniqueFd() { reset(); }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    int get() const { return fd_; }
    bool valid() const { return fd_ >= 0; }
    void reset() {
        if (fd_ >= 0) close(fd_);
        fd_ = -1;
    }

  private:
    int fd_;
};

// Owner of a stream or directory of the C library, closed with `Close`.
template <typename Handle, int (*Close)(Handle*)>
class UniqueHandle {
  public:
    explicit UniqueHandle(Handle* handle) : handle_(handle) {}
    ~UniqueHandle() {
        if (handle_ != nullptr) Close(handle_);
    }
    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;

    Handle* get() const { return handle_; }
    bool valid() const { return handle_ != nullptr; }

  private:
    Handle* handle_;
};

using UniqueFile = UniqueHandle<FILE, fclose>;
using UniqueDir = UniqueHandle<DIR, closedir>;

// read() and write() that go on after a signal interrupted them.
ssize_t read_retrying(int fd, void* data, size_t length);
ssize_t write_retrying(int fd, const void* data, size_t length);
// Writes all `length` bytes; false at the first failed write.
bool write_all(int fd, const void* data, size_t length);

// open() for a file the library reads or rewrites. It opens non-blocking, so
// that a FIFO or a device planted at the path cannot hold the caller (and
// any lock it holds) in open(), and hands out only a regular file or a
// directory: anything else is closed again and gives -1 with errno ENXIO.
// A directory passes because it cannot block; reading or writing it fails
// later with the status each caller already reports for that. O_NONBLOCK is
// cleared before the descriptor is handed out.
int open_file(const char* path, int flags, mode_t mode = 0);
// open_file as a stdio stream of `stdio_mode` ("r" or "w"); null on failure.
FILE* open_stream(const char* path, int flags, const char* stdio_mode);

}  // namespace internal
}  // namespace FileUtils

#endif  // QORBASIC_SRC_FILES_FILE_HANDLES_H
