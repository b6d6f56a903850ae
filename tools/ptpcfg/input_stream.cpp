// Reads blocks ahead of what is used.
#include "input_stream.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/interruption.h"

namespace ptpcfg {
namespace {

constexpr size_t block_size = 256 * 1024;

int open_input(const std::string &path) {
    const int file = path == "-" ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                 : base::uninterrupted([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC); });
    if (file < 0) {
        fail_io(input_name(path), path == "-" ? "read" : "open");
    }
    return file;
}

}  // namespace

input_stream::input_stream(const std::string &path) : name_(input_name(path)), file_(open_input(path)) {}

std::string_view input_stream::ahead(size_t count) {
    while (buffer_.size() - begin_ < count && read_more()) {
    }
    return std::string_view(buffer_).substr(begin_);
}

void input_stream::skip(size_t count) {
    begin_ += count;
    offset_ += count;
}

void input_stream::read_as_hex() {
    hex_ = std::make_unique<hex_reader>(name_);
    std::string digits;
    digits.swap(buffer_);
    hex_->take(digits, buffer_);
}

/** Reads a block behind what is there; false at the end. */
bool input_stream::read_more() {
    buffer_.erase(0, begin_);
    begin_ = 0;
    std::string digits;
    std::string &target = hex_ ? digits : buffer_;
    const size_t there = target.size();
    target.resize(there + block_size);
    ssize_t count = -1;
    do {
        count = ::read(file_.get(), target.data() + there, block_size);
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        fail_io(name_, "read");
    }
    target.resize(there + static_cast<size_t>(count));
    if (hex_) {
        count == 0 ? hex_->finish() : hex_->take(digits, buffer_);
    }
    return count > 0;
}

}  // namespace ptpcfg
