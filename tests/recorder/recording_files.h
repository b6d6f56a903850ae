// A folder with a recording, and what is read from it.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "vela_recorder.h"

namespace test {

namespace fs = std::filesystem;
using bytes = std::vector<u_int8>;

/** A place of a recording, copied. */
struct item {
    vela_recording_kind kind;
    u_int64 time_ns;
    u_int32 source;
    bytes content;
    std::string file;
    u_int64 offset;
    u_int64 extent;
};

/** A head whose checksum is right, whatever it says. */
inline bytes forged_head(u_int32 length) {
    bytes head = {0xF5, 0xA9, 0x5A, 0xC3};
    for (int shift = 24; shift >= 0; shift -= 8) {
        head.push_back(static_cast<u_int8>(length >> shift));
    }
    head.resize(24);
    u_int32 crc = ~0u;
    for (const u_int8 byte : head) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320u : 0);
        }
    }
    for (int shift = 24; shift >= 0; shift -= 8) {
        head.push_back(static_cast<u_int8>(~crc >> shift));
    }
    return head;
}

struct close_recorder {
    void operator()(vela_recorder *recorder) const { vela_recorder_close(recorder, nullptr); }
};
using recorder_ptr = std::unique_ptr<vela_recorder, close_recorder>;

class RecordingFiles : public testing::Test {
  protected:
    RecordingFiles() {
        char name[] = "/tmp/recorder_test_XXXXXX";
        EXPECT_NE(mkdtemp(name), nullptr);
        folder = name;
        file = folder + "/log.rec";
    }
    ~RecordingFiles() override { fs::remove_all(folder); }

    recorder_ptr open(u_int64 max_file_bytes = 0, u_int32 files = 0) {
        const vela_recorder_options options = {sizeof options,    max_file_bytes, files, 0,
                                               allow_other_users, allow_links};
        char text[256] = "";
        err = 0;
        recorder_ptr recorder(vela_recorder_open(file.c_str(), &options, text, sizeof text, &err));
        EXPECT_EQ(recorder == nullptr, err != 0);
        said = text;
        return recorder;
    }
    /** Returns the error word. */
    static u_int32 append(const recorder_ptr &recorder, u_int64 time_ns, const bytes &content, u_int32 source = 0) {
        u_int32 code = 0;
        const u_int32 accepted = vela_recorder_append(recorder.get(), time_ns, source, content.data(),
                                                      static_cast<u_int32>(content.size()), &code);
        EXPECT_EQ(accepted, code == 0 ? 1u : 0u);
        return code;
    }
    static vela_recorder_statistics statistics(const recorder_ptr &recorder) {
        vela_recorder_statistics result{};
        vela_recorder_get_statistics(recorder.get(), &result);
        return result;
    }

    /** All places, which must take every byte of the files. */
    std::vector<item> read() {
        std::vector<item> items;
        err = 0;
        vela_recording *recording = vela_recording_open(file.c_str(), nullptr, 0, &err);
        if (recording == nullptr) {
            return items;
        }
        vela_recording_item next;
        std::string last_file;
        u_int64 offset = 0;
        while (vela_recording_next(recording, &next, &err) != 0) {
            EXPECT_EQ(next.kind == VELA_RECORDING_RECORD, next.reason == nullptr);
            EXPECT_GT(next.extent, 0u);
            if (last_file == next.file) {
                EXPECT_EQ(next.offset, offset);
            }
            last_file = next.file;
            offset = next.offset + next.extent;
            items.push_back({next.kind, next.time_ns, next.source, bytes(next.bytes, next.bytes + next.length),
                             last_file, next.offset, next.extent});
        }
        EXPECT_EQ(vela_recording_position(recording), vela_recording_size(recording));
        vela_recording_close(recording);
        return items;
    }
    /** Times of the whole records. */
    std::vector<u_int64> times() {
        std::vector<u_int64> result;
        for (const item &each : read()) {
            if (each.kind == VELA_RECORDING_RECORD) {
                result.push_back(each.time_ns);
            }
        }
        return result;
    }
    size_t count(vela_recording_kind kind) {
        size_t sum = 0;
        for (const item &each : read()) {
            sum += each.kind == kind ? 1 : 0;
        }
        return sum;
    }

    static bytes load(const std::string &name) {
        std::ifstream stream(name, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    static void store(const std::string &name, const bytes &content) {
        std::ofstream(name, std::ios::binary)
            .write(reinterpret_cast<const char *>(content.data()), static_cast<std::streamsize>(content.size()));
    }

    u_int32 allow_other_users = 0;
    u_int32 allow_links = 0;
    std::string folder;
    std::string file;
    std::string said;
    u_int32 err = 0;
};

}  // namespace test
