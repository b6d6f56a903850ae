// An advisory lock with the holder's process id for people.
#include "agent/supervise/lock_file.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/file.h>
#include <unistd.h>

#include <stdexcept>

namespace ptp_agent {

LockFile::LockFile(const std::string &path)
    : file_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644)) {
    if (!file_) {
        throw std::runtime_error("cannot open " + path + ": " + strerror(errno));
    }
    if (flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
        char holder[16] = "";
        const ssize_t length = pread(file_.get(), holder, sizeof holder - 1, 0);
        holder[length > 0 ? length : 0] = '\0';
        holder[strcspn(holder, "\n")] = '\0';
        throw std::runtime_error("another ptp_agent (process " + std::string(holder) + ") is at work there: it holds " +
                                 path + "; give this one another runtime_directory");
    }
    const std::string id = std::to_string(getpid()) + "\n";
    if (ftruncate(file_.get(), 0) != 0 || pwrite(file_.get(), id.data(), id.size(), 0) < 0) {
        throw std::runtime_error("cannot write " + path + ": " + strerror(errno));
    }
}

}  // namespace ptp_agent
