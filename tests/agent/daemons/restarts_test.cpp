// Agents and daemons that end in every order and at any moment: the same clock is back, and nothing stale is told.
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "elements.h"

namespace ptp_agent::test {
namespace {

class Restarts : public RealElements {
  protected:
    void bring_up() {
        master_ = &add_grandmaster("gm");
        element_ = &add_boundary("bc");
        elements_.connect(*master_, "ptp0", *element_, "ptp0");
        ASSERT_TRUE(wait_locked(*element_, 10000)) << element_->log();
        element_->send_examples({"modify_priority.xml"});
        ASSERT_TRUE(wait_for(*element_, own_report, "priority2", "100")) << element_->log();
        asked_ = element_->ask("config")["messages"];
        ASSERT_EQ(asked_.size(), 2u);
    }

    void kill_daemon(Element &element) {
        const pid_t daemon = element.daemon_process();
        if (daemon > 0) {
            kill(daemon, SIGKILL);
        }
    }

    /** Reports from now on are those of the agent that runs now. */
    void forget_reports() {
        elements_.wait_ms(0);
        element_->forget_reports();
    }

    void expect_same(const std::string &after) {
        SCOPED_TRACE(after);
        EXPECT_TRUE(wait_locked(*element_, 15000)) << element_->log();
        // Not from reports: a daemon that is back between two polls is told of where it differs from before.
        nlohmann::json found = element_->ask()["clocks"][0]["data_sets"];
        EXPECT_EQ(found["default"]["priority2"], 100);
        EXPECT_EQ(found["parent"]["grandmaster"], "aabbcc.fffe.000220");
        EXPECT_EQ(element_->ask("config")["messages"], asked_);
        EXPECT_EQ(false_locks(*element_), 0u);
    }

    Element *master_ = nullptr, *element_ = nullptr;
    nlohmann::json asked_;
};

TEST_F(Restarts, OfAgentAndDaemonInEveryOrderLeadBackToTheSameClock) {
    bring_up();
    const auto agent = [this](int number) {
        element_->signal(number);
        forget_reports();
        element_->start();
    };
    const pid_t first = element_->daemon_process();
    agent(SIGTERM);
    expect_same("the agent ended in order");
    kill_daemon(*element_);
    forget_reports();
    expect_same("the daemon was killed");
    agent(SIGKILL);
    expect_same("the agent was killed");
    kill_daemon(*element_);
    agent(SIGKILL);
    expect_same("the daemon was killed, then the agent");
    EXPECT_NE(element_->daemon_process(), first);
    EXPECT_NE(kill(first, 0), 0) << "daemons of former agents are gone";
}

TEST_F(Restarts, AtAnyMomentLoseNothing) {
    bring_up();
    std::mt19937 random(20);
    for (int i = 0; i < 12; ++i) {
        elements_.wait_ms(random() % 500);
        Element &element = random() % 3 == 0 ? *master_ : *element_;
        if (random() % 2 == 0) {
            kill_daemon(element);
        } else {
            element.signal(SIGKILL);
            element.start();
        }
    }
    forget_reports();
    element_->signal(SIGKILL);
    element_->start();
    expect_same("twelve were killed");
}

TEST_F(Restarts, OfTheMachineBringTheClockBackAndNoOldNews) {
    bring_up();
    const pid_t daemon = element_->daemon_process();
    element_->signal(SIGKILL);
    kill(daemon, SIGKILL);
    // What is below /run is gone, what is below /var is not.
    for (const auto &entry : std::filesystem::directory_iterator(element_->folder())) {
        if (entry.path().filename() != "state") {
            std::filesystem::remove_all(entry.path());
        }
    }
    forget_reports();
    element_->start();
    expect_same("the machine was started");
    for (const Report &report : element_->reports()) {
        if (report.name() == clock_report && report.told("clock_state")) {
            EXPECT_NE(report.told("clock_state"), locked) << "the first state is of now, not of before";
            break;
        }
    }
}

TEST_F(Restarts, FindTheFormerConfigurationWhereTheDiskWasFull) {
    // In a view of the file systems of its own, which ends with this program.
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        GTEST_SKIP() << "mounts of its own are denied here";
    }
    const std::string folder = elements_.folder() + "/disk";
    std::filesystem::create_directory(folder);
    ASSERT_EQ(mount("none", folder.c_str(), "tmpfs", 0, "size=64k"), 0);
    Element &element = add_boundary("bc", {.state_directory = folder});
    ASSERT_TRUE(wait_for(element, own_report, "priority2", "128")) << element.log();
    std::ofstream filler(folder + "/filler");
    for (int i = 0; i < 32; ++i) {
        filler << std::string(4096, 'x') << std::flush;
    }
    filler.close();  // agents that are started from here would hold it open
    element.send_examples({"modify_priority.xml"});
    EXPECT_TRUE(wait_until([&] { return element.has_event("cannot write"); })) << element.log();
    EXPECT_EQ(element.ask()["clocks"][0]["data_sets"]["default"]["priority2"], 128) << "not half accepted";
    element.signal(SIGKILL);
    element.start();
    EXPECT_TRUE(wait_until([&] { return element.ask().is_object(); })) << element.log();
    EXPECT_EQ(element.ask("config")["messages"].size(), 2u) << "what was accepted is there";
    std::filesystem::remove(folder + "/filler");
    element.send_examples({"modify_priority.xml"});
    EXPECT_TRUE(wait_for(element, own_report, "priority2", "100")) << element.log();
    element.signal(SIGTERM);
    umount2(folder.c_str(), MNT_DETACH);
}

TEST_F(Restarts, SayWhatIsWrongWithAnIntentThatCannotBeRead) {
    Element &torn = add_boundary("torn"), &newer = add_boundary("newer");
    for (Element *each : {&torn, &newer}) {
        ASSERT_TRUE(wait_for(*each, own_report, "priority2", "128")) << each->log();
        each->send_examples({"modify_priority.xml"});
        ASSERT_TRUE(wait_for(*each, own_report, "priority2", "100")) << each->log();
        each->signal(SIGKILL);
        each->forget_reports();
    }
    std::filesystem::resize_file(torn.folder() + "/state/intent", 100);
    std::fstream file(newer.folder() + "/state/intent", std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(11).put(2);  // the format's number
    file.close();
    torn.start();
    newer.start();
    EXPECT_TRUE(wait_for(torn, own_report, "clk_domain", "24")) << "with the intent before\n" << torn.log();
    EXPECT_TRUE(torn.has_event("intent.damaged")) << torn.log();
    EXPECT_TRUE(wait_until([&] { return !newer.is_running(); }));
    EXPECT_NE(WEXITSTATUS(newer.end_status()), 0);
    EXPECT_THAT(newer.log(), testing::HasSubstr("newer release"));
    EXPECT_FALSE(std::filesystem::exists(newer.folder() + "/state/intent.damaged"));
}

}  // namespace
}  // namespace ptp_agent::test
