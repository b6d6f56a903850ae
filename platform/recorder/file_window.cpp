// Reads a file in portions.
#include "file_window.h"

#include <errno.h>
#include <unistd.h>

#include <algorithm>

namespace vela::recorder {
namespace {

constexpr size_t portion = 65536;

}  // namespace

octets file_window::at(u_int64 offset, size_t count) {
    if (offset >= size_) {
        return {};
    }
    count = static_cast<size_t>(std::min<u_int64>(count, size_ - offset));
    if (offset < start_ || offset + count > start_ + bytes_.size()) {
        fill(offset, std::max(count, static_cast<size_t>(std::min<u_int64>(portion, size_ - offset))));
    }
    return octets(bytes_)
        .subspan(0, std::min(bytes_.size(), static_cast<size_t>(offset - start_) + count))
        .subspan(std::min(bytes_.size(), static_cast<size_t>(offset - start_)));
}

void file_window::fill(u_int64 offset, size_t count) {
    start_ = offset;
    bytes_.resize(count);
    size_t done = 0;
    while (done < count) {
        const ssize_t got = pread(file_, bytes_.data() + done, count - done, static_cast<off_t>(offset + done));
        if (got > 0) {
            done += static_cast<size_t>(got);
        } else if (got == 0 || errno != EINTR) {
            error_ = got < 0 ? errno : error_;
            break;
        }
    }
    bytes_.resize(done);
}

}  // namespace vela::recorder
