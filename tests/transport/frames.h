// Messages and handles for the tests of bundles and channels.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "vela_bundle.h"

namespace test {

using bytes = std::vector<u_int8>;

inline void put_u32(bytes &to, size_t at, u_int32 value) {
    for (size_t i = 0; i < 4; ++i) {
        to.at(at + i) = static_cast<u_int8>(value >> (24 - 8 * i));
    }
}

// A marshalled message with `payload` bytes behind its header; `mark` is in its identity and fills its payload.
inline bytes make_message(u_int8 mark, u_int32 payload) {
    bytes result(VELA_BUNDLE_LEAST_MESSAGE + size_t{payload}, mark);
    for (size_t i = 0; i < VELA_WIRE_MESSAGE_HEADER; ++i) {
        result.at(i) = i == 0 ? u_int8{VELA_MESSAGE_TAG} : u_int8{0};
    }
    put_u32(result, 12, static_cast<u_int32>(result.size()));
    return result;
}

struct handle_deleter {
    void operator()(vela_handle *handle) const { vela_handle_destroy(handle, nullptr); }
};
using handle_ptr = std::unique_ptr<vela_handle, handle_deleter>;

inline handle_ptr make_handle() {
    u_int32 err = 0;
    handle_ptr handle(vela_handle_create(nullptr, &err));
    EXPECT_EQ(err, 0u);
    return handle;
}

}  // namespace test
