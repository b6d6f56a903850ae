// What a channel over NATS keeps on disk until a server has it.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include "message_store.h"
#include "nats_server.h"

using vela::nats::message_store;
using vela::nats::stored_message;

namespace {

constexpr u_int64 small = 1024 * 1024;

stored_message make(vela_message_role role, u_int8 mark, size_t length = 300) {
    stored_message message;
    message.time_ns = mark;
    message.role = role;
    message.bytes.assign(length, mark);
    return message;
}

// Adds and says whether it was taken.
message_store::outcome add(message_store &to, const stored_message &message, u_int32 *dropped = nullptr) {
    u_int32 count = 0;
    vela::nats::failure why;
    const auto result = to.add(message, count, why);
    (dropped != nullptr ? *dropped : count) += dropped != nullptr ? count : 0;
    return result;
}

std::vector<u_int64> take_all(message_store &from) {
    std::vector<u_int64> numbers;
    u_int32 damaged = 0;
    for (stored_message next; from.take_next(next, damaged);) {
        numbers.push_back(next.sequence);
    }
    EXPECT_EQ(damaged, 0u);
    return numbers;
}

class store : public testing::Test {
  protected:
    void open(message_store &of) {
        vela::nats::failure why;
        ASSERT_TRUE(of.open(why)) << why.text;
    }
    test::scratch_folder folder_;
};

TEST_F(store, GivesMessagesInTheOrderInWhichTheyCameWhateverTheirRole) {
    message_store kept("", small);
    open(kept);
    for (u_int8 mark = 1; mark <= 6; ++mark) {
        EXPECT_EQ(add(kept, make(mark % 2 == 0 ? VELA_MESSAGE_REPORT : VELA_MESSAGE_EVENT, mark)),
                  message_store::outcome::taken);
    }
    EXPECT_THAT(take_all(kept), testing::ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_TRUE(kept.finish(2));
    EXPECT_FALSE(kept.finish(2)) << "a second confirmation of the same";
    kept.rewind();
    EXPECT_THAT(take_all(kept), testing::ElementsAre(1, 3, 4, 5, 6));
}

TEST_F(store, LetsOldestReportsGiveWayAndNothingElse) {
    message_store full("", small);
    open(full);
    u_int32 dropped = 0;
    constexpr u_int64 commands = 100;
    for (u_int64 i = 0; i < commands; ++i) {
        EXPECT_EQ(add(full, make(VELA_MESSAGE_COMMAND, 1)), message_store::outcome::taken);
    }
    constexpr u_int64 reports = 10000;
    for (u_int64 i = 0; i < reports; ++i) {
        ASSERT_EQ(add(full, make(VELA_MESSAGE_REPORT, 2), &dropped), message_store::outcome::taken);
    }
    const std::vector<u_int64> left = take_all(full);
    EXPECT_EQ(left.size() + dropped, commands + reports);
    EXPECT_GT(dropped, 0u);
    EXPECT_EQ(left[commands - 1], commands) << "every command is there";
    EXPECT_EQ(left[commands], commands + dropped + 1) << "the oldest reports are gone, and no other";
    EXPECT_EQ(left.back(), commands + reports);

    message_store of_commands("", small);
    open(of_commands);
    u_int64 taken = 0;
    while (add(of_commands, make(VELA_MESSAGE_UNKNOWN, 3)) == message_store::outcome::taken) {
        ++taken;
    }
    EXPECT_EQ(take_all(of_commands).size(), taken) << "what is no report is refused, never dropped";
}

TEST_F(store, GoesOnWhereAnEndedProcessStood) {
    std::string identity;
    {
        message_store first(folder_.path, small);
        open(first);
        identity = first.identity();
        for (u_int8 mark = 1; mark <= 10; ++mark) {
            add(first, make(mark == 5 ? VELA_MESSAGE_COMMAND : VELA_MESSAGE_REPORT, mark));
        }
        take_all(first);
        for (const u_int64 sequence : {1, 2, 4, 5}) {
            first.finish(sequence);
        }
        vela::nats::failure why;
        EXPECT_TRUE(first.note_progress(why)) << why.text;
        message_store second(folder_.path, small);
        EXPECT_FALSE(second.open(why));
        EXPECT_THAT(why.text, testing::HasSubstr("another channel"));
    }
    // As if it had been killed while it wrote.
    for (const auto &file : std::filesystem::directory_iterator(folder_.path)) {
        if (file.path().filename().string().starts_with("reports")) {
            std::ofstream(file.path(), std::ios::app | std::ios::binary) << "VNSR cut";
        }
    }
    message_store second(folder_.path, small);
    open(second);
    EXPECT_EQ(second.identity(), identity);
    EXPECT_EQ(second.waiting_before_start(), 7u);
    add(second, make(VELA_MESSAGE_REPORT, 11));
    EXPECT_THAT(take_all(second), testing::ElementsAre(3, 4, 6, 7, 8, 9, 10, 11)) << "4 was confirmed behind a gap";
}

TEST_F(store, FreesTheDiskOfWhatIsDone) {
    message_store busy(folder_.path, 16 * small);
    open(busy);
    for (int round = 0; round < 50; ++round) {
        for (int i = 0; i < 1000; ++i) {
            ASSERT_EQ(add(busy, make(VELA_MESSAGE_COMMAND, 9)), message_store::outcome::taken);
        }
        for (const u_int64 sequence : take_all(busy)) {
            busy.finish(sequence);
        }
    }
    u_int64 bytes = 0;
    for (const auto &file : std::filesystem::directory_iterator(folder_.path)) {
        bytes += file.file_size();
    }
    EXPECT_LT(bytes, 2 * small) << "of 16 MB that went through";
}

TEST_F(store, RefusesWhatTheDiskDoesNotTakeAndKeepsTheRest) {
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {100'000, 100'000};
        setrlimit(RLIMIT_FSIZE, &limit);
        message_store cramped(folder_.path, 64 * small);
        vela::nats::failure why;
        bool is_right = cramped.open(why);
        u_int64 taken = 0;
        while (is_right && add(cramped, make(VELA_MESSAGE_EVENT, 1)) == message_store::outcome::taken) {
            ++taken;
        }
        is_right = is_right && taken > 200 && take_all(cramped).size() == taken;
        _exit(is_right ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

}  // namespace
