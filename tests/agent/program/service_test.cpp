// The agent as a service: what it tells the service manager, what it reads again, and its metrics over HTTP.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "base/file_descriptor.h"
#include "support/agent_process.h"
#include "support/ptp4l_process.h"
#include "support/surroundings.h"

namespace ptp_agent {
namespace {

using test::AgentProcess;
using testing::HasSubstr;

/** The end of NOTIFY_SOCKET that a service manager holds. */
class ServiceManager {
  public:
    explicit ServiceManager(const std::string &path) : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(socket_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        const timeval patience = {5, 0};
        setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        setenv("NOTIFY_SOCKET", path.c_str(), 1);
    }
    ~ServiceManager() { unsetenv("NOTIFY_SOCKET"); }

    /** Waits until the service says it; false after five silent seconds, or a hundred other lines. */
    bool hears(const std::string &what) const {
        char text[1024];
        for (int i = 0; i < 100; ++i) {
            const ssize_t length = recv(socket_.get(), text, sizeof text, 0);
            if (length < 0) {
                return false;
            }
            if (std::string_view(text, static_cast<std::size_t>(length)).find(what) != std::string_view::npos) {
                return true;
            }
        }
        return false;
    }

  private:
    base::file_descriptor socket_;
};

class Service : public testing::Test {
  protected:
    void SetUp() override {
        const std::string why_not = test::why_no_daemons();
        if (!why_not.empty()) {
            GTEST_SKIP() << why_not;
        }
    }

    static std::string http(std::uint16_t port, const std::string &request) {
        const base::file_descriptor made(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(made.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
            send(made.get(), request.data(), request.size(), MSG_NOSIGNAL) < 0) {
            return "no connection";
        }
        std::string answer;
        char part[4096];
        for (ssize_t count; (count = recv(made.get(), part, sizeof part, 0)) > 0;) {
            answer.append(part, static_cast<std::size_t>(count));
        }
        return answer;
    }

    test::TemporaryDirectory directory_;
};

TEST_F(Service, TellsTheServiceManagerOfItsLife) {
    const ServiceManager manager(directory_.path() + "/notify");
    setenv("WATCHDOG_USEC", "300000", 1);
    AgentProcess agent(directory_.path(), "agent");
    ASSERT_TRUE(agent.start()) << agent.log();
    unsetenv("WATCHDOG_USEC");
    EXPECT_TRUE(manager.hears("READY=1"));
    EXPECT_TRUE(manager.hears("STATUS="));
    EXPECT_TRUE(manager.hears("WATCHDOG=1"));
    EXPECT_TRUE(manager.hears("WATCHDOG=1")) << "again and again";
    agent.signal(SIGHUP);
    EXPECT_TRUE(manager.hears("RELOADING=1"));
    EXPECT_TRUE(manager.hears("READY=1"));
    agent.signal(SIGTERM);
    EXPECT_TRUE(manager.hears("STOPPING=1"));
}

TEST_F(Service, ReadsItsConfigurationAgainAndKeepsTheOldOneOverABadOne) {
    AgentProcess agent(directory_.path(), "agent");
    ASSERT_TRUE(agent.start()) << agent.log();
    std::ofstream(agent.folder() + "/agent.toml", std::ios::app) << "[nonsense]\n";
    agent.signal(SIGHUP);
    for (int i = 0; i < 300 && agent.ask("events").find("nonsense") == std::string::npos; ++i) {
        usleep(10'000);
    }
    EXPECT_THAT(agent.ask("events"), HasSubstr("the configuration stays as it was"));
    EXPECT_EQ(agent.end(SIGTERM), 0);
    EXPECT_FALSE(agent.start()) << "at the start it is an error";
    EXPECT_THAT(agent.log(), HasSubstr("nonsense"));
}

TEST_F(Service, ServesMetricsOverHttpToWhoAsksProperly) {
    AgentProcess agent(directory_.path(), "agent", "[status]\nmetrics = \"127.0.0.1:9162\"\n");
    ASSERT_TRUE(agent.start()) << agent.log();
    const std::string answer = http(9162, "GET /metrics HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_THAT(answer, HasSubstr("HTTP/1.1 200"));
    EXPECT_THAT(answer, HasSubstr("# TYPE ptp_agent_"));
    EXPECT_THAT(http(9162, "GET /etc/passwd HTTP/1.1\r\n\r\n"), HasSubstr(" 404 "));
    EXPECT_THAT(http(9162, "POST /metrics HTTP/1.1\r\n\r\n"), testing::Not(HasSubstr(" 200 ")));
    EXPECT_THAT(http(9162, std::string(100'000, 'x') + "\r\n\r\n"), testing::Not(HasSubstr(" 200 ")));
    EXPECT_THAT(http(9162, "GET /metrics HTTP/1.1\r\n\r\n"), HasSubstr(" 200 ")) << "it still serves";
}

}  // namespace
}  // namespace ptp_agent
