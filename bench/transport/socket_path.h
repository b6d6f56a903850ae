// A place for a Unix socket that vanishes with the program.
#pragma once

#include <cstdlib>
#include <string>

#include <unistd.h>

namespace bench {

class socket_path {
  public:
    socket_path() {
        char name[] = "/tmp/ptp_cfg_bench.XXXXXX";
        folder_ = ::mkdtemp(name) == nullptr ? "/tmp" : name;
    }
    ~socket_path() {
        ::unlink(path().c_str());
        ::rmdir(folder_.c_str());
    }
    socket_path(const socket_path &) = delete;
    socket_path &operator=(const socket_path &) = delete;

    std::string path() const { return folder_ + "/socket"; }

  private:
    std::string folder_;
};

}  // namespace bench
