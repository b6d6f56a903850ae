// Reads and writes files, pipes and standard streams.
#include "files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "failure.h"
#include "input_stream.h"
#include "output_file.h"

namespace ptpcfg {
namespace {

constexpr size_t block_size = 256 * 1024;

}  // namespace

void fail_io(const std::string &name, const char *doing) {
    throw failure(exit_code::io, name + ": cannot " + doing + ": " + std::strerror(errno));
}

void write_all(int file, const std::string &name, std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = ::write(file, content.data(), content.size());
        if (written < 0 && errno != EINTR) {
            if (errno == EPIPE && file == STDOUT_FILENO) {
                throw reader_is_gone();
            }
            fail_io(name, "write");
        }
        content.remove_prefix(written > 0 ? static_cast<size_t>(written) : 0);
    }
}

std::string input_name(const std::string &path) { return path == "-" ? "standard input" : path; }

std::string read_input(const std::string &path) {
    input_stream input(path);
    return std::string(input.ahead(std::string::npos));
}

output_stream::output_stream(const std::string &path) : path_(path) {}

output_stream::~output_stream() = default;

void output_stream::write(std::string_view content) {
    waiting_ += content;
    if (waiting_.size() >= block_size) {
        flush();
    }
}

void output_stream::flush() {
    if (path_ == "-") {
        write_all(STDOUT_FILENO, "standard output", waiting_);
    } else {
        if (file_ == nullptr) {
            file_ = std::make_unique<output_file>(path_);
        }
        file_->write(waiting_);
    }
    waiting_.clear();
}

void output_stream::finish() {
    flush();
    if (file_ != nullptr) {
        file_->finish();
    }
}

void write_output(const std::string &path, std::string_view content) {
    output_stream output(path);
    output.write(content);
    output.finish();
}

bool output_is_terminal(const std::string &path) { return path == "-" && ::isatty(STDOUT_FILENO) != 0; }

}  // namespace ptpcfg
