// Reading: files that were cut, damaged or made to mislead.
#include <sys/resource.h>

#include <random>

#include "recording_files.h"

namespace {

namespace fs = std::filesystem;
using test::bytes;
using test::forged_head;
using test::item;

#ifdef __SANITIZE_ADDRESS__
constexpr rlim_t most_data = RLIM_INFINITY;  // its own memory is beyond any limit
#else
constexpr rlim_t most_data = rlim_t{16} << 20;
#endif
constexpr size_t first_at = 8, record_size = 28 + 20;

class HostileRecording : public test::RecordingFiles {
  protected:
    /** Three records of 20 bytes. */
    bytes three() {
        {
            const auto recorder = open();
            for (u_int64 i = 1; i <= 3; ++i) {
                append(recorder, i, bytes(20, static_cast<u_int8>(i)));
            }
        }
        return load(file);
    }
};

TEST_F(HostileRecording, ATornTailIsSkippedAndCutAtEveryByte) {
    const bytes whole = three();
    for (size_t size = 0; size < whole.size(); ++size) {
        store(file, bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)));
        const size_t records = size < first_at ? 0 : (size - first_at) / record_size;
        const size_t end = size < first_at ? 0 : first_at + records * record_size;
        const std::vector<item> items = read();
        ASSERT_EQ(items.size(), records + (end < size ? 1 : 0)) << size;
        if (end < size) {
            ASSERT_EQ(items.back().kind, VELA_RECORDING_TORN) << size;
            ASSERT_EQ(items.back().offset, end);
        }
        {
            const auto recorder = open();
            ASSERT_NE(recorder, nullptr) << size;
            EXPECT_EQ(said.empty(), end == size) << said;
            EXPECT_EQ(statistics(recorder).cut_bytes, size - end);
            ASSERT_EQ(append(recorder, records + 1, bytes(20, 9)), 0u);
        }
        ASSERT_EQ(times().size(), records + 1);
        ASSERT_EQ(read().size(), records + 1) << size;
    }
}

TEST_F(HostileRecording, DamageIsReportedWithItsPlaceAndTheRestIsRead) {
    const bytes whole = three();
    const size_t middle = first_at + record_size;
    for (size_t at = middle; at < middle + record_size; ++at) {
        bytes changed = whole;
        changed[at] ^= 0x41;
        store(file, changed);
        ASSERT_EQ(times(), (std::vector<u_int64>{1, 3})) << at;
        const std::vector<item> items = read();
        ASSERT_EQ(items.size(), 3u);
        EXPECT_EQ(items[1].kind, VELA_RECORDING_DAMAGED);
        EXPECT_EQ(items[1].offset, middle);
        EXPECT_EQ(items[1].extent, record_size);
    }
    for (size_t at = 0; at < first_at; ++at) {
        bytes changed = whole;
        changed[at] ^= 0x41;
        store(file, changed);
        EXPECT_EQ(count(VELA_RECORDING_DAMAGED), 1u) << "one place, the whole file";
        EXPECT_EQ(open(), nullptr);
        EXPECT_EQ(load(file), changed);
    }
}

TEST_F(HostileRecording, DamageAtTheEndIsNotCutAndDoesNotHideWhatFollows) {
    bytes changed = three();
    changed[first_at + 2 * record_size + 5] ^= 1;
    store(file, changed);
    append(open(), 4, bytes(20, 4));
    EXPECT_EQ(times(), (std::vector<u_int64>{1, 2, 4}));
    EXPECT_EQ(count(VELA_RECORDING_DAMAGED), 1u);
}

TEST_F(HostileRecording, LyingLengthsCostNeitherMemoryNorTheRest) {
    const bytes whole = three();
    for (const u_int32 length : {21u, 20u + 28, 1000u, 64u << 20, (64u << 20) + 1, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        bytes changed = whole;
        const bytes head = forged_head(length);
        std::copy(head.begin(), head.end(), changed.begin() + first_at + record_size);
        store(file, changed);
        rlimit before{};
        getrlimit(RLIMIT_DATA, &before);
        const rlimit small = {most_data, before.rlim_max};
        setrlimit(RLIMIT_DATA, &small);
        const std::vector<item> items = read();
        EXPECT_EQ(err, 0u);
        setrlimit(RLIMIT_DATA, &before);
        ASSERT_GE(items.size(), 2u) << length;
        EXPECT_EQ(items[0].kind, VELA_RECORDING_RECORD);
        EXPECT_EQ(items[1].kind, VELA_RECORDING_DAMAGED);
        EXPECT_EQ(items.back().time_ns, 3u) << length;
    }
    // Heads only, each longer than the file: as many places as heads, in a time that grows with the file only.
    bytes heads(whole.begin(), whole.begin() + first_at);
    const bytes head = forged_head(60u << 20);
    for (int i = 0; i < 20'000; ++i) {
        heads.insert(heads.end(), head.begin(), head.end());
    }
    store(file, heads);
    EXPECT_EQ(read().size(), 20'000u);
}

TEST_F(HostileRecording, GarbageIsWalkedThrough) {
    std::mt19937 random(7);
    const bytes whole = three();
    for (int round = 0; round < 300; ++round) {
        bytes garbage(whole.begin(), whole.begin() + first_at);
        for (int piece = 0; piece < 20; ++piece) {
            switch (random() % 4) {
                case 0:
                    garbage.insert(garbage.end(), whole.begin() + first_at, whole.begin() + first_at + record_size);
                    break;
                case 1:
                    garbage.insert(garbage.end(), whole.begin() + first_at,
                                   whole.begin() + first_at + static_cast<ptrdiff_t>(random() % record_size));
                    break;
                case 2:
                    garbage.insert(garbage.end(), random() % 5000, 0xF5);
                    break;
                default:
                    for (size_t i = random() % 100; i > 0; --i) {
                        garbage.push_back(static_cast<u_int8>(random()));
                    }
            }
        }
        fs::remove(file + ".1");  // of the round before
        store(file, garbage);
        u_int64 sum = first_at;
        for (const item &each : read()) {
            sum += each.extent;
        }
        ASSERT_EQ(sum, garbage.size());
        ASSERT_EQ(append(open(), 77, {1}), 0u);
        ASSERT_EQ(times().back(), 77u);
    }
}

}  // namespace
