// ptp_fleet run against a real server: everything that elements say is kept once, whoever is killed when.
#include <random>

#include "base/clocks.h"
#include "collector_process.h"

namespace {

using namespace std::chrono_literals;

bool is_long() { return std::getenv("PTP_FLEET_SOAK") != nullptr; }

class Collect : public testing::Test {
  protected:
    void SetUp() override {
        if (!test::nats_server::is_installed()) {
            GTEST_SKIP() << "nats-server is not installed";
        }
        server_ = std::make_unique<test::nats_server>();
        ASSERT_EQ(std::system((PTP_FLEET " prepare " + server_->uri("ptp")).c_str()), 0);
        configure("main", "fleet.db", "");
    }
    void TearDown() override {
        if (HasFailure()) {
            std::ifstream log(folder_.path + "/log");
            std::cout << std::string(std::istreambuf_iterator<char>(log), {});
        }
    }

    std::string configure(const std::string &name, const std::string &database, const std::string &more) {
        const std::string file = folder_.path + "/" + name + ".toml";
        std::ofstream(file) << "uri = \"" << server_->uri("ptp") << "\"\nname = \"" << name << "\"\ndatabase = \""
                            << folder_.path << "/" << database << "\"\ncheckpoint = 3\nlease = 2\n"
                            << more << "[serve]\nlisten = \"\"\n";
        return file;
    }
    std::unique_ptr<test::process> collector(const std::string &name = "main", rlim_t most_bytes = RLIM_INFINITY) {
        return std::make_unique<test::process>(
            std::vector<std::string>{PTP_FLEET, "run", "--config", folder_.path + "/" + name + ".toml"},
            folder_.path + "/log", most_bytes);
    }
    std::unique_ptr<test::process> elements(int count, int seconds, double speed) {
        return std::make_unique<test::process>(
            std::vector<std::string>{PTP_FLEET, "simulate", "--elements", std::to_string(count), "--seconds",
                                     std::to_string(seconds), "--speed", std::to_string(speed), "--to",
                                     server_->uri("ptp")},
            folder_.path + "/log");
    }
    std::string store() const { return folder_.path + "/fleet.db"; }
    std::string log() const {
        std::ifstream file(folder_.path + "/log");
        return {std::istreambuf_iterator<char>(file), {}};
    }
    bool has_logged(const std::string &text) const { return log().find(text) != std::string::npos; }

    /** Each message of the stream is in the store once, and nothing else is. */
    void expect_everything_once() {
        const test::stream all(*server_, "ptp.>", "PTP");
        const auto ids = all.ids();
        ASSERT_TRUE(test::wait_until([&] { return test::stored_count(store()) >= ids.size(); }, 60s))
            << test::stored_count(store()) << " of " << ids.size();
        const test::stored kept = test::read_store(store());
        std::size_t wrong = 0;
        for (const auto &[id, count] : ids) {
            const auto found = kept.taken.find(id);
            wrong += found == kept.taken.end() || found->second != 1 ? 1 : 0;
        }
        EXPECT_EQ(wrong, 0u) << "are missing or kept twice";
        EXPECT_EQ(kept.taken.size(), ids.size());
    }

