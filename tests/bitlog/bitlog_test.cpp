// What a process traces: levels, texts, the registration of a module.
#include "bitlog.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <thread>
#include <vector>

namespace {

const bitlog_trace_points points = {"ptp_clock", 64, 64};
int some_object;

// Keeps copies of what it is given.
struct recording_sink {
    struct entry {
        bitlog_record record;
        std::vector<std::string> texts;  // of the arguments of kind '1'
    };
    std::vector<entry> entries;

    recording_sink() { bitlog_set_sink(&receive, this); }
    ~recording_sink() {
        bitlog_set_sink(nullptr, nullptr);
        bitlog_set_level(BITLOG_DEBUG);
    }
    static void receive(void *cookie, const bitlog_record *record) {
        entry kept{*record, {}};
        for (uint32_t i = 0; i < record->argument_count; ++i) {
            if (record->kind[i] == '1') {
                kept.texts.emplace_back(record->argument[i].text != nullptr ? record->argument[i].text : "(null)");
            }
        }
        errno = EIO;
        static_cast<recording_sink *>(cookie)->entries.push_back(kept);
    }
};

// Stands in for stderr; one packet per write.
class captured_stderr {
  public:
    captured_stderr() {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0, ends_), 0);
        saved_ = dup(STDERR_FILENO);
        dup2(ends_[1], STDERR_FILENO);
    }
    ~captured_stderr() {
        dup2(saved_, STDERR_FILENO);
        for (int fd : {ends_[0], ends_[1], saved_}) {
            close(fd);
        }
    }
    std::vector<std::string> writes() {
        std::vector<std::string> result;
        char buffer[4096];
        ssize_t length;
        while ((length = read(ends_[0], buffer, sizeof buffer)) > 0) {
            result.emplace_back(buffer, static_cast<size_t>(length));
        }
        return result;
    }

  private:
    int ends_[2];
    int saved_;
};

class test_module {
  public:
    test_module() : library_(dlopen(TRACE_MODULE, RTLD_NOW)) { EXPECT_NE(library_, nullptr) << dlerror(); }
    ~test_module() { dlclose(library_); }
    const bitlog_descriptor *descriptor(const char *name) {
        return static_cast<const bitlog_descriptor *>(dlsym(library_, name));
    }

  private:
    void *library_;
};

uint16_t module_number(const char *name, const bitlog_descriptor *descriptor) {
    uint16_t number = 0;
    EXPECT_EQ(bitlog_module_init_fn(name, &number, descriptor), 0u);
    EXPECT_NE(number, 0);
    return number;
}

bitlog_record type_info_of(uint16_t module, uint32_t number) {
    bitlog_record record = {};
    record.points = &points;
    record.number = number;
    record.module_id = module;
    record.level = BITLOG_ERROR;
    return record;
}

void add(bitlog_record &record, uint32_t number) {
    record.kind[record.argument_count] = '4';
    record.argument[record.argument_count++].number = number;
}

void add(bitlog_record &record, const char *text) {
    record.kind[record.argument_count] = '1';
    record.argument[record.argument_count++].text = text;
}

std::string format(const bitlog_record &record) {
    char buffer[256];
    size_t length = bitlog_format(&record, buffer, sizeof buffer);
    EXPECT_EQ(length, strlen(buffer));
    return buffer;
}

