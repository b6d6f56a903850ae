// Rings of a test's own, in a folder of its own, and what they hold.
#pragma once

#include <gmock/gmock.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

#include "bitlog.h"

namespace fs = std::filesystem;

inline const bitlog_trace_points points = {"ptp_clock", 64, 64};

inline void ignore(void *, const bitlog_record *) {}

struct reader_closer {
    void operator()(bitlog_reader *reader) const { bitlog_reader_close(reader); }
};
using reader = std::unique_ptr<bitlog_reader, reader_closer>;

inline std::string read(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void write(const std::string &path, const std::string &content) {
    std::ofstream(path, std::ios::binary) << content;
}

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
