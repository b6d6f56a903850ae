// Asks the terminal, and breaks lines for it.
#include "terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace ptpcfg {
namespace {

constexpr const char *codes[] = {"31", "32", "33", "36", "1"};

winsize size_of_screen() {
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) {
        size = {};
    }
    return size;
}

/** Where a line ends that begins at 0: the last blank that fits, or the first one at all. */
size_t break_of(std::string_view line, size_t room) {
    if (line.size() <= room) {
        return line.size();
    }
    const size_t fitting = line.rfind(' ', room);
    const bool is_blank = fitting == std::string_view::npos || line.find_first_not_of(' ') > fitting;
    return is_blank ? std::min(line.find(' ', std::min(room, line.size())), line.size()) : fitting;
}

/** Adds one line, in as many as it takes. */
void append_wrapped(std::string_view line, size_t width, size_t indent, std::string &text) {
    size_t room = width;
    for (;;) {
        const size_t end = break_of(line, room);
        text += line.substr(0, line.find_last_not_of(' ', end) + 1);
        line.remove_prefix(end);
        line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
        if (line.empty()) {
            return;
        }
        text += "\n" + std::string(indent, ' ');
        room = width - indent;
    }
}

}  // namespace

bool shows_colours(int descriptor) {
    const char *refused = std::getenv("NO_COLOR");
    const char *kind = std::getenv("TERM");
    return (refused == nullptr || *refused == '\0') && kind != nullptr && std::string_view(kind) != "dumb" &&
           ::isatty(descriptor) != 0;
}

std::string painted(std::string_view text, colour colour, int descriptor) {
    if (!shows_colours(descriptor)) {
        return std::string(text);
    }
    return std::string("\033[") + codes[static_cast<int>(colour)] + "m" + std::string(text) + "\033[0m";
}

size_t line_width() {
    constexpr size_t least = 40;
    const char *said = std::getenv("COLUMNS");
    const size_t columns = said != nullptr ? std::strtoul(said, nullptr, 10) : 0;
    const size_t width = columns != 0 ? columns : ::isatty(STDOUT_FILENO) != 0 ? size_of_screen().ws_col : 0;
    return width == 0 ? 0 : std::max(width, least);
}

size_t screen_height() { return ::isatty(STDOUT_FILENO) != 0 ? size_of_screen().ws_row : 0; }

std::string wrapped(std::string_view text, size_t width, size_t indent) {
    if (width <= indent + 1) {
        return std::string(text);
    }
    std::string result;
    for (size_t at = 0; at <= text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        append_wrapped(text.substr(at, end - at), width, indent, result);
        result += end < text.size() ? "\n" : "";
        at = end + 1;
    }
    return result;
}

}  // namespace ptpcfg
