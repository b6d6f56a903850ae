// What a control plane hears of what it asked, from a real agent.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <thread>

#include "agent/intent/fields.h"
#include "agent/serve/answer_book.h"
#include "base/file_descriptor.h"
#include "ptp_agent_client.h"
#include "ptp_cfg/module.h"
#include "support/messages.h"
#include "support/network.h"
#include "support/ptp4l_process.h"
#include "support/surroundings.h"
#include "vela_bundle.h"

namespace ptp_agent::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

/** The program in a folder of its own, and a control plane that wants answers. */
class Client : public testing::Test {
  protected:
    Client() {
        std::ofstream(path("agent.toml")) << "runtime_directory = '" << path("run") << "'\nstate_directory = '"
                                          << path("state") << "'\n[[control_plane]]\nlisten = 'unix:" << path("control")
                                          << "'\n[daemon.options]\ntime_stamping = 'software'\n";
    }
    ~Client() override {
        ptp_agent_client_destroy(client_);
        vela_channel_close(channel_, nullptr);
        if (agent_ > 0) {
            ::kill(agent_, SIGTERM);
            ::waitpid(agent_, nullptr, 0);
        }
    }

    std::string path(const std::string &name) const { return folder_.path() + "/" + name; }

    void start() {
        agent_ = ::fork();
        if (agent_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            take_daemons_environment();
            const int log = ::open(path("log").c_str(), O_WRONLY | O_CREAT, 0600);
            ::dup2(log, STDERR_FILENO);
            ::dup2(log, STDOUT_FILENO);
            ::execl(PTP_AGENT, PTP_AGENT, "--config", path("agent.toml").c_str(), nullptr);
            ::_exit(127);
        }
        for (int attempt = 0; attempt < 500 && client_ == nullptr; ++attempt) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            u_int32 err = 0;
            client_ = ptp_agent_client_create(path("run/status.sock").c_str(), nullptr, 0, &err);
        }
        ASSERT_NE(client_, nullptr);
        u_int32 err = 0;
        const std::string uri = "unix:" + path("control");
        ptp_cfg_bundle_handler_register(+[](vela_handle *, u_int32, const u_int8 *, u_int32, void *) {});
        channel_ = vela_channel_connect("gable", uri.c_str(), nullptr, nullptr, 0, &err);
        ASSERT_EQ(err, 0u);
    }

    /** Sends messages in one bundle and waits for what becomes of them. */
    void ask(const std::vector<const Record *> &records) {
        u_int32 err = 0;
        vela_bundle *bundle = vela_bundle_open(handle.get(), memory_class, 65536, &err);
        for (const Record *each : records) {
            vela_bundle_add(handle.get(), memory_class, describe(each->type()).operations->marshal, each->message(),
                            &err);
        }
        const u_int8 *bytes = nullptr;
        u_int32 length = 0;
        vela_bundle_close(handle.get(), &bytes, &length, &err);
        ptp_agent_client_send(client_, channel_, bytes, length, &err);
        EXPECT_EQ(ptp_agent_client_wait(client_, handle.get(), nullptr, 8000, &err), 1u);
        EXPECT_EQ(err, 0u);
        vela_bundle_destroy(bundle);
    }
    ptp_agent_answer answer(u_int32 index) const {
        ptp_agent_answer found{};
        found.size = sizeof found;
        u_int32 err = 0;
        ptp_agent_client_get(client_, index, &found, &err);
        EXPECT_EQ(err, 0u);
        return found;
    }
    std::vector<ptp_agent_outcome> outcomes() const {
        std::vector<ptp_agent_outcome> all;
        for (u_int32 index = 0; index < ptp_agent_client_count(client_); ++index) {
            all.push_back(answer(index).outcome);
        }
        return all;
    }

    const TemporaryDirectory folder_;
    SharedHandle handle = make_handle();
    pid_t agent_ = -1;
    ptp_agent_client *client_ = nullptr;
    vela_channel *channel_ = nullptr;
};

TEST_F(Client, HearsOfEachMessageWhatBecameOfIt) {
    start();
    const Record clock = example(handle, "g8275_1_boundary_clock.xml");
    const Record burst = message(handle, "ptp_burst_mode_enable_cmd", {{"is_burst_mode_enable", 1}});
    const Record nobody = message(handle, "ptp_port_delete_cmd", {{"port_id", 9}});
    const Record report = message(handle, "ptp_clk_current_ds_msg");
    ask({&clock, &burst, &nobody, &report});
    EXPECT_THAT(outcomes(),
                ElementsAre(PTP_AGENT_APPLIED, PTP_AGENT_NOT_EXPRESSIBLE, PTP_AGENT_REFUSED, PTP_AGENT_NOT_FOR_IT));
    EXPECT_STREQ(answer(0).message, "ptp_clock_cfg");
    EXPECT_STREQ(answer(0).object, "clock 1");
    EXPECT_THAT(answer(2).text, HasSubstr("port 9: there is none"));
    Record wrong = clock.clone();
    wrong.set("default_data_set.clk_domain", 3);
    ask({&wrong});
    EXPECT_THAT(outcomes(), ElementsAre(PTP_AGENT_REFUSED));
    EXPECT_THAT(answer(0).json, HasSubstr("\"allowed\":\"24 to 43\""));
    ask({&clock});
    EXPECT_THAT(outcomes(), ElementsAre(PTP_AGENT_APPLIED)) << "and not the answer to the same bytes before";
}

