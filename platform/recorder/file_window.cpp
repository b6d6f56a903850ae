// Reads a file in portions.
#include "file_window.h"

#include <algorithm>

#include "base/file_reading.h"

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
    bytes_.resize(base::read_at(file_, bytes_.data(), count, offset, error_));
}

}  // namespace vela::recorder
