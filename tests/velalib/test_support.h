// What the runtime's tests share: a handle that must end up empty, and witnesses of what it announces and allocates.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "velalib.h"

namespace velalib_test {

constexpr u_int32 test_class = 7;

/** One announcement of a store. */
struct announcement {
    const void *address;
    size_t length;
    u_int32 mem_class;
    bool operator==(const announcement &) const = default;
};

/** Cookie of the hooks below. */
struct witness {
    std::vector<announcement> stores;
    std::vector<announcement> counters;
    int allocations_left = -1;  // negative: no limit
    int blocks_out = 0;
};

inline void see_store(void *cookie, void *address, size_t length, u_int32 mem_class) {
    static_cast<witness *>(cookie)->stores.push_back({address, length, mem_class});
}
inline void see_counter(void *cookie, void *address, size_t length, u_int32 mem_class) {
    static_cast<witness *>(cookie)->counters.push_back({address, length, mem_class});
}
inline void *limited_alloc(void *cookie, u_int32, size_t size) {
    witness &seen = *static_cast<witness *>(cookie);
    if (seen.allocations_left == 0) {
        return nullptr;
    }
    if (seen.allocations_left > 0) {
        --seen.allocations_left;
    }
    ++seen.blocks_out;
    return std::malloc(size);
}
inline void counted_free(void *cookie, u_int32, void *memory) {
    --static_cast<witness *>(cookie)->blocks_out;
    std::free(memory);
}

inline vela_handle_options default_options() {
    vela_handle_options options = {};
    options.size = sizeof options;
    return options;
}

/** A handle whose stores are witnessed; what it still holds at the end is a failure. */
class handle_test : public testing::Test {
  protected:
    void SetUp() override {
        options.cookie = &seen;
        options.pre_write = see_store;
        options.pre_write_counter = see_counter;
        open();
    }

    /** Makes the handle anew after a change of `options`. */
    void open() {
        close();
        u_int32 failure = 0;
        handle = vela_handle_create(&options, &failure);
        ASSERT_NE(handle, nullptr) << failure;
    }

    void close() {
        vela_handle_report report = {};
        vela_handle_destroy(handle, &report);
        handle = nullptr;
        EXPECT_EQ(report.blocks, 0u);
        EXPECT_EQ(report.bytes, 0u);
        EXPECT_EQ(seen.blocks_out, 0);
    }

    /** Lets the test's own allocator serve the handle, failing after some allocations. */
    void open_with_limit(int allocations) {
        options.alloc = limited_alloc;
        options.free = counted_free;
        seen.allocations_left = allocations;
        open();
    }

    void TearDown() override { close(); }

    /** Expects an error in both places and clears it. */
    void expect_failure(u_int32 code) {
        EXPECT_EQ(err, code);
        EXPECT_EQ(handle->last_error.code, code);
        err = 0;
        vela_clear_last_error(handle);
    }

    vela_handle_options options = default_options();
    vela_handle *handle = nullptr;
    witness seen;
    u_int32 err = 0;
};

/** A parsed document. */
class document {
  public:
    explicit document(const std::string &text) {
        parsed_ = vela_xml_parse(text.data(), text.size(), reason_, sizeof reason_);
    }
    ~document() { vela_xml_destroy(parsed_); }
    document(const document &) = delete;
    document &operator=(const document &) = delete;
    operator vela_xml_document *() const { return parsed_; }
    std::string reason() const { return reason_; }

  private:
    vela_xml_document *parsed_;
    char reason_[200] = "";
};

/** A type-information record with a table of `count` variants. */
struct type_record {
    explicit type_record(const char *name, int8 count = 1, const char *luid_text = "00112233445566778899aabbccddeeff") {
        for (int8 i = 0; i < count; ++i) {
            rows[i] = {static_cast<u_int32>(i), 16u + static_cast<u_int32>(i), 8, 3, 2, 0};
        }
        table = {count, rows};
        info = {};
        info.magic = VELA_TYPE_INFO_MAGIC;
        for (size_t i = 0; i < sizeof info.luid; ++i) {
            info.luid[i] = static_cast<u_int8>(i + 1);
        }
        snprintf(info.luid_text, sizeof info.luid_text, "%s", luid_text);
        snprintf(info.type_name, sizeof info.type_name, "%s", name);
        info.signed_word = -1;
        info.variant_table = &table;
    }
    vela_variant_row rows[4] = {};
    vela_variant_table table;
    vela_type_info info;
};

/** The least instance: a header and room to 16 bytes. */
struct small_instance {
    vela_instance_header header = {};
};

}  // namespace velalib_test
