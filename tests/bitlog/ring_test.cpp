// Rings: what is traced can be read again, whatever else happens meanwhile.
#include <dlfcn.h>
#include <sys/wait.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <thread>

#include "ring_fixture.h"

using testing::HasSubstr;

namespace {

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
