// Reads small files, and replaces them so that a crash leaves the old or the new one.
#include "agent/notification/files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

#include "base/file_descriptor.h"

namespace ptp_agent::notification {
namespace {

bool write_all(int file, const std::string &text) {
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = ::write(file, text.data() + done, text.size() - done);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return true;
}

std::string folder_of(const std::string &path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

}  // namespace

std::optional<std::string> file_text(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (!file || !(text << file.rdbuf() || file.peek() == EOF)) {
        return std::nullopt;
    }
    return text.str();
}

std::string replace_file(const std::string &path, const std::string &text) {
    const std::string next = path + ".next";
    const auto failed = [&next](const std::string &doing) {
        const std::string reason = std::strerror(errno);
        ::unlink(next.c_str());
        return doing + ": " + reason;
    };
    ::unlink(next.c_str());
    base::file_descriptor file(::open(next.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file) {
        return failed("make " + next);
    }
    if (!write_all(file.get(), text) || ::fsync(file.get()) != 0 || !file.close()) {
        return failed("write " + next);
    }
    if (::rename(next.c_str(), path.c_str()) != 0) {
        return failed("rename " + next);
    }
    const base::file_descriptor folder(::open(folder_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder) {
        ::fsync(folder.get());
    }
    return {};
}

}  // namespace ptp_agent::notification
