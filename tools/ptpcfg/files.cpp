#include "files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "failure.h"

namespace ptpcfg {
namespace {

[[noreturn]] void fail_io(const std::string &name, const char *doing) {
    throw failure(exit_code::io, name + ": cannot " + doing + ": " + std::strerror(errno));
}

/** A descriptor that closes itself. */
class descriptor {
  public:
    explicit descriptor(int number) : number_(number) {}
    ~descriptor() {
        if (number_ >= 0) {
            ::close(number_);
        }
    }
    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;
    int number() const { return number_; }
    /** Closing can be the moment at which a full disk shows. */
    bool close() {
        const int number = number_;
        number_ = -1;
        return ::close(number) == 0;
    }

  private:
    int number_;
};

bool write_all(int file, std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = ::write(file, content.data(), content.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        if (written > 0) {
            content.remove_prefix(static_cast<size_t>(written));
        }
    }
    return true;
}

std::string read_all(int file, const std::string &name) {
    std::string content;
    char block[65536];
    for (;;) {
        const ssize_t count = ::read(file, block, sizeof block);
        if (count == 0) {
            return content;
        }
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            fail_io(name, "read");
        }
        content.append(block, static_cast<size_t>(count));
        if (content.size() > longest_input) {
            throw failure(exit_code::bad_input, name + ": longer than 64 MiB, which no input is");
        }
    }
}

/** Where a name finally points: a link is kept and its target replaced. */
std::string final_path(const std::string &path) {
    char *resolved = ::realpath(path.c_str(), nullptr);
    if (resolved == nullptr) {
        return path;
    }
    std::string result = resolved;
    std::free(resolved);
    return result;
}

/** Permissions of a new file, which mkstemp does not give. */
mode_t default_mode() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

void replace_file(const std::string &name, const std::string &target, std::string_view content, mode_t mode) {
    const size_t slash = target.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : target.substr(0, slash + 1);
    std::string temporary = folder + ".ptpcfg-XXXXXX";
    descriptor file(::mkstemp(temporary.data()));
    if (file.number() < 0) {
        fail_io(name, "create");
    }
    if (!write_all(file.number(), content) || ::fchmod(file.number(), mode) != 0 || !file.close() ||
        ::rename(temporary.c_str(), target.c_str()) != 0) {
        const int reason = errno;
        ::unlink(temporary.c_str());
        errno = reason;
        fail_io(name, "write");
    }
}

}  // namespace

std::string input_name(const std::string &path) { return path == "-" ? "standard input" : path; }

std::string read_input(const std::string &path) {
    if (path == "-") {
        return read_all(STDIN_FILENO, input_name(path));
    }
    descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.number() < 0) {
        fail_io(path, "open");
    }
    return read_all(file.number(), path);
}

void write_output(const std::string &path, std::string_view content) {
    if (path == "-") {
        if (!write_all(STDOUT_FILENO, content)) {
            fail_io("standard output", "write");
        }
        return;
    }
    struct stat status {};
    const bool exists = ::stat(path.c_str(), &status) == 0;
    if (exists && !S_ISREG(status.st_mode)) {
        // A pipe or a device: it cannot be replaced, so it is written to.
        descriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
        if (file.number() < 0) {
            fail_io(path, "open");
        }
        if (!write_all(file.number(), content) || !file.close()) {
            fail_io(path, "write");
        }
        return;
    }
    replace_file(path, exists ? final_path(path) : path, content, exists ? status.st_mode & 07777 : default_mode());
}

bool output_is_terminal(const std::string &path) { return path == "-" && ::isatty(STDOUT_FILENO) != 0; }

}  // namespace ptpcfg
