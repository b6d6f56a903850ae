// Restarts with back-off.
#include "agent/supervise/supervisor.h"

#include <signal.h>

#include <algorithm>
#include <array>
#include <system_error>

#include "base/clocks.h"

namespace ptp_agent {
namespace {

std::uint64_t now_ms() { return base::clock_ms(CLOCK_MONOTONIC); }

/** Who is killed, or never ran, has left no reason; what it wrote before is none. */
bool said_why(const ChildEnd &end) { return !end.signalled && end.value != 0 && end.value != cannot_run; }

}  // namespace

std::string_view to_text(ProcessState state) {
    static constexpr std::array<std::string_view, 5> names = {"stopped", "running", "stopping", "waiting", "failing"};
    return names[static_cast<std::size_t>(state)];
}

Supervisor::Supervisor(EventLoop &loop, SupervisorOptions options, Changed changed)
    : loop_(loop), options_(std::move(options)), changed_(std::move(changed)), timer_(loop, [this] { on_timer(); }) {}

void Supervisor::start(std::vector<std::string> command) {
    command_ = std::move(command);
    wanted_ = true;
    is_failing_ = false;
    ends_in_a_row_ = 0;
    if (process() != 0) {
        stop();
        wanted_ = true;
    } else {
        launch();
    }
}

void Supervisor::stop() {
    wanted_ = false;
    if (process() == 0) {
        timer_.stop();
        change(ProcessState::Stopped, "was not running");
        return;
    }
    if (state_ != ProcessState::Stopping) {
        change(ProcessState::Stopping, "is asked to end");
        child_->signal(SIGTERM);
        // One that is halted would hear nothing of it.
        child_->signal(SIGCONT);
        timer_.start_ms(options_.stop_timeout_ms);
    }
}

void Supervisor::launch() {
    ++starts_;
    started_ms_ = now_ms();
    try {
        child_ = std::make_unique<ChildProcess>(loop_, command_, options_.child,
                                                [this](const ChildEnd &end) { ended(end); });
    } catch (const std::system_error &error) {
        last_end_ = error.what();
        ended_by_itself({false, cannot_run});
        return;
    }
    timer_.start_ms(options_.stable_ms);
    if (!is_failing_) {
        change(ProcessState::Running, "was started");
    }
}

void Supervisor::ended(const ChildEnd &end) {
    timer_.stop();
    if (state_ == ProcessState::Stopping) {
        if (wanted_) {
            launch();
        } else {
            change(ProcessState::Stopped, to_text(end));
        }
        return;
    }
    ended_by_itself(end);
}

void Supervisor::ended_by_itself(const ChildEnd &end) {
    ++failures_;
    ++ends_in_a_row_;
    last_end_ = to_text(end);
    if (said_why(end)) {
        const std::string words = child_->last_words();
        last_end_ += words.empty() ? "" : ": " + words;
    }
    const unsigned doublings = std::min(ends_in_a_row_ - 1, 20u);
    std::uint64_t wait = std::min(options_.first_wait_ms << doublings, options_.longest_wait_ms);
    if (ends_in_a_row_ >= options_.failing_after) {
        wait = options_.longest_wait_ms;
    }
    timer_.start_ms(wait);
    if (ends_in_a_row_ < options_.failing_after) {
        change(ProcessState::Waiting, last_end_ + "; starts again in " + std::to_string(wait) + " ms");
    } else if (!is_failing_) {
        is_failing_ = true;
        change(ProcessState::Failing, last_end_ + ", " + std::to_string(ends_in_a_row_) +
                                          " times in a row; is tried every " + std::to_string(wait) + " ms");
    }
}

void Supervisor::on_timer() {
    if (state_ == ProcessState::Stopping) {
        child_->signal(SIGKILL);
        return;
    }
    if (process() == 0) {
        if (wanted_) {
            launch();
        }
        return;
    }
    ends_in_a_row_ = 0;
    if (is_failing_) {
        is_failing_ = false;
        change(ProcessState::Running, "runs again");
    }
}

void Supervisor::change(ProcessState state, const std::string &why) {
    if (state_ != state) {
        state_ = state;
        changed_(state, why);
    }
}

}  // namespace ptp_agent
