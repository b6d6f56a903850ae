// A file descriptor with an owner.
#pragma once

#include <unistd.h>

#include <utility>

namespace vela::transport {

class file_descriptor {
  public:
    file_descriptor() = default;
    explicit file_descriptor(int fd) : fd_(fd) {}
    file_descriptor(file_descriptor &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    file_descriptor &operator=(file_descriptor &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~file_descriptor() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }

  private:
    int fd_ = -1;
};

}  // namespace vela::transport
