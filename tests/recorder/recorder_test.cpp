// Recording: what is kept, turning over, full disks and writers that are killed.
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <numeric>

#include "recording_files.h"

namespace {

using test::bytes;
using test::recorder_ptr;
namespace fs = std::filesystem;

class Recorder : public test::RecordingFiles {
  protected:
    /** Expects records of rising times without a gap, up to `last`. Returns how many they are. */
    size_t expect_run_up_to(u_int64 last) {
        const std::vector<u_int64> found = times();
        std::vector<u_int64> wanted(found.size());
        std::iota(wanted.begin(), wanted.end(), last + 1 - found.size());
        EXPECT_EQ(found, wanted);
        return found.size();
    }
};

TEST_F(Recorder, KeepsEveryByteWithItsTimeAndSource) {
    const auto before = static_cast<u_int64>(time(nullptr)) * 1'000'000'000;
    const recorder_ptr recorder = open();
    EXPECT_EQ(append(recorder, 1, {}), 0u);
    EXPECT_EQ(append(recorder, ~u_int64{0}, bytes(100'000, 0xBC), 3), 0u);
    EXPECT_EQ(append(recorder, 0, {7}, 0xFFFFFFFF), 0u);
    const auto items = read();
    ASSERT_EQ(items.size(), 3u);
    EXPECT_EQ(items[0].time_ns, 1u);
    EXPECT_EQ(items[0].content, bytes());
    EXPECT_EQ(items[1].time_ns, ~u_int64{0});
    EXPECT_EQ(items[1].source, 3u);
    EXPECT_EQ(items[1].content, bytes(100'000, 0xBC));
    EXPECT_GE(items[2].time_ns, before) << "now";
    EXPECT_EQ(items[2].source, 0xFFFFFFFFu);
    const vela_recorder_statistics now = statistics(recorder);
    EXPECT_EQ(now.records, 3u);
    EXPECT_EQ(now.bytes, 100'001u);
    EXPECT_EQ(now.file_bytes, fs::file_size(file));
    struct stat status {};
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0600u);
}

TEST_F(Recorder, WritesTheDocumentedFormat) {
    append(open(), 0x0102030405060708, {'1', '2', '3', '4', '5', '6', '7', '8', '9'}, 2);
    const bytes wanted = {
        'V',  'R',  'E',  'C',  1, 0, 0, 0,              // file
        0xF5, 0xA9, 0x5A, 0xC3, 0, 0, 0, 9,              // mark, length
        1,    2,    3,    4,    5, 6, 7, 8, 0, 0, 0, 2,  // time, source
        0xCB, 0xF4, 0x39, 0x26,                          // the CRC-32 that everybody knows
    };
    const bytes found = load(file);
    ASSERT_EQ(found.size(), 8u + 28 + 9);
    EXPECT_EQ(bytes(found.begin(), found.begin() + 32), wanted);
}

TEST_F(Recorder, TurnsFilesOverBySizeAndCount) {
    const recorder_ptr recorder = open(1024, 3);
    for (u_int64 i = 1; i <= 100; ++i) {
        ASSERT_EQ(append(recorder, i, bytes(72, 1)), 0u);  // ten to a file
        for (const auto &entry : fs::directory_iterator(folder)) {
            ASSERT_LE(entry.file_size(), 1024u);
        }
        ASSERT_EQ(expect_run_up_to(i), i <= 30 ? i : 20 + (i - 1) % 10 + 1);
    }
    EXPECT_EQ(statistics(recorder).rotations, 9u);
    EXPECT_TRUE(fs::exists(file + ".2"));
    EXPECT_FALSE(fs::exists(file + ".3"));
    EXPECT_EQ(append(recorder, 101, bytes(1024 - 8 - 28 + 1)), u_int32{VELA_EMSGSIZE});
    EXPECT_EQ(append(recorder, 101, bytes(1024 - 8 - 28)), 0u);
}

TEST_F(Recorder, GoesOnWhereAnEndedOneStopped) {
    for (u_int64 i = 1; i <= 25; ++i) {
        append(open(1024, 9), i, bytes(72, 1));
    }
    EXPECT_EQ(expect_run_up_to(25), 25u);
    // As if it had been killed while it turned the files over.
    fs::rename(file + ".2", file + ".3");
    fs::rename(file + ".1", file + ".2");
    EXPECT_EQ(expect_run_up_to(25), 25u);
    fs::rename(file, file + ".1");
    EXPECT_EQ(expect_run_up_to(25), 25u);
    fs::rename(file + ".1", file);
    for (u_int64 i = 26; i <= 45; ++i) {
        append(open(1024, 9), i, bytes(72, 1));
    }
    EXPECT_EQ(expect_run_up_to(45), 45u);
    EXPECT_FALSE(fs::exists(file + ".5")) << "the gap was filled";

    append(open(1024, 2), 46, bytes(900));  // fewer files are wanted now
    EXPECT_LT(expect_run_up_to(46), 20u);
    EXPECT_FALSE(fs::exists(file + ".2"));
    append(open(1024, 1), 47, bytes(900));
    EXPECT_EQ(expect_run_up_to(47), 1u);
}

TEST_F(Recorder, IsReadAsItWasWhenOpened) {
    const recorder_ptr recorder = open(1024, 2);
    for (u_int64 i = 1; i <= 20; ++i) {
        append(recorder, i, bytes(72, 1));
    }
    vela_recording *recording = vela_recording_open(file.c_str(), nullptr, 0, &err);
    ASSERT_NE(recording, nullptr);
    for (u_int64 i = 21; i <= 60; ++i) {
        append(recorder, i, bytes(72, 1));
    }
    vela_recording_item item;
    u_int64 last = 0;
    while (vela_recording_next(recording, &item, &err) != 0) {
        EXPECT_EQ(item.kind, VELA_RECORDING_RECORD);
        EXPECT_EQ(item.time_ns, ++last);
    }
    EXPECT_EQ(last, 20u);
    vela_recording_close(recording);
}

TEST_F(Recorder, TakesNoFileThatIsNotItsOwn) {
    const bytes notes = {'n', 'o', 't', 'e', 's', 'n', 'o', 't', 'e', 's'};
    store(file, notes);
    EXPECT_EQ(open(), nullptr);
    EXPECT_EQ(err, u_int32{VELA_EINVAL});
    EXPECT_NE(said.find("no recording"), std::string::npos) << said;
    EXPECT_EQ(load(file), notes);
    fs::rename(file, file + ".5");
    EXPECT_EQ(open(), nullptr) << "it would be turned over";
    EXPECT_EQ(load(file + ".5"), notes);
    fs::remove(file + ".5");

    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    EXPECT_EQ(open(), nullptr);
    EXPECT_EQ(err, u_int32{VELA_EINVAL});
    EXPECT_TRUE(read().empty());
    EXPECT_EQ(err, u_int32{VELA_EINVAL});
    fs::remove(file);
    EXPECT_TRUE(read().empty());
    EXPECT_EQ(err, u_int32{VELA_ENOENT});

    const recorder_ptr first = open();
    EXPECT_EQ(open(), nullptr);
    EXPECT_EQ(err, 11u);
    EXPECT_NE(said.find("another recorder"), std::string::npos) << said;
    EXPECT_EQ(open(1023), nullptr);
    EXPECT_EQ(err, u_int32{VELA_EINVAL});
    EXPECT_EQ(open(0, 101), nullptr);
    file = folder + "/none/log.rec";
    EXPECT_EQ(open(), nullptr);
    EXPECT_EQ(err, u_int32{VELA_ENOENT});
}

// ---- full disks -----------------------------------------------------------------------------------------------------

/** Lets files grow to a size only, as a full disk does: a record is cut in the middle. */
class file_limit {
  public:
    explicit file_limit(rlim_t most) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit = {most, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
        handler_ = signal(SIGXFSZ, SIG_IGN);
    }
    file_limit(const file_limit &) = delete;
    file_limit &operator=(const file_limit &) = delete;
    ~file_limit() {
        setrlimit(RLIMIT_FSIZE, &before_);
        signal(SIGXFSZ, handler_);
    }

  private:
    rlimit before_{};
    sighandler_t handler_;
};

TEST_F(Recorder, OutlastsAFullDiskWithWholeRecords) {
    for (rlim_t room = 0; room <= 8 + 2 * 38; ++room) {
        fs::remove(file);
        const recorder_ptr recorder = open();
        u_int64 written = 0;
        {
            const file_limit full(room);
            for (u_int64 i = 1; i <= 4; ++i) {
                const u_int32 code = append(recorder, written + 1, bytes(10, 5));
                written += code == 0 ? 1 : 0;
                ASSERT_TRUE(code == 0 || code == EFBIG) << code;
            }
            EXPECT_EQ(written, room < 8 ? 0 : (room - 8) / 38);
            EXPECT_EQ(fs::file_size(file), written == 0 ? 0 : 8 + written * 38) << "taken back";
        }
        EXPECT_EQ(append(recorder, ++written, bytes(10, 5)), 0u) << "there is room again";
        EXPECT_EQ(statistics(recorder).failed, 5 - written);
        EXPECT_EQ(statistics(recorder).last_error, u_int32{EFBIG});
        EXPECT_EQ(expect_run_up_to(written), written);
        EXPECT_EQ(read().size(), written);
    }
}

TEST_F(Recorder, OutlastsAFolderThatTakesNoNewFile) {
    const recorder_ptr recorder = open(1024, 2);
    u_int64 last = 0;
    while (append(recorder, last + 1, bytes(300)) == 0 && ++last < 3) {
    }
    // Another file has come into the way since the recorder was opened; it is not replaced.
    ASSERT_TRUE(fs::create_directory(file + ".1"));
    EXPECT_NE(append(recorder, last + 1, bytes(300)), 0u);
    EXPECT_NE(append(recorder, last + 1, bytes(300)), 0u);
    fs::remove(file + ".1");
    EXPECT_EQ(append(recorder, last + 1, bytes(300)), 0u);
    EXPECT_EQ(expect_run_up_to(4), 4u);
}

// ---- killed writers -------------------------------------------------------------------------------------------------

TEST_F(Recorder, LosesNothingWhenKilledAtAnyMoment) {
    u_int64 last = 0;
    for (int life = 0; life < 25; ++life) {
        int told[2];
        ASSERT_EQ(pipe(told), 0);
        const pid_t child = fork();
        if (child == 0) {
            alarm(20);
            const recorder_ptr recorder = open(20'000, 5);
            for (u_int64 i = last + 1;; ++i) {
                if (append(recorder, i, bytes(static_cast<size_t>(i) * 977 % 5000, 1)) != 0 ||
                    ::write(told[1], &i, sizeof i) != sizeof i) {
                    _exit(1);
                }
            }
        }
        close(told[1]);
        u_int64 accepted = last;
        while (accepted < last + 20 + static_cast<u_int64>(life) &&
               ::read(told[0], &accepted, sizeof accepted) == sizeof accepted) {
        }
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << status;
        while (::read(told[0], &accepted, sizeof accepted) == sizeof accepted) {
        }
        close(told[0]);
        const std::vector<u_int64> found = times();
        ASSERT_FALSE(found.empty());
        last = found.back();
        ASSERT_TRUE(last == accepted || last == accepted + 1) << last << " is read, " << accepted << " were accepted";
        ASSERT_GT(expect_run_up_to(last), 4u);
        ASSERT_EQ(count(VELA_RECORDING_DAMAGED), 0u);
        ASSERT_LE(count(VELA_RECORDING_TORN), 1u);
    }
}

}  // namespace
