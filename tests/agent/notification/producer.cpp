// Forks the service, and speaks with it over a pair of sockets.
#include "producer.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include "agent/base/event_loop.h"
#include "agent/notification/events.h"

namespace notification_test {

using namespace ptp_agent::notification;

namespace {

std::string receive(int control) {
    std::array<char, 4096> bytes{};
    const ssize_t count = recv(control, bytes.data(), bytes.size(), 0);
    return {bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
}

NodeState state_from(std::istringstream words) {
    std::string ptp, os_clock, gnss;
    int clock_class = -1;
    double offset = 0;
    words >> ptp >> clock_class >> os_clock >> gnss >> offset;
    const std::uint64_t now = wall_clock_ns();
    ClockState clock{"clock0", {}, {}, {}};
    if (ptp != "-") {
        const LockState lock = ptp == "LOCKED"     ? LockState::Locked
                               : ptp == "HOLDOVER" ? LockState::Holdover
                                                   : LockState::Freerun;
        clock.lock_state = Reading<LockState>{lock, now};
        clock.offset_ns = Reading<double>{offset, now};
    }
    if (clock_class >= 0) {
        clock.clock_class = Reading<std::uint8_t>{static_cast<std::uint8_t>(clock_class), now};
    }
    NodeState state{{clock}, {}, {}};
    if (os_clock != "-") {
        state.os_clock =
            Reading<OsClockState>{os_clock == "LOCKED" ? OsClockState::Locked : OsClockState::Freerun, now};
    }
    if (gnss != "-") {
        state.gnss = Reading<std::string>{gnss, now};
    }
    return state;
}

void serve(const Configuration &configuration, int control) {
    ptp_agent::EventLoop loop;
    NotificationService service(loop, configuration, [](const std::string &) {});
    const std::string hello = "port " + std::to_string(service.port());
    send(control, hello.data(), hello.size(), 0);
    const ptp_agent::EventSource commands = loop.watch(control, EPOLLIN, [&](std::uint32_t) {
        const std::string command = receive(control);
        std::string answer = "done";
        if (command.empty() || command == "end") {
            loop.exit(0);
        } else if (command == "statistics") {
            const Statistics statistics = service.statistics();
            answer.assign(reinterpret_cast<const char *>(&statistics), sizeof statistics);
        } else {
            service.set_state(state_from(std::istringstream(command)));
        }
        send(control, answer.data(), answer.size(), MSG_NOSIGNAL);
    });
    loop.run();
}

}  // namespace

Configuration quick_configuration() {
    Configuration configuration;
    configuration.port = 0;
    configuration.node_name = "du1";
    configuration.limits.request = std::chrono::seconds{2};
    configuration.limits.connect = std::chrono::seconds{2};
    configuration.limits.delivery = std::chrono::seconds{20};
    configuration.limits.first_retry = std::chrono::milliseconds{50};
    configuration.limits.most_retry = std::chrono::milliseconds{200};
    return configuration;
}

Producer::Producer(const Configuration &configuration) : has_tls_(!configuration.certificate_file.empty()) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::runtime_error("socketpair");
    }
    control_ = base::file_descriptor(ends[0]);
    process_ = fork();
    if (process_ == 0) {
        ::close(ends[0]);
        try {
            serve(configuration, ends[1]);
        } catch (const std::exception &error) {
            send(ends[1], error.what(), std::strlen(error.what()), 0);
        }
        _exit(0);
    }
    ::close(ends[1]);
    const std::string hello = receive(control_.get());
    if (!hello.starts_with("port ")) {
        waitpid(process_, nullptr, 0);
        throw std::runtime_error(hello);
    }
    port_ = static_cast<std::uint16_t>(std::stoi(hello.substr(5)));
}

Producer::~Producer() {
    if (process_ > 0) {
        ask("end");
        int status = 0;
        waitpid(process_, &status, 0);
        EXPECT_EQ(status, 0) << "the service did not end in order";
    }
}

std::string Producer::ask(const std::string &command) {
    send(control_.get(), command.data(), command.size(), MSG_NOSIGNAL);
    return receive(control_.get());
}

void Producer::set_state(const State &state) {
    const auto word = [](const std::string &text) { return text.empty() ? std::string("-") : text; };
    std::ostringstream command;
    command << word(state.ptp) << ' ' << state.clock_class << ' ' << word(state.os_clock) << ' ' << word(state.gnss)
            << ' ' << state.offset_ns;
    EXPECT_EQ(ask(command.str()), "done");
}

Statistics Producer::statistics() {
    const std::string answer = ask("statistics");
    Statistics statistics;
    EXPECT_EQ(answer.size(), sizeof statistics);
    std::memcpy(&statistics, answer.data(), std::min(answer.size(), sizeof statistics));
    return statistics;
}

void Producer::kill() {
    ::kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    process_ = -1;
}

std::string Producer::url(const std::string &path) const {
    return (has_tls_ ? "https://127.0.0.1:" : "http://127.0.0.1:") + std::to_string(port_) + path;
}

}  // namespace notification_test
