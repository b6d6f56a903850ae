// The file of a listening Unix socket: taking it, replacing what an ended program left, removing it.
#pragma once

#include <sys/stat.h>
#include <sys/un.h>

#include <string>

#include "backend.h"

namespace vela::transport {

// The path must fit, with its NUL.
sockaddr_un unix_address(const std::string &path);

class socket_file {
  public:
    socket_file() = default;
    socket_file(const socket_file &) = delete;
    socket_file &operator=(const socket_file &) = delete;
    // Removes the file, unless another program has replaced it.
    ~socket_file();

    // Binds the socket to the path and listens. A socket file that nobody listens on is replaced; anything else that
    // is in the way is EADDRINUSE.
    bool claim(int fd, const std::string &path, u_int32 mode, failure &why);

  private:
    std::string path_;
    struct stat identity_ = {};
};

}  // namespace vela::transport
