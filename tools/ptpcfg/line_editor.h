// Lines that people or scripts type, while other things go on.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ptpcfg {

class line_editor {
  public:
    /** What can stand in place of a line's last word, which begins at `begin`. */
    using complete_fn = std::function<std::vector<std::string>(const std::string &line, size_t begin)>;

    /** On a terminal, with a prompt, editing, history and completion where the build has them; else plain lines. */
    line_editor(const std::string &prompt, complete_fn complete);
    ~line_editor();
    line_editor(const line_editor &) = delete;
    line_editor &operator=(const line_editor &) = delete;

    bool is_interactive() const { return is_interactive_; }
    /** Reads what is there, without waiting more than it takes to become readable. */
    void read();
    /** The next whole line. */
    std::optional<std::string> next();
    /** Whether there is no more to come. */
    bool is_at_end() const { return is_at_end_; }
    /** Writes a text above the line that is being typed. */
    void show(const std::string &text);

  private:
    void read_plain();

    bool is_interactive_;
    bool is_at_end_ = false;
    std::string waiting_;
    std::vector<std::string> lines_;
};

}  // namespace ptpcfg
