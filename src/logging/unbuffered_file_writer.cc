// UnbufferedFileWriter: a log file written line by line with no buffer of its own.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "qorbasic/actors.h"

// O_NOFOLLOW: a link planted at the name in a shared directory must not
// make us append to the file it points at. O_NONBLOCK: a FIFO at the name
// must not block the open; anything but a regular file is refused then.
UnbufferedFileWriter::UnbufferedFileWriter(const char* path) : fd_(-1) {
    if (path == nullptr || *path == '\0') return;
    int fd = ::open(path, O_RDWR | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0644);
    if (fd < 0) return;
    struct stat info;
    if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) ||
        fcntl(fd, F_SETFL, O_RDWR | O_APPEND) != 0) {
        ::close(fd);
        return;
    }
    fd_ = fd;
}

UnbufferedFileWriter::~UnbufferedFileWriter() {
    close();
}

bool UnbufferedFileWriter::write(const char* data, int length) {
    if (length < 1) return true;
    if (data == nullptr || fd_ < 0) return false;
    int done = 0;
    while (done < length) {
        ssize_t n = ::write(fd_, data + done, length - done);
        // A write that makes no progress would loop for ever: a failure too.
        if (n <= 0) {
            close();
            return false;
        }
        done += static_cast<int>(n);
    }
    return true;
}

void UnbufferedFileWriter::close() {
    if (fd_ < 0) return;
    ::close(fd_);
    fd_ = -1;
}

bool UnbufferedFileWriter::ends_mid_line() const {
    struct stat info;
    if (fd_ < 0 || fstat(fd_, &info) != 0 || info.st_size == 0) return false;
    char last = '\n';
    return pread(fd_, &last, 1, info.st_size - 1) == 1 && last != '\n';
}

bool UnbufferedFileWriter::is_unlinked() const {
    struct stat info;
    return fd_ >= 0 && fstat(fd_, &info) == 0 && info.st_nlink == 0;
}
