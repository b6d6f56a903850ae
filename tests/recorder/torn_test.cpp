// Recorders that go on where one was stopped in the middle of a message that itself holds heads of records.
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <numeric>
#include <random>

#include "recording_files.h"

namespace {

namespace fs = std::filesystem;
using test::bytes;

class TornRecording : public test::RecordingFiles {
  protected:
    /** A message that is nothing but heads with right checksums, each of a record of so many bytes. */
    static bytes forged_message(size_t size, u_int32 claimed) {
        const bytes head = test::forged_head(claimed);
        bytes message;
        while (message.size() < size) {
            message.insert(message.end(), head.begin(), head.end());
        }
        message.resize(size);
        return message;
    }

    /** A file of `whole` records with a message of which only the first bytes were written behind them. */
    bytes torn_file(size_t whole, const bytes &message, size_t written) {
        fs::remove_all(folder);
        fs::create_directory(folder);
        {
            const auto recorder = open();
            for (u_int64 i = 1; i <= whole; ++i) {
                append(recorder, i, bytes(20, 1));
            }
            append(recorder, whole + 1, message);
        }
        bytes content = load(file);
        content.resize(8 + whole * 48 + written);
        store(file, content);
        return content;
    }

    void add(u_int64 first, u_int64 count, u_int32 files = 0) {
        const auto recorder = open(0, files);
        ASSERT_NE(recorder, nullptr) << said;
        for (u_int64 i = first; i < first + count; ++i) {
            ASSERT_EQ(append(recorder, i, bytes(i % 90, 2)), 0u);
        }
    }

