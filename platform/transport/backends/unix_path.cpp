// Claims the file of a Unix socket, and removes it.
#include "unix_path.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/file.h>
#include <time.h>

#include "base/file_descriptor.h"
#include "socket.h"

namespace vela::transport {
namespace {

constexpr int backlog = 64;

// Two programs that start at once must not each take the other's new socket for an old one: whoever looks and binds
// holds a lock on the folder. It is held for an instant, so that waiting for it is short; a program that keeps it
// cannot stop others for longer than that.
file_descriptor lock_folder_of(const std::string &path) {
    size_t slash = path.rfind('/');
    std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    file_descriptor fd(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    for (int attempt = 0; fd && attempt < 50 && flock(fd.get(), LOCK_EX | LOCK_NB) != 0; ++attempt) {
        timespec pause = {0, 2'000'000};
        nanosleep(&pause, nullptr);
    }
    return fd;
}

bool try_bind(int fd, const std::string &path, u_int32 mode) {
    sockaddr_un address = unix_address(path);
    fchmod(fd, mode);  // before the file is there, so that nobody finds it more open than it will be
    if (bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        return false;
    }
    chmod(path.c_str(), mode);  // what the process's umask has taken away
    return true;
}

// Whether a socket file is all that is left of a listener. If not, `why` says what is in the way.
bool is_left_over(const std::string &path, const backend_options &options, failure &why) {
    struct stat found = {};
    if (lstat(path.c_str(), &found) != 0) {
        return true;
    }
    if (!S_ISSOCK(found.st_mode)) {
        why = {EADDRINUSE, "unix:" + path + ": a file that is no socket is in the way"};
        return false;
    }
    file_descriptor probe = open_socket(AF_UNIX, SOCK_SEQPACKET, options, why);
    sockaddr_un address = unix_address(path);
    if (!probe) {
        return false;
    }
    if (connect(probe.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 &&
        (errno == ECONNREFUSED || errno == ENOENT)) {
        return true;
    }
    why = {EADDRINUSE, "unix:" + path + ": another program listens there"};
    return false;
}

}  // namespace

sockaddr_un unix_address(const std::string &path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

socket_file::~socket_file() {
    struct stat found = {};
    if (!path_.empty() && lstat(path_.c_str(), &found) == 0 && found.st_dev == identity_.st_dev &&
        found.st_ino == identity_.st_ino) {
        unlink(path_.c_str());
    }
}

bool socket_file::claim(int fd, const std::string &path, u_int32 mode, failure &why) {
    file_descriptor lock = lock_folder_of(path);
    bool is_bound = try_bind(fd, path, mode);
    if (!is_bound && errno == EADDRINUSE) {
        if (!is_left_over(path, {}, why)) {
            return false;
        }
        unlink(path.c_str());
        is_bound = try_bind(fd, path, mode);
    }
    if (is_bound && lstat(path.c_str(), &identity_) == 0) {
        path_ = path;  // from now on it goes with this object, also when nobody can listen there
    }
    if (path_.empty() || listen(fd, backlog) != 0) {
        why = system_failure(errno, "cannot listen on unix:" + path);
        return false;
    }
    return true;
}

}  // namespace vela::transport
