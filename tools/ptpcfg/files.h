// Reading input whole, writing output whole or not at all.
#pragma once

#include <string>
#include <string_view>

namespace ptpcfg {

/** Input beyond this is taken for a mistake: the longest record is a thousand times smaller. */
constexpr size_t longest_input = 64u << 20;

/** "-" as people say it. */
std::string input_name(const std::string &path);

/** Reads a file, or standard input for "-". */
std::string read_input(const std::string &path);

/**
 * Writes a file, or standard output for "-". A regular file appears whole under its name or not at all; one that
 * was there before keeps its permissions.
 */
void write_output(const std::string &path, std::string_view content);

/** Whether standard output is a terminal. */
bool output_is_terminal(const std::string &path);

}  // namespace ptpcfg
