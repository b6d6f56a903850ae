// A daemon started with a file that it cannot run with.
#include "agent/supervise/configuration_trial.h"

#include <signal.h>
#include <unistd.h>

#include <utility>

namespace ptp_agent {

ConfigurationTrial::ConfigurationTrial(EventLoop &loop, const std::vector<std::string> &command, std::string path,
                                       Trial trial, std::uint64_t timeout_ms, Ended ended)
    : path_(std::move(path)), trial_(std::move(trial)), too_late_(loop, [this] { kill_late(); }) {
    ChildOptions options;
    options.hands_on_output = false;
    child_ =
        std::make_unique<ChildProcess>(loop, command, options, [this, ended = std::move(ended)](const ChildEnd &end) {
            const std::string words = refusal(end);
            is_refused_ = !words.empty();
            const Ended tell = ended;  // which may end this object
            tell(words);
        });
    too_late_.start_ms(timeout_ms);
}

ConfigurationTrial::~ConfigurationTrial() {
    if (!is_refused_) {
        unlink(path_.c_str());
    }
}

void ConfigurationTrial::kill_late() {
    is_late_ = true;
    child_->signal(SIGKILL);
}

std::string ConfigurationTrial::refusal(const ChildEnd &end) const {
    const std::string words = child_->last_words();
    const bool ended_well = !end.signalled && end.value == 0;
    if (is_late_ || ended_well || words.find(trial_.last_line) != std::string::npos) {
        return {};
    }
    return words.empty() || end.signalled ? "it " + to_text(end) : words;
}

}  // namespace ptp_agent