TEST_F(Client, HearsThatTheDaemonRefused) {
    const std::string why = why_no_daemons();
    if (!why.empty()) {
        GTEST_SKIP() << why;
    }
    const Link link("client0", "client1");
    start();
    const Record clock = example(handle, "g8275_1_boundary_clock.xml");
    const Record good = port(handle, 1, "client0");
    ask({&clock, &good});
    EXPECT_THAT(outcomes(), ElementsAre(PTP_AGENT_APPLIED, PTP_AGENT_APPLIED)) << answer(1).text;
    Record transparent = clock.clone();  // for which one port is too few, as the daemon finds out when it is tried
    transparent.set("clk_type", 4);
    ask({&transparent});
    EXPECT_THAT(outcomes(), ElementsAre(PTP_AGENT_REFUSED)) << answer(0).text;
    EXPECT_THAT(answer(0).text, HasSubstr("does not run with this configuration"));
    Record second = clock.clone();
    second.set("default_data_set.priority2", 7);
    ask({&second});
    EXPECT_THAT(outcomes(), ElementsAre(PTP_AGENT_APPLIED)) << answer(0).text;
}

TEST_F(Client, SaysWhenNobodyOrSomebodyElseAnswers) {
    u_int32 err = 0;
    char why[200] = "";
    EXPECT_EQ(ptp_agent_client_create(path("nobody").c_str(), why, sizeof why, &err), nullptr);
    EXPECT_EQ(err, static_cast<u_int32>(ENOENT));
    EXPECT_THAT(why, HasSubstr("nobody"));

    start();
    ::kill(agent_, SIGKILL);
    ::waitpid(agent_, nullptr, 0);
    agent_ = -1;
    err = 0;
    const u_int8 bytes[1] = {};
    ptp_agent_client_send(client_, channel_, bytes, 1, &err);
    EXPECT_EQ(err, static_cast<u_int32>(ECONNREFUSED));

    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path("other").copy(address.sun_path, sizeof address.sun_path - 1);
    const base::file_descriptor other(::socket(AF_UNIX, SOCK_STREAM, 0));
    ASSERT_EQ(::bind(other.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    ::listen(other.get(), 1);
    std::thread talker([&other] {
        const base::file_descriptor peer(::accept(other.get(), nullptr, nullptr));
        char question[64];
        EXPECT_GT(::read(peer.get(), question, sizeof question), 0);
        EXPECT_EQ(::write(peer.get(), "[1, {\"last\"", 11), 11);
    });
    err = 0;
    EXPECT_EQ(ptp_agent_client_create(path("other").c_str(), why, sizeof why, &err), nullptr);
    EXPECT_EQ(err, u_int32{VELA_EINVAL});
    talker.join();
}

// ---- what the agent keeps --------------------------------------------------------------------------------------------

TEST(AnswerBook, KeepsEqualBundlesApartAndForgetsTheOldest) {
    AnswerBook book;
    const std::vector<std::uint8_t> bundle = {1, 2, 3};
    const std::string name = AnswerBook::name_of(bundle);
    book.arrived(bundle);
    EXPECT_THAT(book.json(name, 0), HasSubstr("\"state\":\"waiting\""));
    Answer applied;
    applied.has_changed = true;
    book.taken({applied});
    EXPECT_THAT(book.json(name, 0), HasSubstr("\"state\":\"waiting\"")) << "the daemon has not said yes";
    book.arrived(bundle);
    book.settle("no such interface");
    EXPECT_THAT(book.json(name, 0), HasSubstr("\"outcome\":\"refused\""));
    EXPECT_THAT(book.json(name, 0), HasSubstr("no such interface"));
    EXPECT_THAT(book.json(name, 1), HasSubstr("\"state\":\"waiting\"")) << "the second was not tried yet";
    EXPECT_THAT(book.json(name, 2), HasSubstr("\"state\":\"unknown\""));
    for (int count = 0; count < 1000; ++count) {
        book.taken({});
        book.settle({});
        book.arrived(bundle);
    }
    EXPECT_THAT(book.json(name, 0), testing::Not(HasSubstr("\"number\":1,")));
    EXPECT_EQ(book.json({}, 0), "{\"last\":1002}");
}

TEST(AnswerBook, AnswersOnlyItsOwnQuestions) {
    const AnswerBook book;
    EXPECT_EQ(answer_question(book, "answers"), "{\"last\":0}\n");
    EXPECT_THAT(answer_question(book, "answers 00000000-3 7"), HasSubstr("unknown"));
    for (const char *line : {"answer", "answers ", "answers x", "answers x y", "answers x -1", "answersx 1", ""}) {
        EXPECT_EQ(answer_question(book, line), "") << line;
    }
}

}  // namespace
}  // namespace ptp_agent::test
