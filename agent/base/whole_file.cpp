// Reads files whole, and replaces them by a rename.
#include "agent/base/whole_file.h"

#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "base/file_descriptor.h"

namespace ptp_agent {
namespace {

bool write_all(int file, const std::string &content) {
    for (std::size_t done = 0; done < content.size();) {
        const ssize_t written = ::write(file, content.data() + done, content.size() - done);
        if (written < 0 && errno != EINTR) {
            return false;
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
    return true;
}

}  // namespace

std::optional<std::string> read_file(const std::string &path) {
    const base::file_descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) {
        return std::nullopt;
    }
    std::string content;
    char part[4096];
    for (;;) {
        const ssize_t count = ::read(file.get(), part, sizeof part);
        if (count == 0) {
            return content;
        }
        if (count < 0 && errno != EINTR) {
            return std::nullopt;
        }
        content.append(part, count > 0 ? static_cast<std::size_t>(count) : 0);
    }
}

std::string write_file(const std::string &path, const std::string &content, mode_t mode) {
    const std::string made = path + ".new";
    base::file_descriptor file(open(made.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, mode));
    const bool whole = file && write_all(file.get(), content) && fsync(file.get()) == 0 && file.close();
    if (whole && rename(made.c_str(), path.c_str()) == 0) {
        return {};
    }
    std::string reason = "cannot write " + path + ": " + strerror(errno);
    unlink(made.c_str());
    return reason;
}

}  // namespace ptp_agent
