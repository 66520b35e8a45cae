// Scope-bound holders of an open descriptor and of an open stream.
#ifndef QORBASIC_SRC_FILES_FILE_HANDLES_H
#define QORBASIC_SRC_FILES_FILE_HANDLES_H

#include <unistd.h>

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

class UniqueFile {
  public:
    explicit UniqueFile(FILE* stream) : stream_(stream) {}
    ~UniqueFile() {
        if (stream_ != nullptr) fclose(stream_);
    }
    UniqueFile(const UniqueFile&) = delete;
    UniqueFile& operator=(const UniqueFile&) = delete;

    FILE* get() const { return stream_; }
    bool valid() const { return stream_ != nullptr; }

  private:
    FILE* stream_;
};

// read() and write() that go on after a signal interrupted them.
ssize_t read_retrying(int fd, void* data, size_t length);
ssize_t write_retrying(int fd, const void* data, size_t length);

}  // namespace internal
}  // namespace FileUtils

#endif  // QORBASIC_SRC_FILES_FILE_HANDLES_H
