// Files of the targets, in a folder in memory that goes with the process.
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

#include "files.h"

namespace fuzz {

const std::string &folder() {
    static const struct kept {
        std::string path = "/dev/shm/ptp_cfg_fuzz." + std::to_string(getpid());
        kept() { std::filesystem::create_directory(path); }
        ~kept() {
            std::error_code ignored;
            std::filesystem::remove_all(path, ignored);
        }
    } it;
    return it.path;
}

void write_file(const std::string &path, std::span<const u_int8> bytes) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    require(fd >= 0 && write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "no file",
            path.c_str());
    close(fd);
}

octets read_file(const std::string &path) {
    octets bytes(std::filesystem::file_size(path));
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    require(fd >= 0 && read(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "no file",
            path.c_str());
    close(fd);
    return bytes;
}

}  // namespace fuzz
