// Files of rings: which are taken, kept and refused, and what damage does.
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <random>

#include "ring_fixture.h"

using testing::HasSubstr;

namespace {

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

}  // namespace
