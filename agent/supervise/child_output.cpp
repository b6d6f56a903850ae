// A pipe to the agent, without waiting on either side.
#include "agent/supervise/child_output.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <system_error>

namespace ptp_agent {
namespace {

constexpr std::size_t most_kept = 1024;
constexpr std::size_t lines_told = 2;
/** What a pipe takes at once when it says that it takes something. */
constexpr std::size_t most_at_once = 4096;

void hand_on_to_own_output(std::string_view text) {
    pollfd own = {STDOUT_FILENO, POLLOUT, 0};
    if (poll(&own, 1, 0) == 1 && own.revents == POLLOUT) {
        (void)!write(STDOUT_FILENO, text.data(), text.size());
    }
}

}  // namespace

ChildOutput::ChildOutput(EventLoop &loop, bool hands_on) : hands_on_(hands_on) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "make a pipe for a program's output");
    }
    reading_ = base::file_descriptor(ends[0]);
    writing_ = base::file_descriptor(ends[1]);
    readable_ = loop.watch(reading_.get(), EPOLLIN, [this](std::uint32_t) { read(); });
}

void ChildOutput::read() {
    char text[most_at_once];
    // Bounded, so that one who writes all the time does not keep the loop: twice what a pipe holds.
    for (int i = 0; i < 32 && reading_; ++i) {
        const ssize_t count = ::read(reading_.get(), text, sizeof text);
        if (count > 0) {
            take({text, static_cast<std::size_t>(count)});
        } else if (count < 0 && errno == EAGAIN) {
            return;
        } else if (count == 0 || errno != EINTR) {
            readable_.reset();
            reading_ = base::file_descriptor();
        }
    }
}

void ChildOutput::take(std::string_view text) {
    if (hands_on_) {
        hand_on_to_own_output(text);
    }
    last_.append(text);
    if (last_.size() > most_kept) {
        last_.erase(0, last_.size() - most_kept);
    }
}

std::string ChildOutput::last_words() const {
    std::string words;
    std::size_t lines = 0;
    for (std::size_t end = last_.size(); end > 0 && lines < lines_told;) {
        const std::size_t before = last_.rfind('\n', end - 1);
        const std::size_t start = before == std::string::npos ? 0 : before + 1;
        if (start < end) {
            words = last_.substr(start, end - start) + (words.empty() ? "" : "; ") + words;
            ++lines;
        }
        end = before == std::string::npos ? 0 : before;
    }
    return words;
}

}  // namespace ptp_agent
