// Names, checks and renames the files of a recording.
#include "file_series.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "base/file_reading.h"
#include "record_format.h"

namespace vela::recorder {
namespace {

bool exists(const std::string &name) {
    struct stat status {};
    return lstat(name.c_str(), &status) == 0;
}

/** Whether a file begins as a recording, or was cut off before it could; if not, why. */
bool begins_as_recording(const std::string &name, unsigned allowed, const char *&why) {
    const base::opened_file opened = base::open_regular(name.c_str(), O_RDONLY, allowed);
    u_int8 bytes[VELA_RECORDING_HEADER];
    int error = 0;
    const size_t count = opened ? base::read_at(opened.file.get(), bytes, sizeof bytes, 0, error) : 0;
    why = opened.refusal != nullptr ? opened.refusal : "it is no recording, or cannot be read";
    return opened && error == 0 && std::equal(bytes, bytes + count, file_header.begin());
}

int renamed(const std::string &from, const std::string &to) {
    return rename(from.c_str(), to.c_str()) == 0 || errno == ENOENT ? 0 : errno;
}

int removed(const std::string &name) { return unlink(name.c_str()) == 0 || errno == ENOENT ? 0 : errno; }

}  // namespace

std::string file_name(const std::string &path, u_int32 number) {
    return number == 0 ? path : path + "." + std::to_string(number);
}

bool check_older_files(const std::string &path, unsigned allowed, failure &why) {
    for (u_int32 number = 1; number < VELA_RECORDER_MOST_FILES; ++number) {
        const std::string name = file_name(path, number);
        const char *reason = nullptr;
        if (exists(name) && !begins_as_recording(name, allowed, reason)) {
            why = {VELA_EINVAL, name + ": is in the way: " + reason};
            return false;
        }
    }
    return true;
}

int turn_over(const std::string &path, u_int32 kept) {
    for (u_int32 number = kept; number < VELA_RECORDER_MOST_FILES; ++number) {
        if (const int code = removed(file_name(path, number)); code != 0) {
            return code;
        }
    }
    if (kept == 1) {
        return removed(path);
    }
    // A gap, as an ended process may have left it, is filled; without one the oldest file is replaced.
    u_int32 free = 1;
    while (free < kept - 1 && exists(file_name(path, free))) {
        ++free;
    }
    for (u_int32 number = free; number > 0; --number) {
        if (const int code = renamed(file_name(path, number - 1), file_name(path, number)); code != 0) {
            return code;
        }
    }
    return 0;
}

}  // namespace vela::recorder