    static std::vector<u_int64> run(u_int64 first, u_int64 count) {
        std::vector<u_int64> numbers(count);
        std::iota(numbers.begin(), numbers.end(), first);
        return numbers;
    }
};

TEST_F(TornRecording, ForgedHeadsHideNothingThatIsAcceptedLater) {
    for (const u_int32 claimed : {0u, 20u, 1000u, 5000u, 100'000u, 64u << 20}) {
        const bytes message = forged_message(4000, claimed);
        for (const size_t written : {28u, 29u, 40u, 56u, 57u, 100u, 1036u, 4000u, 4027u}) {
            const bytes torn = torn_file(3, message, written);
            add(101, 200);
            std::vector<u_int64> wanted = run(1, 3);
            const std::vector<u_int64> later = run(101, 200);
            wanted.insert(wanted.end(), later.begin(), later.end());
            // Empty records are complete with their head: what was forged so may come out, under the time 0.
            std::vector<u_int64> found = times();
            std::erase(found, 0u);
            ASSERT_EQ(found, wanted) << claimed << " " << written;
            if (written >= 56) {  // a head inside: no telling where the record begins, and nothing is touched
                EXPECT_EQ(load(file + ".1"), torn);
                EXPECT_NE(said.find("a new file begun"), std::string::npos) << said;
            } else {
                EXPECT_FALSE(fs::exists(file + ".1"));
                EXPECT_NE(said.find("are removed"), std::string::npos) << said;
            }
            add(301, 1);
            EXPECT_EQ(said, "") << "the new file is whole";
        }
    }
}

TEST_F(TornRecording, AFileOfItsOwnIsNotGivenUp) {
    torn_file(3, forged_message(4000, 1000), 500);
    add(101, 50, 1);  // one file is kept: the damage stays in it
    EXPECT_FALSE(fs::exists(file + ".1"));
    EXPECT_NE(said.find("goes on behind it"), std::string::npos) << said;
    std::vector<u_int64> wanted = run(1, 3);
    const std::vector<u_int64> later = run(101, 50);
    wanted.insert(wanted.end(), later.begin(), later.end());
    EXPECT_EQ(times(), wanted);

    torn_file(3, forged_message(4000, 1000), 500);
    ASSERT_TRUE(fs::create_directory(file + ".1"));
    EXPECT_EQ(open(), nullptr) << "it cannot be turned over";
}

TEST_F(TornRecording, RecordsBehindADamagedOneAreFoundWhateverItClaims) {
    // As if a recorder had gone on behind the torn place: all claimed lengths lead somewhere into the records there.
    for (const u_int32 claimed : {30u, 100u, 333u, 1000u, 5000u}) {
        const bytes torn = torn_file(3, forged_message(4000, claimed), 700);
        fs::remove(file);
        add(101, 100);
        bytes later = load(file);
        bytes both = torn;
        both.insert(both.end(), later.begin() + 8, later.end());
        store(file, both);
        std::vector<u_int64> wanted = run(1, 3);
        const std::vector<u_int64> rest = run(101, 100);
        wanted.insert(wanted.end(), rest.begin(), rest.end());
        ASSERT_EQ(times(), wanted) << claimed;
        EXPECT_GE(count(VELA_RECORDING_DAMAGED), 1u);
    }
}

TEST_F(TornRecording, ManyForgedHeadsCostTimeInProportion) {
    const size_t size = 2u << 20;
    bytes content = torn_file(0, {}, 0);
    const bytes heads = forged_message(size, 1u << 20);
    content.insert(content.end(), heads.begin(), heads.end());
    store(file, content);
    const std::clock_t start = std::clock();
    EXPECT_GT(read().size(), size / 30);
    // Each of 37 000 heads claims 1 MiB that is there: summed up one by one they take minutes.
    EXPECT_LT(std::clock() - start, 20 * CLOCKS_PER_SEC);
}

TEST_F(TornRecording, KilledRecordersLoseNothingThoughMessagesHoldHeads) {
    const bytes message = forged_message(100'000, 60'000);
    std::vector<u_int64> accepted;
    std::mt19937 random(5);
    u_int64 last = 0;
    for (int life = 0; life < 60; ++life) {
        int told[2];
        ASSERT_EQ(pipe(told), 0);
        const rlim_t size = fs::exists(file) ? fs::file_size(file) : 0;
        rlimit room{};
        getrlimit(RLIMIT_FSIZE, &room);
        room.rlim_cur = size + 1000 + random() % 200'000;
        const pid_t child = fork();
        if (child == 0) {
            alarm(30);
            // Every other one is ended by the system in the middle of a write, where the file must not grow any more.
            const rlimit no_core = {0, 0};
            setrlimit(RLIMIT_CORE, &no_core);
            if (life % 2 == 0) {
                setrlimit(RLIMIT_FSIZE, &room);
            }
            const auto recorder = open(0, 100);
            for (u_int64 i = last + 1;; ++i) {
                if (append(recorder, i, i % 3 == 0 ? message : bytes(i % 500, 1)) != 0 ||
                    ::write(told[1], &i, sizeof i) != sizeof i) {
                    _exit(1);
                }
            }
        }
        close(told[1]);
        u_int64 number = last;
        while ((life % 2 == 0 || number < last + 5) && ::read(told[0], &number, sizeof number) == sizeof number) {
            accepted.push_back(number);
        }
        if (life % 2 != 0) {
            kill(child, SIGKILL);
        }
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << status;
        while (::read(told[0], &number, sizeof number) == sizeof number) {
            accepted.push_back(number);
        }
        close(told[0]);
        last = number + 1;  // that one may be there, too
    }
    const std::vector<u_int64> found = times();
    EXPECT_TRUE(std::is_sorted(found.begin(), found.end()));
    for (const u_int64 each : accepted) {
        ASSERT_TRUE(std::binary_search(found.begin(), found.end(), each)) << each << " was accepted";
    }
    EXPECT_LE(found.size(), accepted.size() + 60);
    EXPECT_GT(count(VELA_RECORDING_DAMAGED), 10u) << "many were ended in the middle of a message with heads";
}

// ---- whose files they are -------------------------------------------------------------------------------------------

TEST_F(TornRecording, OtherUsersFilesAndLinksAreTakenWhenAllowedOnly) {
    torn_file(1, {}, 0);
    const std::string other = folder + "/other.rec";
    fs::rename(file, other);
    fs::create_symlink(other, file);
    EXPECT_EQ(open(), nullptr);
    EXPECT_EQ(err, 40u);
    EXPECT_NE(said.find("symbolic link"), std::string::npos) << said;
    EXPECT_EQ(times().size(), 1u) << "reading follows links";
    allow_links = 1;
    EXPECT_EQ(append(open(), 2, {1}), 0u);
    allow_links = 0;
    fs::remove(file);
    fs::create_symlink(folder + "/nowhere", file);
    EXPECT_EQ(open(), nullptr);
    EXPECT_FALSE(fs::exists(folder + "/nowhere"));
    fs::remove(file);
    fs::create_symlink(other, file + ".1");
    EXPECT_EQ(open(), nullptr) << "a link would be turned over";
    EXPECT_NE(said.find("log.rec.1: is in the way: it is a symbolic link"), std::string::npos) << said;
    fs::remove(file + ".1");

    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give files away";
    }
    for (const char *name : {"", ".3"}) {
        fs::copy(other, file + name);
        ASSERT_EQ(chown((file + name).c_str(), 12345, 12345), 0);
        EXPECT_EQ(open(), nullptr);
        EXPECT_EQ(err, name[0] == 0 ? 13u : u_int32{VELA_EINVAL});
        EXPECT_NE(said.find("belongs to another user"), std::string::npos) << said;
        EXPECT_FALSE(times().empty()) << "anybody's files can be read";
        allow_other_users = 1;
        EXPECT_NE(open(), nullptr) << said;
        allow_other_users = 0;
        fs::remove(file + name);
    }
}

TEST_F(TornRecording, OptionsOfTheFirstReleaseAreTaken) {
    vela_recorder_options options = {};
    memset(&options, 0xFF, sizeof options);
    options.size = offsetof(vela_recorder_options, allow_other_users);
    options.max_file_bytes = 0;
    options.files = options.mode = 0;
    for (const int step : {0, -8, 64}) {
        options.size = offsetof(vela_recorder_options, allow_other_users) + static_cast<size_t>(step);
        err = 0;
        const test::recorder_ptr recorder(vela_recorder_open(file.c_str(), &options, nullptr, 0, &err));
        EXPECT_EQ(recorder != nullptr, step == 0) << step;
    }
}

}  // namespace
