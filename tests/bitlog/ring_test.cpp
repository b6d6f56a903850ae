// Rings: what is traced can be read again, whatever else happens meanwhile.
#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "bitlog.h"

namespace fs = std::filesystem;
using testing::HasSubstr;

namespace {

const bitlog_trace_points points = {"ptp_clock", 64, 64};

void ignore(void *, const bitlog_record *) {}

struct reader_closer {
    void operator()(bitlog_reader *reader) const { bitlog_reader_close(reader); }
};
using reader = std::unique_ptr<bitlog_reader, reader_closer>;

std::string read(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void write(const std::string &path, const std::string &content) { std::ofstream(path, std::ios::binary) << content; }

class ring : public testing::Test {
  protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "ring-test-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        folder_ = name;
        file_ = name + "/ring";
        bitlog_set_sink(ignore, nullptr);
    }
    void TearDown() override {
        bitlog_ring_close();
        bitlog_set_sink(nullptr, nullptr);
        bitlog_set_level(BITLOG_DEBUG);
        fs::remove_all(folder_);
    }

    static reader open(const char *path) {
        bitlog_reader *opened = nullptr;
        std::array<char, 256> reason{};
        EXPECT_EQ(bitlog_reader_open(path, &opened, reason.data(), reason.size()), 0u) << reason.data();
        return reader(opened);
    }
    static std::string refusal(const std::string &path, uint32_t expected) {
        bitlog_reader *opened = nullptr;
        std::array<char, 256> reason{};
        EXPECT_EQ(bitlog_reader_open(path.c_str(), &opened, reason.data(), reason.size()), expected);
        EXPECT_EQ(opened, nullptr);
        return reason.data();
    }
    static std::string text(bitlog_reader *reader, const bitlog_entry &entry) {
        std::array<char, 512> buffer{};
        bitlog_reader_format(reader, &entry, buffer.data(), buffer.size());
        return buffer.data();
    }
    /** All that there is, formatted. */
    static std::vector<std::string> texts(const char *path) {
        const reader opened = open(path);
        std::vector<std::string> result;
        bitlog_entry entry;
        while (bitlog_reader_next(opened.get(), &entry, 0) != 0) {
            result.push_back(text(opened.get(), entry));
        }
        return result;
    }

    fs::path folder_;
    std::string file_;
};

TEST_F(ring, keeps_records_as_they_were_traced) {
    ASSERT_EQ(bitlog_ring_open(nullptr, 16), 0u);
    const int64_t before = std::time(nullptr);
    errno = ENOSPC;
    __BLf_0(&points, 100, 0, BITLOG_EMERGENCY);
    __BLf_51(&points, 101, 0, BITLOG_ERROR, &points, nullptr);
    __BLf_111(&points, 102, 3, BITLOG_DEBUG, "", "b", "c\n");
    __BLf_444(&points, 103, 0, BITLOG_INFORMATIONAL, 0, 4000000000u, 7);
    EXPECT_EQ(errno, ENOSPC);

    const reader opened = open(nullptr);
    bitlog_entry entry;
    ASSERT_EQ(bitlog_reader_next(opened.get(), &entry, 0), 1);
    EXPECT_EQ(entry.record.number, 100u);
    EXPECT_EQ(entry.record.level, static_cast<uint32_t>(BITLOG_EMERGENCY));
    EXPECT_EQ(entry.record.argument_count, 0u);
    EXPECT_EQ(entry.thread, static_cast<uint32_t>(gettid()));
    EXPECT_NEAR(static_cast<double>(entry.time_ns / 1000000000), static_cast<double>(before), 2);
    ASSERT_EQ(bitlog_reader_next(opened.get(), &entry, 0), 1);
    EXPECT_EQ(entry.record.argument[0].address, &points);
    EXPECT_EQ(entry.record.argument[1].text, nullptr);
    EXPECT_EQ(std::string(entry.record.kind, 2), "51");
    ASSERT_EQ(bitlog_reader_next(opened.get(), &entry, 0), 1);
    EXPECT_EQ(entry.record.module_id, 3);
    EXPECT_STREQ(entry.record.argument[0].text, "");
    EXPECT_STREQ(entry.record.argument[2].text, "c\n");
    ASSERT_EQ(bitlog_reader_next(opened.get(), &entry, 0), 1);
    EXPECT_EQ(text(opened.get(), entry), "message 103: 0, 4000000000, 7");
    EXPECT_EQ(entry.position, 3u);
    EXPECT_EQ(bitlog_reader_next(opened.get(), &entry, 0), 0);
    __BLf_0(&points, 104, 0, BITLOG_ERROR);
    EXPECT_EQ(bitlog_reader_next(opened.get(), &entry, 0), 1) << "what comes later is found, too";
}

TEST_F(ring, shows_control_characters_escaped) {
    ASSERT_EQ(bitlog_ring_open(nullptr, 16), 0u);
    __BLf_111(&points, 100, 0, BITLOG_ERROR, "\x1b[2J", "a\nb\x7f", "\xC2\x9B c\xC3\xA9 \xC2");
    const reader opened = open(nullptr);
    bitlog_entry entry;
    ASSERT_EQ(bitlog_reader_next(opened.get(), &entry, 0), 1);
    const std::string shown = text(opened.get(), entry);
    EXPECT_EQ(shown, "message 100: \\x1b[2J, a\\x0ab\\x7f, \\xc2\\x9b c\xC3\xA9 \xC2");
    EXPECT_STREQ(entry.record.argument[0].text, "\x1b[2J") << "arguments are as they were traced";
    std::array<char, 20> little{};
    EXPECT_EQ(bitlog_reader_format(opened.get(), &entry, little.data(), little.size()), shown.size());
    EXPECT_EQ(std::string(little.data()), shown.substr(0, little.size() - 1));
}

TEST_F(ring, cuts_the_longest_strings_to_a_fixed_size) {
    ASSERT_EQ(bitlog_ring_open(nullptr, 16), 0u);
    const std::string name = "ptp_current_selected_master_event";
    for (size_t length : {0, 50, 56, 57, 58, 91, 92, 93, 5000}) {
        __BLf_11(&points, 100, 0, BITLOG_ERROR, name.c_str(), std::string(length, 'x').c_str());
    }
    __BLf_111(&points, 100, 0, BITLOG_ERROR, std::string(300, 'x').c_str(), std::string(300, 'y').c_str(), "z");
    const reader opened = open(nullptr);
    bitlog_entry entry;
    for (size_t length : {0, 50, 56, 57, 58, 91, 92, 93, 5000}) {
        ASSERT_EQ(bitlog_reader_next(opened.get(), &entry, 0), 1);
        EXPECT_EQ(entry.record.argument[0].text, name);
        EXPECT_EQ(entry.record.argument[1].text, std::string(std::min<size_t>(length, 57), 'x'));
        EXPECT_EQ(entry.cut, length > 57 ? 2u : 0u);
    }
    ASSERT_EQ(bitlog_reader_next(opened.get(), &entry, 0), 1);
    EXPECT_EQ(entry.record.argument[0].text, std::string(44, 'x'));
    EXPECT_EQ(entry.record.argument[1].text, std::string(44, 'y'));
    EXPECT_STREQ(entry.record.argument[2].text, "z");
    EXPECT_EQ(entry.cut, 3u);
}

TEST_F(ring, keeps_the_newest) {
    ASSERT_EQ(bitlog_ring_open(file_.c_str(), 5), 0u) << "rounded up to eight";
    for (uint32_t i = 0; i < 20; ++i) {
        __BLf_4(&points, 100, 0, BITLOG_ERROR, i);
    }
    const reader opened = open(file_.c_str());
    bitlog_ring_info info;
    bitlog_reader_info(opened.get(), &info);
    EXPECT_EQ(info.capacity, 8u);
    EXPECT_EQ(info.traced, 20u);
    EXPECT_EQ(info.process_id, static_cast<uint32_t>(getpid()));
    EXPECT_STREQ(info.program, "bitlog_test");
    bitlog_entry entry;
    for (uint32_t i = 12; i < 20; ++i) {
        ASSERT_EQ(bitlog_reader_next(opened.get(), &entry, 0), 1);
        EXPECT_EQ(entry.record.argument[0].number, i);
        EXPECT_EQ(entry.lost_before, 0u) << "what went before reading began is not lost";
    }
    for (uint32_t i = 20; i < 40; ++i) {
        __BLf_4(&points, 100, 0, BITLOG_ERROR, i);
    }
    ASSERT_EQ(bitlog_reader_next(opened.get(), &entry, 0), 1);
    EXPECT_EQ(entry.record.argument[0].number, 32u);
    EXPECT_EQ(entry.lost_before, 12u);
}

TEST_F(ring, is_shared_by_threads_and_read_meanwhile) {
    ASSERT_EQ(bitlog_ring_open(file_.c_str(), 64), 0u);
    constexpr uint32_t per_thread = 20000;
    constexpr uint32_t thread_count = 4;
    std::atomic<uint32_t> running{thread_count};
    std::vector<std::thread> threads;
    for (uint32_t number = 0; number < thread_count; ++number) {
        threads.emplace_back([number, &running] {
            for (uint32_t i = 0; i < per_thread; ++i) {
                if (i % 2 == 0) {
                    __BLf_444(&points, number, 0, BITLOG_ERROR, i, ~i, number);
                } else {
                    const std::string text(i % 60, static_cast<char>('a' + number));
                    __BLf_11(&points, number, 0, BITLOG_ERROR, text.c_str(), text.c_str());
                }
            }
            --running;
        });
    }
    for (const char *path : {static_cast<const char *>(nullptr), const_cast<const char *>(file_.c_str())}) {
        const reader opened = open(path);
        bitlog_ring_info info{};
        uint64_t seen = 0;
        uint64_t lost = 0;
        uint64_t first = 0;
        uint64_t next = 0;
        bool last_look = false;
        while (!last_look) {
            last_look = running == 0;
            bitlog_entry entry;
            while (bitlog_reader_next(opened.get(), &entry, 5000) != 0) {
                first = seen == 0 ? entry.position : first;
                ASSERT_TRUE(seen == 0 || entry.position == next + entry.lost_before);
                next = entry.position + 1;
                ++seen;
                lost += entry.lost_before;
                const bitlog_record &record = entry.record;
                if (record.argument_count == 3) {
                    ASSERT_EQ(record.argument[0].number, ~record.argument[1].number);
                    ASSERT_EQ(record.argument[2].number, record.number);
                } else {
                    ASSERT_STREQ(record.argument[0].text, record.argument[1].text);
                    ASSERT_EQ(
                        std::string(record.argument[0].text).find_first_not_of(static_cast<char>('a' + record.number)),
                        std::string::npos);
                }
            }
        }
        bitlog_reader_info(opened.get(), &info);
        EXPECT_EQ(info.traced, uint64_t{per_thread} * thread_count);
        EXPECT_GT(seen, 0u);
        EXPECT_LE(info.dropped, info.traced / 2);
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

TEST_F(ring, follows_the_levels_of_modules_and_leaves_the_default_sink_alone) {
    uint16_t loud = 0;
    uint16_t quiet = 0;
    bitlog_module_init_fn("loud", &loud, nullptr);
    ASSERT_EQ(bitlog_set_module_level("quiet", BITLOG_ERROR), 0u) << "before it is loaded";
    bitlog_module_init_fn("quiet", &quiet, nullptr);
    bitlog_set_sink(nullptr, nullptr);
    testing::internal::CaptureStderr();
    ASSERT_EQ(bitlog_ring_open(nullptr, 64), 0u);
    const auto trace_all = [&](uint32_t first) {
        for (uint16_t module : {loud, quiet, uint16_t{0}, uint16_t{65535}}) {
            __BLf_0(&points, first++, module, BITLOG_ERROR);
            __BLf_0(&points, first++, module, BITLOG_DEBUG);
        }
    };
    trace_all(100);
    bitlog_set_level(BITLOG_EMERGENCY);
    EXPECT_EQ(bitlog_set_module_level("loud", BITLOG_DEBUG), 0u);
    trace_all(200);
    bitlog_set_module_level("loud", BITLOG_COMMON_LEVEL);
    bitlog_set_module_level("quiet", BITLOG_COMMON_LEVEL);
    trace_all(300);
    EXPECT_EQ(texts(nullptr),
              (std::vector<std::string>{"message 100", "message 101", "message 102", "message 104", "message 105",
                                        "message 106", "message 107", "message 200", "message 201", "message 202"}));
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_THAT(printed, HasSubstr("quiet: error: message 102 of ptp_clock\n"));
    EXPECT_THAT(printed, testing::Not(HasSubstr("debug")));
    bitlog_ring_close();
    testing::internal::CaptureStderr();
    bitlog_set_level(BITLOG_DEBUG);
    __BLf_0(&points, 400, loud, BITLOG_DEBUG);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "the default sink is alone again";
    EXPECT_EQ(bitlog_set_module_level("", BITLOG_DEBUG), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(bitlog_set_module_level(std::string(64, 'n').c_str(), 0), static_cast<uint32_t>(EINVAL));
}

TEST_F(ring, keeps_the_file_of_the_process_before_and_no_other) {
    const auto trace_once = [&](uint32_t number) {
        const uint32_t status = bitlog_ring_open(file_.c_str(), 16);
        __BLf_0(&points, number, 0, BITLOG_ERROR);
        bitlog_ring_close();
        return status;
    };
    EXPECT_EQ(trace_once(100), 0u);
    EXPECT_EQ(trace_once(200), 0u);
    EXPECT_EQ(texts(file_.c_str()), std::vector<std::string>{"message 200"});
    EXPECT_EQ(texts((file_ + ".old").c_str()), std::vector<std::string>{"message 100"});

    write(file_ + ".old", "precious");
    EXPECT_EQ(trace_once(300), static_cast<uint32_t>(EEXIST));
    EXPECT_EQ(read(file_ + ".old"), "precious");
    write(file_, "precious, too");
    EXPECT_EQ(trace_once(300), static_cast<uint32_t>(EEXIST));
    EXPECT_EQ(read(file_), "precious, too");
    write(file_, "");
    EXPECT_EQ(trace_once(300), 0u) << "an empty file is nothing to keep";
    fs::remove(file_);
    fs::create_symlink("elsewhere", file_);
    EXPECT_EQ(trace_once(300), static_cast<uint32_t>(EEXIST));

    EXPECT_EQ(bitlog_ring_open("/dev/null/ring", 16), static_cast<uint32_t>(ENOTDIR));
    EXPECT_EQ(bitlog_ring_open((folder_ / "none/ring").c_str(), 16), static_cast<uint32_t>(ENOENT));
    EXPECT_EQ(bitlog_ring_open(nullptr, BITLOG_MOST_CAPACITY + 1), static_cast<uint32_t>(EINVAL));
    ASSERT_EQ(bitlog_ring_open(nullptr, 0), 0u);
    EXPECT_EQ(bitlog_ring_open(nullptr, 0), static_cast<uint32_t>(EBUSY));
}

TEST_F(ring, takes_no_link_no_pipe_and_no_ring_of_another_user) {
    const auto reopen = [this](uint32_t allow_other_users) {
        bitlog_ring_close();
        const bitlog_ring_options options = {sizeof options, 16, allow_other_users};
        return bitlog_ring_open_with(file_.c_str(), &options);
    };
    ASSERT_EQ(reopen(0), 0u);
    fs::rename(file_, file_ + ".real");
    fs::create_symlink(file_ + ".real", file_);
    EXPECT_EQ(reopen(1), static_cast<uint32_t>(EEXIST));
    const reader linked = open(file_.c_str());  // reading changes nothing and may follow it
    fs::remove(file_);
    fs::create_symlink(file_ + ".nowhere", file_);
    EXPECT_EQ(reopen(1), static_cast<uint32_t>(EEXIST));
    EXPECT_FALSE(fs::exists(file_ + ".nowhere"));
    fs::remove(file_);
    ASSERT_EQ(mkfifo(file_.c_str(), 0600), 0);
    EXPECT_EQ(reopen(0), static_cast<uint32_t>(EEXIST));
    EXPECT_THAT(refusal(file_, EINVAL), HasSubstr("no regular file"));
    fs::remove(file_);
    const bitlog_ring_options unknown = {1, 16, 0};
    EXPECT_EQ(bitlog_ring_open_with(file_.c_str(), &unknown), static_cast<uint32_t>(EINVAL));

    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give files away";
    }
    for (const char *name : {"", ".old"}) {
        ASSERT_EQ(reopen(0), 0u);
        ASSERT_EQ(reopen(0), 0u);  // now there is an old one, too
        const std::string kept = read(file_);
        ASSERT_EQ(chown((file_ + name).c_str(), 12345, 12345), 0);
        EXPECT_EQ(reopen(0), static_cast<uint32_t>(EACCES)) << name;
        EXPECT_EQ(read(file_), kept);
        open(file_.c_str());
        EXPECT_EQ(reopen(1), 0u) << name;
        bitlog_ring_close();
        fs::remove(file_);
        fs::remove(file_ + ".old");
    }
}

TEST_F(ring, takes_what_a_child_process_traces) {
    ASSERT_EQ(bitlog_ring_open(file_.c_str(), 16), 0u);
    __BLf_0(&points, 100, 0, BITLOG_ERROR);
    const pid_t child = fork();
    if (child == 0) {
        __BLf_0(&points, 200, 0, BITLOG_ERROR);
        raise(SIGKILL);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
    const reader opened = open(file_.c_str());
    bitlog_entry entry;
    ASSERT_EQ(bitlog_reader_next(opened.get(), &entry, 0), 1);
    ASSERT_EQ(bitlog_reader_next(opened.get(), &entry, 0), 1);
    EXPECT_EQ(entry.record.number, 200u);
    EXPECT_EQ(entry.thread, static_cast<uint32_t>(child));
}

/** Sequence of a record in a file that holds no modules. */
constexpr size_t sequence_of(size_t slot) { return 77824 + 128 * slot; }

TEST_F(ring, passes_over_records_that_were_not_finished) {
    ASSERT_EQ(bitlog_ring_open(file_.c_str(), 8), 0u);
    for (uint32_t i = 0; i < 10; ++i) {
        __BLf_4(&points, 100, 0, BITLOG_ERROR, i);
    }
    bitlog_ring_close();
    std::string bytes = read(file_);
    bytes[sequence_of(3)] = 7;         // position 3 is being written
    bytes[sequence_of(1)] = 4;         // position 9 was claimed, its slot still holds position 1
    bytes[sequence_of(5) + 32] = 'x';  // no kind of argument
    write(file_, bytes);
    const reader opened = open(file_.c_str());
    std::vector<uint64_t> positions;
    uint64_t lost = 0;
    bitlog_entry entry;
    while (bitlog_reader_next(opened.get(), &entry, 0) != 0) {
        positions.push_back(entry.position);
        lost += entry.lost_before;
    }
    EXPECT_EQ(positions, (std::vector<uint64_t>{2, 4, 6, 7, 8}));
    EXPECT_EQ(lost, 2u);

    const reader patient = open(file_.c_str());
    EXPECT_EQ(bitlog_reader_next(patient.get(), &entry, 60000), 1);
    EXPECT_EQ(bitlog_reader_next(patient.get(), &entry, 60000), 0) << "position 3 may still come";
    bytes[sequence_of(3)] = 8;
    write(file_, bytes);
    ASSERT_EQ(bitlog_reader_next(patient.get(), &entry, 60000), 1);
    EXPECT_EQ(entry.position, 3u);
}

TEST_F(ring, refuses_what_is_none) {
    ASSERT_EQ(bitlog_ring_open(file_.c_str(), 8), 0u);
    __BLf_1(&points, 100, 0, BITLOG_ERROR, "text");
    bitlog_ring_close();
    const std::string good = read(file_);
    const auto damaged = [&](size_t offset, char byte) {
        std::string bytes = good;
        bytes[offset] = byte;
        write(file_, bytes);
        return refusal(file_, EINVAL);
    };
    EXPECT_THAT(damaged(0, 'b'), HasSubstr("does not begin as one"));
    EXPECT_THAT(damaged(8, 2), HasSubstr("another version"));
    EXPECT_THAT(damaged(12, 1), HasSubstr("byte order"));
    for (size_t offset : {16, 20, 24, 32, 40, 47}) {
        EXPECT_THAT(damaged(offset, 99), HasSubstr("sizes"));
    }
    EXPECT_THAT(damaged(28, 7), HasSubstr("number of records"));
    EXPECT_THAT(damaged(28, 0), HasSubstr("number of records"));
    EXPECT_THAT(damaged(28, 16), HasSubstr("shorter than its header says"));
    for (size_t length : {size_t{0}, size_t{7}, size_t{255}}) {
        write(file_, good.substr(0, length));
        EXPECT_THAT(refusal(file_, EINVAL), HasSubstr("too short"));
    }
    write(file_, good.substr(0, good.size() - 1));
    EXPECT_THAT(refusal(file_, EINVAL), HasSubstr("shorter than its header says"));
    EXPECT_THAT(refusal(folder_.string(), EINVAL), HasSubstr("no regular file"));
    EXPECT_THAT(refusal(file_ + "none", ENOENT), HasSubstr("cannot open: No such file"));
    bitlog_reader *none = nullptr;
    EXPECT_EQ(bitlog_reader_open(nullptr, &none, nullptr, 0), static_cast<uint32_t>(ENOENT));
}

TEST_F(ring, survives_any_damage_to_its_file) {
    uint16_t module = 0;
    bitlog_module_init_fn("ring_test", &module, nullptr);
    ASSERT_EQ(bitlog_ring_open(file_.c_str(), 8), 0u);
    for (uint32_t i = 0; i < 12; ++i) {
        __BLf_111(&points, 100, module, BITLOG_ERROR, "one", "two", nullptr);
    }
    bitlog_ring_close();
    const std::string good = read(file_);
    std::mt19937 random(1);
    for (int round = 0; round < 3000; ++round) {
        std::string bytes = good;
        for (int change = 0; change < 12; ++change) {
            // Half of the changes hit the header's counters or the records.
            const size_t area = random() % 3;
            const size_t offset = area == 0   ? 48 + random() % 96
                                  : area == 1 ? 256 + random() % 1192
                                              : sequence_of(0) + random() % 1024;
            bytes[offset] = static_cast<char>(random());
        }
        write(file_, bytes);
        const reader opened = open(file_.c_str());
        bitlog_entry entry;
        int count = 0;
        while (bitlog_reader_next(opened.get(), &entry, 0) != 0) {
            text(opened.get(), entry);
            bitlog_reader_module(opened.get(), entry.record.module_id);
            bitlog_reader_texts_fault(opened.get(), entry.record.module_id);
            ++count;
        }
        ASSERT_LE(count, 8);
    }
}

TEST_F(ring, leads_to_the_texts_of_the_library_that_traced) {
    const std::string library = file_ + ".so";
    fs::copy_file(TRACE_MODULE, library);
    void *loaded = dlopen(library.c_str(), RTLD_NOW);
    ASSERT_NE(loaded, nullptr) << dlerror();
    const auto *descriptor = static_cast<const bitlog_descriptor *>(dlsym(loaded, "trace_module_descriptor"));
    uint16_t module = 0;
    ASSERT_EQ(bitlog_ring_open(file_.c_str(), 8), 0u);
    bitlog_module_init_fn("copied_module", &module, descriptor);
    __BLf_1(&points, 65, module, BITLOG_ERROR, "No such file");
    __BLf_4(&points, 65, module, BITLOG_ERROR, 5);
    __BLf_0(&points, 64, 77, BITLOG_ERROR);
    bitlog_ring_close();
    const auto fault = [&] {
        const reader opened = open(file_.c_str());
        bitlog_entry entry;
        EXPECT_EQ(bitlog_reader_next(opened.get(), &entry, 0), 1);
        EXPECT_STREQ(bitlog_reader_module(opened.get(), module), "copied_module");
        const char *found = bitlog_reader_texts_fault(opened.get(), module);
        return std::string(found != nullptr ? found : "none");
    };
    EXPECT_EQ(fault(), "none");
    const std::vector<std::string> numbers_only = {"message 65: No such file", "message 65: 5", "message 64"};
    EXPECT_EQ(texts(file_.c_str()),
              (std::vector<std::string>{"create failed: No such file", "message 65 of ptp_clock: 5", "message 64"}))
        << "arguments that are not the text's belong to another build";
    dlclose(loaded);

    fs::create_directory(folder_ / "libraries");
    fs::rename(library, folder_ / "libraries" / fs::path(library).filename());
    EXPECT_THAT(fault(), HasSubstr(library + ": cannot open: No such file or directory"));
    EXPECT_EQ(texts(file_.c_str()), numbers_only);
    const reader elsewhere = open(file_.c_str());
    EXPECT_EQ(bitlog_reader_look_in(elsewhere.get(), (folder_ / "libraries").c_str()), 0u);
    bitlog_entry entry;
    ASSERT_EQ(bitlog_reader_next(elsewhere.get(), &entry, 0), 1);
    EXPECT_EQ(text(elsewhere.get(), entry), "create failed: No such file");
    fs::copy_file(OTHER_MODULE, library);
    EXPECT_THAT(fault(), HasSubstr(library + ": another build than the one that traced"));
    EXPECT_EQ(texts(file_.c_str()), numbers_only);
    fs::remove(library);
    ASSERT_EQ(mkfifo(library.c_str(), 0600), 0);
    EXPECT_THAT(fault(), HasSubstr(library + ": cannot open")) << "and does not wait for a writer";
}

}  // namespace
