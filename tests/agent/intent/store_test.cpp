// The intent's file: what comes back after restarts, and that neither faults nor other releases lose it.
#include "agent/intent/store.h"

#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "support/messages.h"

namespace ptp_agent::test {
namespace {

using testing::HasSubstr;

class Store : public testing::Test, protected Wishes {
  protected:
    Store() {
        std::string pattern = (std::filesystem::temp_directory_path() / "intent_XXXXXX").string();
        folder = ::mkdtemp(pattern.data());
        path = (folder / "intent").string();
        write(folder / "boot", "first");
        ask(example(handle, "g8275_1_boundary_clock.xml"));
        ask(port(handle, 1, "eth1"));
        Record source = message(
            handle, "ptp_virtual_port_cfg",
            {{"clk_handle", 1}, {"v_port_index", 3}, {"local_priority", 128}, {"status", 1}, {"prtc_connected", 1}});
        set_text(source, "v_port_name", "gnss");
        ask(source);
        ask(message(handle, "ptp_1pps_input_state", {{"", 1}}));
        ask(message(handle, "ptp_hbc_holdover_timer_cmd", {{"holdover_timer", 600}}));
    }
    ~Store() override { std::filesystem::remove_all(folder); }

    static void write(const std::filesystem::path &file, const std::string &text) {
        std::ofstream(file, std::ios::binary) << text;
    }
    static std::string read(const std::filesystem::path &file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    IntentStore store() const { return IntentStore(path, (folder / "boot").string()); }
    LoadedIntent load() const { return store().load(make_handle()); }
    void set_priority(int priority) {
        ask(message(handle, "ptp_clock_modify_cmd",
                    {{"clock_id", 1},
                     {"priority1", 128},
                     {"priority2", priority},
                     {"local_priority", 128},
                     {"clock_quality.clock_class", 248},
                     {"clock_quality.offset_scaled_log_var", -1}}));
    }
    static std::int64_t priority_of(const LoadedIntent &loaded) {
        const auto clock = loaded.intent.clock(1);
        return clock ? clock->clock().number_or("default_data_set.priority2", -1) : -1;
    }

    std::filesystem::path folder;
    std::string path;
};

TEST_F(Store, BringsEverythingBackAndCounts) {
    IntentStore first = store();
    EXPECT_EQ(first.load(handle).kind, LoadedIntent::Kind::Loaded) << "nothing was saved yet";
    ASSERT_EQ(first.save(intent), "");
    ASSERT_EQ(first.save(intent), "");
    IntentStore second = store();
    const LoadedIntent loaded = second.load(make_handle());
    EXPECT_EQ(loaded.kind, LoadedIntent::Kind::Loaded) << loaded.note;
    EXPECT_EQ(second.generation(), 2u);
    ASSERT_EQ(loaded.intent.objects().size(), intent.objects().size());
    const ClockIntent clock = loaded.intent.clock(1).value();
    EXPECT_EQ(clock.ports()[0].port->text("port_name"), "eth1");
    EXPECT_EQ(clock.virtual_ports()[0].port->text("v_port_name"), "gnss");
    EXPECT_TRUE(clock.virtual_ports()[0].port->is_true("prtc_connected"));
    EXPECT_TRUE(clock.settings().pps_input->is_true(""));
    EXPECT_EQ(clock.settings().holdover_timer->number("holdover_timer"), 600);
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0600u);
}

TEST_F(Store, ForgetsStatesOfSourcesOnceTheMachineWasStarted) {
    ASSERT_EQ(store().save(intent), "");
    write(folder / "boot", "second");
    const LoadedIntent loaded = load();
    const ClockIntent clock = loaded.intent.clock(1).value();
    EXPECT_FALSE(clock.virtual_ports()[0].port->is_true("prtc_connected"));
    EXPECT_EQ(clock.virtual_ports()[0].port->number("local_priority"), 128);
    EXPECT_EQ(clock.settings().pps_input, nullptr);
    EXPECT_NE(clock.settings().holdover_timer, nullptr);
}

TEST_F(Store, FindsEveryDamageAndGoesBackToTheFileBefore) {
    IntentStore saved = store();
    set_priority(1);
    ASSERT_EQ(saved.save(intent), "");
    const std::string former = read(path);
    set_priority(2);
    ASSERT_EQ(saved.save(intent), "");
    const std::string whole = read(path);
    for (std::size_t at = 0; at < whole.size(); at += 7) {
        std::string torn = whole.substr(0, at);
        std::string changed = whole;
        changed[at] = static_cast<char>(changed[at] ^ 0x10);
        for (const std::string &bytes : {torn, changed}) {
            write(path, bytes);
            write(path + ".previous", former);
            const LoadedIntent loaded = load();
            const bool is_newer = loaded.kind == LoadedIntent::Kind::Failed;
            EXPECT_TRUE(is_newer ? at > 7 && at < 12 : priority_of(loaded) == 1) << at << ": " << loaded.note;
            EXPECT_EQ(read(is_newer ? path : path + ".damaged"), bytes) << "kept for people";
        }
    }
    write(path, "torn");
    std::filesystem::remove(path + ".previous");
    EXPECT_EQ(load().kind, LoadedIntent::Kind::Failed);
    EXPECT_THAT(load().note, HasSubstr("no earlier one"));
}

TEST_F(Store, LeavesTheFileOfANewerReleaseAlone) {
    ASSERT_EQ(store().save(intent), "");
    std::string newer = read(path);
    newer[11] = 2;
    write(path, newer);
    const LoadedIntent loaded = load();
    EXPECT_EQ(loaded.kind, LoadedIntent::Kind::Failed);
    EXPECT_THAT(loaded.note, HasSubstr("newer release (format 2, this one knows 1)"));
    EXPECT_EQ(read(path), newer);
}

TEST_F(Store, KeepsTheFormerIntentWhereTheNewOneFindsNoRoom) {
    ASSERT_EQ(store().save(intent), "");
    set_priority(9);
    // A limit of the size of files is what a full disk is: the write fails in its middle.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit former{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &former), 0);
    const rlimit little{200, former.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &little), 0);
    const std::string fault = store().save(intent);
    ::setrlimit(RLIMIT_FSIZE, &former);
    EXPECT_THAT(fault, HasSubstr("cannot write"));
    EXPECT_EQ(priority_of(load()), 128);
    EXPECT_FALSE(std::filesystem::exists(path + ".new"));
    std::filesystem::remove_all(folder);
    EXPECT_THAT(store().save(intent), HasSubstr("cannot write")) << "the folder was taken away";
}

TEST_F(Store, IsWholeWheneverItsWriterIsKilled) {
    set_priority(0);
    ASSERT_EQ(store().save(intent), "");
    for (int round = 0; round < 20; ++round) {
        const pid_t writer = ::fork();
        if (writer == 0) {
            IntentStore saved = store();
            for (int priority = 0;; priority = (priority + 1) % 256) {
                set_priority(priority);
                saved.save(intent);
            }
        }
        std::this_thread::sleep_for(std::chrono::microseconds(3000 + 700 * round));
        ::kill(writer, SIGKILL);
        ::waitpid(writer, nullptr, 0);
        const LoadedIntent loaded = load();
        EXPECT_EQ(loaded.kind, LoadedIntent::Kind::Loaded) << loaded.note;
        EXPECT_GE(priority_of(loaded), 0);
    }
    EXPECT_EQ(store().save(intent), "") << "what was left behind is no obstacle";
}

}  // namespace
}  // namespace ptp_agent::test