    test::scratch_folder folder_;
    std::unique_ptr<test::nats_server> server_;
};

TEST_F(Collect, KeepsEachMessageOnceWhileServerAndCollectorsAreKilled) {
    std::mt19937 random(7);
    const auto a_while = [&] { return std::chrono::milliseconds(300 + random() % 900); };
    const int seconds = is_long() ? 60 : 6;
    const auto source = elements(is_long() ? 5000 : 1000, seconds, 1);
    std::vector<std::unique_ptr<test::process>> workers;
    workers.push_back(collector());
    workers.push_back(collector());
    for (int round = 0; !source->has_ended(); ++round) {
        std::this_thread::sleep_for(a_while());
        if (round % 5 == 4) {
            server_->kill_hard();
            std::this_thread::sleep_for(200ms);
            server_->start();
        } else {
            auto &victim = workers[random() % workers.size()];
            victim->end(SIGKILL);
            victim = collector();
        }
    }
    ASSERT_EQ(source->wait(), 0);
    expect_everything_once();
}

TEST_F(Collect, BuriesWhatIsNoMessageWithTheReason) {
    const auto worker = collector();
    const test::stream dead(*server_, "ptp-dead.>", "PTP-DEAD");
    natsConnection *connection = nullptr;
    jsCtx *context = nullptr;
    ASSERT_EQ(natsConnection_ConnectTo(&connection, ("nats://" + server_->address()).c_str()), NATS_OK);
    ASSERT_EQ(natsConnection_JetStream(&context, connection, nullptr), NATS_OK);
    const auto publish = [&](const std::string &subject, const std::string &id, const std::string &bytes) {
        jsPubOptions options;
        jsPubOptions_Init(&options);
        options.MsgId = id.empty() ? nullptr : id.c_str();
        EXPECT_EQ(js_Publish(nullptr, context, subject.c_str(), bytes.data(), static_cast<int>(bytes.size()), &options,
                             nullptr),
                  NATS_OK);
    };
    publish("ptp.tower7.0.ptp_clk_current_ds_msg", "a-1", "no message at all");
    publish("ptp.tower7.0.ptp_clk_current_ds_msg", "a-2", "");
    publish("ptp.tower7.0.ptp_clk_current_ds_msg", "", "x");
    publish("ptp.tower7", "a-3", "x");
    EXPECT_TRUE(test::wait_until([&] { return dead.count() == 4; })) << dead.count();
    jsCtx_Destroy(context);
    natsConnection_Destroy(connection);
    ASSERT_EQ(elements(5, 3, 0)->wait(), 0);
    EXPECT_TRUE(test::wait_until([&] { return test::read_store(store()).taken.size() >= 15; }))
        << "it goes on after them";
    EXPECT_EQ(test::read_store(store()).refused, (std::map<std::string, int>{{"a-1", 1}, {"a-2", 1}}));
}

TEST_F(Collect, StandsByAndTakesOverWithinSecondsOfTheFirstOnesDeath) {
    auto first = collector();
    ASSERT_TRUE(test::wait_until([&] { return has_logged("reads nats"); }));
    const auto second = collector();
    ASSERT_TRUE(test::wait_until([&] { return has_logged("stands by"); }));
    ASSERT_EQ(elements(20, 5, 0)->wait(), 0);
    ASSERT_TRUE(test::wait_until([&] { return test::stored_count(store()) >= 100; }));
    const auto died = std::chrono::steady_clock::now();
    first->end(SIGKILL);
    ASSERT_EQ(elements(20, 5, 0)->wait(), 0);
    expect_everything_once();
    EXPECT_LT(std::chrono::steady_clock::now() - died, 10s);
    EXPECT_EQ(second->end(SIGTERM), 0);
}

TEST_F(Collect, LetsGoOfTheStoreWhenItWasStoppedAndAnotherTookOver) {
    const auto first = collector();
    ASSERT_TRUE(test::wait_until([&] { return has_logged("reads nats"); }));
    kill(first->pid(), SIGSTOP);
    const auto second = collector();
    ASSERT_TRUE(test::wait_until([&] { return log().find("reads nats") != log().rfind("reads nats"); }));
    kill(first->pid(), SIGCONT);
    EXPECT_TRUE(test::wait_until([&] { return first->has_ended(); }));
    EXPECT_EQ(first->wait(), 1);
    ASSERT_EQ(elements(20, 5, 0)->wait(), 0);
    expect_everything_once();
}

TEST_F(Collect, LosesNothingWhileTheDiskIsFull) {
    constexpr rlim_t little = 300'000;
    const auto worker = collector("main", little);
    const auto source = elements(1000, is_long() ? 30 : 6, 1);
    ASSERT_TRUE(test::wait_until([&] { return has_logged("nothing is lost"); }));
    ASSERT_EQ(source->wait(), 0);
    EXPECT_FALSE(worker->has_ended());
    const rlimit none = {RLIM_INFINITY, RLIM_INFINITY};
    ASSERT_EQ(prlimit(worker->pid(), RLIMIT_FSIZE, &none, nullptr), 0);
    expect_everything_once();
}

TEST_F(Collect, CopiesTheStoreWhileItIsWrittenAndRefusesADamagedCopy) {
    const auto worker = collector();
    const auto source = elements(500, 6, 1);
    ASSERT_TRUE(test::wait_until([&] { return test::stored_count(store()) > 1000; }));
    const std::string copy = folder_.path + "/copy.db", back = folder_.path + "/back.db";
    ASSERT_EQ(std::system((PTP_FLEET " backup " + store() + " " + copy).c_str()), 0);
    EXPECT_NE(std::system((PTP_FLEET " backup " + store() + " " + copy + " 2>/dev/null").c_str()), 0) << "overwrites";
    ASSERT_EQ(std::system((PTP_FLEET " restore " + copy + " " + back).c_str()), 0);
    ASSERT_EQ(source->wait(), 0);
    // With the same name it goes on in the stream, and with the copy where that was: what came since is in neither.
    const auto kept = test::read_store(back);
    EXPECT_GT(kept.taken.size(), 1000u);
    for (const auto &[id, count] : kept.taken) {
        EXPECT_EQ(count, 1) << id;
    }
    std::filesystem::resize_file(copy, std::filesystem::file_size(copy) / 2);
    EXPECT_NE(std::system((PTP_FLEET " restore " + copy + " " + folder_.path + "/other.db 2>/dev/null").c_str()), 0);
    EXPECT_FALSE(std::filesystem::exists(folder_.path + "/other.db"));
}

}  // namespace
