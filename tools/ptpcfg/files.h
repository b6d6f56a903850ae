// Files and pipes: input that is read whole, output that appears whole.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace ptpcfg {

/** Fails with what errno says, for example "NAME: cannot open: No such file or directory". */
[[noreturn]] void fail_io(const std::string &name, const char *doing);

/** Longer ones do not travel; input that claims to be is refused before it is read. */
inline constexpr size_t longest_message = size_t{64} << 20;

/** Thrown when the reader of standard output went away, as `head` does; no fault, and nothing to be said. */
struct reader_is_gone {};

/** "-" as people say it. */
std::string input_name(const std::string &path);

/** Reads a file, or standard input for "-", to its end. */
std::string read_input(const std::string &path);

class output_file;

/**
 * A file, or standard output for "-". A regular file appears whole under its name when it is finished, or not at all;
 * one that was there before keeps its permissions. Pipes, devices and standard output are written to as blocks fill.
 */
class output_stream {
  public:
    explicit output_stream(const std::string &path);
    ~output_stream();
    output_stream(const output_stream &) = delete;
    output_stream &operator=(const output_stream &) = delete;

    void write(std::string_view content);
    /** Without it, what was not written yet is forgotten, and a regular file does not appear. */
    void finish();

  private:
    void flush();

    std::string path_;
    std::string waiting_;
    std::unique_ptr<output_file> file_;  // opened when the first block is full
};

/** Writes all of an output. */
void write_output(const std::string &path, std::string_view content);

/** Writes all to a descriptor; fails as fail_io() and reader_is_gone say. */
void write_all(int file, const std::string &name, std::string_view content);

/** Whether standard output is a terminal. */
bool output_is_terminal(const std::string &path);

}  // namespace ptpcfg
