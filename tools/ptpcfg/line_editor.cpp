// Edits lines with libedit where there is one.
#include "line_editor.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#ifdef PTPCFG_WITH_EDITOR
#include <editline/readline.h>
#endif

#include "files.h"

namespace ptpcfg {
namespace {

/** libedit's callbacks have no argument for whom they are. */
struct editing {
    line_editor::complete_fn complete;
    std::string prompt;
    std::vector<std::string> *lines = nullptr;
    bool *is_at_end = nullptr;
};

#ifdef PTPCFG_WITH_EDITOR
editing &current() {
    static editing state;
    return state;
}

void take_line(char *line) {
    const std::unique_ptr<char, decltype(&std::free)> owned(line, &std::free);
    const editing &state = current();
    if (state.lines == nullptr || state.is_at_end == nullptr) {
        return;  // nobody edits
    }
    if (line == nullptr) {
        *state.is_at_end = true;
        rl_callback_handler_remove();
        return;
    }
    if (*line != '\0') {
        add_history(line);
    }
    state.lines->emplace_back(line);
}

/** libedit asks for one match after the other, and frees each. */
char *next_match(const char *, int state) {
    static std::vector<std::string> matches;
    static size_t at = 0;
    if (state == 0) {
        const std::string line(rl_line_buffer, static_cast<size_t>(rl_point));
        const size_t blank = line.find_last_of(" =");
        const size_t begin = blank == std::string::npos ? 0 : blank + 1;
        matches = current().complete(line, begin);
        const std::string word = line.substr(begin);
        std::erase_if(matches, [&word](const std::string &match) { return !match.starts_with(word); });
        at = 0;
    }
    return at < matches.size() ? ::strdup(matches[at++].c_str()) : nullptr;
}

char **complete_word(const char *word, int, int) {
    rl_attempted_completion_over = 1;
    return rl_completion_matches(word, next_match);
}
#endif

}  // namespace

line_editor::line_editor(const std::string &prompt, complete_fn complete)
    : is_interactive_(::isatty(STDIN_FILENO) != 0 && ::isatty(STDOUT_FILENO) != 0) {
#ifdef PTPCFG_WITH_EDITOR
    if (is_interactive_) {
        current() = {std::move(complete), prompt, &lines_, &is_at_end_};
        static char breaks[] = " =";
        rl_completer_word_break_characters = breaks;
        rl_attempted_completion_function = complete_word;
        rl_callback_handler_install(current().prompt.c_str(), take_line);
    }
#else
    static_cast<void>(complete);
    if (is_interactive_) {
        write_all(STDOUT_FILENO, "standard output", prompt);
    }
#endif
}

line_editor::~line_editor() {
#ifdef PTPCFG_WITH_EDITOR
    if (is_interactive_ && !is_at_end_) {
        rl_callback_handler_remove();
    }
#endif
}

void line_editor::read() {
#ifdef PTPCFG_WITH_EDITOR
    if (is_interactive_) {
        rl_callback_read_char();
        return;
    }
#endif
    read_plain();
}

void line_editor::read_plain() {
    char block[4096];
    const ssize_t got = ::read(STDIN_FILENO, block, sizeof block);
    if (got < 0 && errno != EINTR && errno != EAGAIN) {
        fail_io("standard input", "read");
    }
    waiting_.append(block, got > 0 ? static_cast<size_t>(got) : 0);
    for (size_t end = waiting_.find('\n'); end != std::string::npos; end = waiting_.find('\n')) {
        lines_.push_back(waiting_.substr(0, end));
        waiting_.erase(0, end + 1);
    }
    if (got == 0) {
        is_at_end_ = true;
        if (!waiting_.empty()) {
            lines_.push_back(std::exchange(waiting_, {}));
        }
    }
}

std::optional<std::string> line_editor::next() {
    if (lines_.empty()) {
        return std::nullopt;
    }
    std::string line = std::move(lines_.front());
    lines_.erase(lines_.begin());
    return line;
}

void line_editor::show(const std::string &text) {
    write_all(STDOUT_FILENO, "standard output", (is_interactive_ ? "\r\033[K" : "") + text);
#ifdef PTPCFG_WITH_EDITOR
    if (is_interactive_) {
        rl_forced_update_display();
    }
#endif
}

}  // namespace ptpcfg
