// shell: commands from a terminal or a script, while messages of the peer arrive.
#include <poll.h>
#include <unistd.h>

#include "commands.h"
#include "conversation.h"
#include "failure.h"
#include "files.h"
#include "line_editor.h"
#include "signals.h"
#include "terminal.h"

namespace ptpcfg {
namespace {

class shell_session {
  public:
    explicit shell_session(const shell_options &options)
        : conversation_(options.channel, [this](const std::string &text) { show(text); }),
          editor_("ptpcfg> ",
                  [this](const std::string &line, size_t begin) { return conversation_.completions(line, begin); }) {}

    void run() {
        end_at_signals();
        while (!stopped() && is_open_) {
            if (const std::optional<std::string> line = editor_.next()) {
                do_line(*line);
            } else if (editor_.is_at_end()) {
                break;
            } else {
                wait();
            }
        }
        conversation_.finish();
    }

  private:
    void show(const std::string &text) {
        editor_.is_interactive() ? editor_.show(text) : write_all(STDOUT_FILENO, "standard output", text);
    }

    /** A fault ends a script, and is told on a terminal. */
    void do_line(const std::string &line) try {
        ++number_;
        is_open_ = conversation_.run(line);
    } catch (const failure &error) {
        if (!editor_.is_interactive()) {
            throw failure(error.code(), "line " + std::to_string(number_) + ": " + error.what());
        }
        show(painted("error: ", colour::red, STDOUT_FILENO) + error.what() + "\n");
    }

    /** Waits for what is typed and for the peer. */
    void wait() {
        constexpr int longest_ms = 100;  // connecting again, too, needs its turn
        pollfd watched[] = {{STDIN_FILENO, POLLIN, 0}, {conversation_.fd(), POLLIN, 0}};
        ::poll(watched, 2, longest_ms);
        conversation_.serve();
        if ((watched[0].revents & (POLLIN | POLLHUP | POLLERR | POLLNVAL)) != 0) {
            editor_.read();
        }
    }

    conversation conversation_;
    line_editor editor_;
    size_t number_ = 0;
    bool is_open_ = true;
};

}  // namespace

void shell(const shell_options &options) { shell_session(options).run(); }

}  // namespace ptpcfg
