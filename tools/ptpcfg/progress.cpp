// Draws the bar.
#include "progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace ptpcfg {

progress::progress() : is_terminal_(::isatty(STDERR_FILENO) != 0), next_(clock::now()) {}

/** The last state stays to be read. */
progress::~progress() {
    if (is_drawn_) {
        std::fputc('\n', stderr);
    }
}

void progress::show(double fraction, u_int64 messages) {
    if (is_terminal_ && clock::now() >= next_) {
        draw(fraction, messages);
    }
}

void progress::draw(double fraction, u_int64 messages) {
    if (!is_terminal_) {
        return;
    }
    constexpr size_t width = 40;
    const double bounded = std::clamp(fraction, 0.0, 1.0);
    const auto filled = static_cast<size_t>(bounded * width);
    std::fprintf(stderr, "\r[%s%s] %3d%% %llu messages", std::string(filled, '#').c_str(),
                 std::string(width - filled, '.').c_str(), static_cast<int>(bounded * 100),
                 static_cast<unsigned long long>(messages));
    std::fflush(stderr);
    is_drawn_ = true;
    next_ = clock::now() + std::chrono::milliseconds(100);
}

void progress::clear() {
    if (is_drawn_) {
        std::fputs("\r\033[K", stderr);
        is_drawn_ = false;
    }
}

}  // namespace ptpcfg
