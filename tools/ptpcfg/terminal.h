// What is known of the terminal: its width, and whether it shows colours.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ptpcfg {

enum class colour { red, green, yellow, cyan, bold };

/** Whether a descriptor shows colours: a terminal that can, unless NO_COLOR is set. */
bool shows_colours(int descriptor);

/** The text in a colour where the descriptor shows colours, else as it is. */
std::string painted(std::string_view text, colour colour, int descriptor);

/** Characters of a line: what $COLUMNS says, else the terminal; 0 where standard output is no terminal. */
size_t line_width();

/** Lines of the terminal that standard output is; 0 where it is none. */
size_t screen_height();

/**
 * A text in lines of at most `width` characters, broken at blanks; those behind the first are indented. Line feeds
 * stay. With a width of 0 nothing is broken.
 */
std::string wrapped(std::string_view text, size_t width, size_t indent = 0);

}  // namespace ptpcfg