TEST(EntryPoints, FillTheRecordByTheirSignature) {
    recording_sink sink;
    __BLf_0(&points, 100, 3, BITLOG_EMERGENCY);
    __BLf_1(&points, 101, 3, BITLOG_ERROR, "a");
    __BLf_4(&points, 102, 3, BITLOG_INFORMATIONAL, 4000000000u);
    __BLf_11(&points, 103, 3, BITLOG_DEBUG, "a", nullptr);
    __BLf_44(&points, 104, 3, BITLOG_ERROR, 1, 2);
    __BLf_51(&points, 105, 3, BITLOG_ERROR, &some_object, "b");
    __BLf_111(&points, 106, 3, BITLOG_ERROR, "a", "b", "c");
    __BLf_444(&points, 107, 3, BITLOG_ERROR, 7, 8, 9);

    const std::vector<std::string> kinds = {"", "1", "4", "11", "44", "51", "111", "444"};
    ASSERT_EQ(sink.entries.size(), kinds.size());
    for (size_t i = 0; i < kinds.size(); ++i) {
        const bitlog_record &record = sink.entries[i].record;
        EXPECT_EQ(record.points, &points);
        EXPECT_EQ(record.number, 100 + i);
        EXPECT_EQ(record.module_id, 3);
        EXPECT_EQ(std::string(record.kind, record.argument_count), kinds[i]);
    }
    EXPECT_EQ(sink.entries[0].record.level, static_cast<uint32_t>(BITLOG_EMERGENCY));
    EXPECT_EQ(sink.entries[2].record.level, static_cast<uint32_t>(BITLOG_INFORMATIONAL));
    EXPECT_EQ(sink.entries[2].record.argument[0].number, 4000000000u);
    EXPECT_EQ(sink.entries[3].texts, (std::vector<std::string>{"a", "(null)"}));
    EXPECT_EQ(sink.entries[4].record.argument[1].number, 2u);
    EXPECT_EQ(sink.entries[5].record.argument[0].address, &some_object);
    EXPECT_EQ(sink.entries[5].texts, (std::vector<std::string>{"b"}));
    EXPECT_EQ(sink.entries[6].texts, (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(sink.entries[7].record.argument[2].number, 9u);
}

TEST(EntryPoints, LeaveErrnoAlone) {
    recording_sink sink;
    errno = ENOSPC;
    __BLf_0(&points, 64, 1, BITLOG_ERROR);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(sink.entries.size(), 1u);
}

TEST(Level, KeepsLessSevereMessagesFromTheSink) {
    recording_sink sink;
    const uint32_t levels[] = {BITLOG_EMERGENCY, BITLOG_ERROR, BITLOG_INFORMATIONAL, BITLOG_DEBUG};
    size_t expected = 0;
    for (size_t heard = 0; heard < 4; ++heard) {
        bitlog_set_level(levels[heard]);
        EXPECT_EQ(bitlog_get_level(), levels[heard]);
        for (uint32_t level : levels) {
            __BLf_0(&points, 64, 1, level);
        }
        expected += heard + 1;
        EXPECT_EQ(sink.entries.size(), expected);
    }
}

TEST(Level, HasNames) {
    EXPECT_STREQ(bitlog_level_name(BITLOG_EMERGENCY), "emergency");
    EXPECT_STREQ(bitlog_level_name(BITLOG_ERROR | 5), "error");
    EXPECT_STREQ(bitlog_level_name(BITLOG_DEBUG), "debug");
    EXPECT_STREQ(bitlog_level_name(0xFF000000), "unknown");
}

TEST(Modules, KeepTheirNumber) {
    static const bitlog_descriptor descriptor = {"first", nullptr};
    uint16_t first = module_number("first", &descriptor);
    uint16_t second = module_number("second", nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(module_number("first", &descriptor), first);
    EXPECT_STREQ(bitlog_module_name(first), "first");
    EXPECT_EQ(bitlog_module_name(0), nullptr);
    EXPECT_EQ(bitlog_module_name(60000), nullptr);
}

TEST(Modules, RegisterOnceFromManyThreads) {
    static uint16_t shared = 0;
    std::vector<std::thread> threads;
    std::vector<uint16_t> numbers(8, 0);
    threads.reserve(numbers.size());
    for (uint16_t &number : numbers) {
        threads.emplace_back([&number] {
            for (int i = 0; i < 1000; ++i) {
                bitlog_module_init_fn("shared", &shared, nullptr);
            }
            bitlog_module_init_fn("shared", &number, nullptr);
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(numbers, std::vector<uint16_t>(8, shared));
}

TEST(Modules, RefuseBadNamesAndTooMany) {
    uint16_t number = 0;
    std::string longest(63, 'n');
    EXPECT_EQ(bitlog_module_init_fn(nullptr, &number, nullptr), 22u);
    EXPECT_EQ(bitlog_module_init_fn("", &number, nullptr), 22u);
    EXPECT_EQ(bitlog_module_init_fn((longest + "n").c_str(), &number, nullptr), 22u);
    EXPECT_EQ(number, 0);
    EXPECT_EQ(bitlog_module_init_fn(longest.c_str(), &number, nullptr), 0u);

    auto fill = [] {
        uint16_t id = 0;
        uint32_t status = 0;
        for (int i = 0; i < 100; ++i) {
            id = 0;
            status = bitlog_module_init_fn(("module " + std::to_string(i)).c_str(), &id, nullptr);
        }
        _exit(status == 12 && id == 0 ? 0 : 1);
    };
    EXPECT_EXIT(fill(), testing::ExitedWithCode(0), "");
}

TEST(Texts, ComeFromTheSectionOfTheModulesFile) {
    test_module module;
    uint16_t id = module_number("trace_module", module.descriptor("trace_module_descriptor"));
    EXPECT_EQ(format(type_info_of(id, 64)), "corrupted handle");
    EXPECT_EQ(format(type_info_of(id, 4294967295u)), "the last one");

    bitlog_record created = type_info_of(id, 65);
    add(created, "No such file or directory");
    EXPECT_EQ(format(created), "create failed: No such file or directory");

    bitlog_record position = type_info_of(id, 70);
    add(position, static_cast<uint32_t>(-5));
    add(position, 4294967291u);
    add(position, 100);
    EXPECT_EQ(format(position), "position -5 of 4294967291, 100 %");

    bitlog_record object = type_info_of(id, 71);
    object.kind[object.argument_count] = '5';
    object.argument[object.argument_count++].address = reinterpret_cast<const void *>(0xbeef);
    add(object, static_cast<const char *>(nullptr));
    EXPECT_EQ(format(object), "object 0xbeef refused: (null)");
}

TEST(Texts, StayWhenTheModuleIsUnloadedAndComesBack) {
    uint16_t id = 0;
    {
        test_module module;
        id = module_number("trace_module", module.descriptor("trace_module_descriptor"));
        EXPECT_EQ(format(type_info_of(id, 64)), "corrupted handle");
    }
    EXPECT_EQ(format(type_info_of(id, 64)), "corrupted handle");
    test_module again;
    EXPECT_EQ(module_number("trace_module", again.descriptor("trace_module_descriptor")), id);
}

TEST(Texts, NeverReadArgumentsThatAreNotThere) {
    test_module module;
    uint16_t id = module_number("trace_module", module.descriptor("trace_module_descriptor"));
    bitlog_record record = type_info_of(id, 72);
    add(record, 5);  // where the text expects a string
    EXPECT_EQ(format(record), "asks for more: 5 (missing)");
}

TEST(Texts, FallBackToNumberAndArguments) {
    test_module module;
    static const bitlog_descriptor elsewhere = {"elsewhere", ".no_such_section"};
    const uint16_t without[] = {
        0,
        module_number("plain", nullptr),
        module_number("elsewhere", &elsewhere),
        module_number("damaged_module", module.descriptor("damaged_descriptor")),
        module_number("cut_module", module.descriptor("cut_descriptor")),
    };
    for (uint16_t id : without) {
        EXPECT_EQ(format(type_info_of(id, 65)), "message 65 of ptp_clock");
        bitlog_record record = type_info_of(id, 65);
        add(record, "text");
        add(record, 7);
        EXPECT_EQ(format(record), "message 65 of ptp_clock: text, 7");
    }
    uint16_t id = module_number("trace_module", module.descriptor("trace_module_descriptor"));
    EXPECT_EQ(format(type_info_of(id, 67)), "message 67 of ptp_clock") << "a number without a text";
}

TEST(Texts, AreCutToTheRoomAndCountedInFull) {
    bitlog_record record = type_info_of(0, 65);
    const std::string whole = "message 65 of ptp_clock";
    EXPECT_EQ(bitlog_format(&record, nullptr, 0), whole.size());
    for (size_t room = 1; room <= whole.size() + 1; ++room) {
        std::vector<char> buffer(room, 'x');
        EXPECT_EQ(bitlog_format(&record, buffer.data(), room), whole.size());
        EXPECT_EQ(std::string(buffer.data()), whole.substr(0, room - 1));
    }
}

TEST(DefaultSink, PrintsErrorsInOneWriteEach) {
    test_module module;
    uint16_t id = module_number("trace_module", module.descriptor("trace_module_descriptor"));
    captured_stderr captured;
    __BLf_0(&points, 64, id, BITLOG_EMERGENCY);
    __BLf_1(&points, 65, id, BITLOG_ERROR, "two\nlines\x1b[2J");
    __BLf_44(&points, 66, id, BITLOG_INFORMATIONAL, 3, 2);
    __BLf_0(&points, 64, id, BITLOG_DEBUG);
    EXPECT_EQ(captured.writes(),
              (std::vector<std::string>{"trace_module: emergency: ptp_clock: corrupted handle\n",
                                        "trace_module: error: ptp_clock: create failed: two?lines?[2J\n"}));
    bitlog_set_level(BITLOG_EMERGENCY);
    __BLf_1(&points, 65, id, BITLOG_ERROR, "not heard");
    bitlog_set_level(BITLOG_DEBUG);
    EXPECT_TRUE(captured.writes().empty());
}

TEST(DefaultSink, CutsALongLine) {
    captured_stderr captured;
    for (size_t length = 900; length < 1100; ++length) {
        __BLf_1(&points, 65, 0, BITLOG_ERROR, std::string(length, 'x').c_str());
    }
    std::vector<std::string> lines = captured.writes();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front().substr(lines.front().size() - 4), "xxx\n");
    EXPECT_EQ(lines.back().substr(lines.back().size() - 4), "...\n");
    EXPECT_LE(lines.back().size(), 1024u);
}

}  // namespace
