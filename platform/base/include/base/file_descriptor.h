// A file descriptor with an owner.
#pragma once

#include <errno.h>
#include <unistd.h>

#include <utility>

namespace base {

class file_descriptor {
  public:
    file_descriptor() = default;
    explicit file_descriptor(int fd) : fd_(fd) {}
    file_descriptor(file_descriptor &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    file_descriptor &operator=(file_descriptor &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    /** errno stays as it was: what failed before may still have to be told. */
    ~file_descriptor() {
        if (fd_ >= 0) {
            const int code = errno;
            ::close(fd_);
            errno = code;
        }
    }
    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    /** False with errno when closing fails, which can be the moment at which a full disk shows. */
    bool close() { return ::close(std::exchange(fd_, -1)) == 0; }

  private:
    int fd_ = -1;
};

}  // namespace base
