// Writes to a file without a name, and links it when it is whole.
#include "output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "base/blocked_signals.h"
#include "base/interruption.h"

namespace ptpcfg {
namespace {

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

/** The name by which a file without one can be linked. */
std::string own_path(const base::file_descriptor &file) { return "/proc/self/fd/" + std::to_string(file.get()); }

/** Gives `make` hidden names until it succeeds with one that is free; the name, or an empty text with errno. */
template <typename maker>
std::string with_hidden_name(const std::string &folder, maker make) {
    constexpr int most_attempts = 1000;
    const std::string begin = folder + ".ptpcfg-" + std::to_string(::getpid()) + "-";
    for (int attempt = 0; attempt < most_attempts; ++attempt) {
        std::string name = begin + std::to_string(attempt);
        if (make(name)) {
            return name;
        }
        if (errno != EEXIST) {
            break;
        }
    }
    return "";
}

/** What a signal that ends the process is to remove; empty: nothing. */
char doomed[PATH_MAX];

void remove_doomed(int signal) {
    ::unlink(doomed);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void remove_at_signals(const std::string &path) {
    std::snprintf(doomed, sizeof doomed, "%s", path.c_str());
    for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGXCPU}) {
        // One that is ignored, as under nohup, stays ignored.
        if (const auto before = std::signal(signal, remove_doomed); before != SIG_DFL) {
            std::signal(signal, before);
        }
    }
}

int open_target(const std::string &path) {
    return base::uninterrupted([&] { return ::open(path.c_str(), O_WRONLY | O_CLOEXEC); });
}

int open_without_name(const std::string &folder) {
    const char *place = folder.empty() ? "." : folder.c_str();
    return base::uninterrupted([=] { return ::open(place, O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666); });
}

}  // namespace

output_file::output_file(const std::string &path) : name_(path), target_(path) {
    struct stat status {};
    exists_ = ::stat(path.c_str(), &status) == 0;
    is_regular_ = !exists_ || S_ISREG(status.st_mode);
    if (!is_regular_) {
        file_ = base::file_descriptor(open_target(path));
        if (!file_) {
            fail_io(name_, "open");
        }
        return;
    }
    if (exists_) {
        target_ = final_path(path);
        mode_ = status.st_mode & 07777;
    }
    const size_t slash = target_.rfind('/');
    folder_ = slash == std::string::npos ? "" : target_.substr(0, slash + 1);
    file_ = base::file_descriptor(open_without_name(folder_));
    if (!file_ || ::access(own_path(file_).c_str(), F_OK) != 0) {
        open_named();
    }
}

output_file::~output_file() {
    if (!hidden_.empty()) {
        ::unlink(hidden_.c_str());
        doomed[0] = 0;
    }
}

/** For file systems that have no files without a name, and where /proc, by which one gets a name, is missing. */
void output_file::open_named() {
    const base::blocked_signals undisturbed;
    hidden_ = with_hidden_name(folder_, [this](const std::string &name) {
        file_ = base::file_descriptor(::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
        return static_cast<bool>(file_);
    });
    if (hidden_.empty()) {
        fail_io(name_, "create");
    }
    remove_at_signals(hidden_);
}

void output_file::write(std::string_view content) { write_all(file_.get(), name_, content); }

bool output_file::link_to(const std::string &name) const {
    return ::linkat(AT_FDCWD, own_path(file_).c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

void output_file::finish() {
    if (is_regular_) {
        if (exists_ && ::fchmod(file_.get(), mode_) != 0) {
            fail_io(name_, "write");
        }
        if (exists_ || !hidden_.empty() || !link_to(target_)) {
            replace_target();
        }
    }
    close();
}

void output_file::close() {
    if (file_ && !file_.close()) {
        fail_io(name_, "write");
    }
}

/** A link does not replace a file, but a new name does: for that moment the file has a hidden one. */
void output_file::replace_target() {
    const base::blocked_signals undisturbed;
    if (hidden_.empty()) {
        hidden_ = with_hidden_name(folder_, [this](const std::string &name) { return link_to(name); });
    } else {
        close();
    }
    if (hidden_.empty() || ::rename(hidden_.c_str(), target_.c_str()) != 0) {
        fail_io(name_, "write");
    }
    hidden_.clear();
    doomed[0] = 0;
}

}  // namespace ptpcfg
