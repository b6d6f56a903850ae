// What the generated tests of every class stand on: handles of each kind, and reading by reflection.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "ptp_cfg.h"
#include "ptp_cfg.hpp"
#include "ptp_cfg/cpp/formats.hpp"

namespace {

/** Setting takes another way when somebody is told of it, and when there are flags to set. */
enum class handle_kind { plain, told, tracked };

class EveryType : public ::testing::TestWithParam<handle_kind> {
  protected:
    static ptp::handle make_handle() {
        vela_handle_options options = {};
        options.size = sizeof options;
        options.tracking = GetParam() == handle_kind::tracked ? u_int32{VELA_STTR_ON} : 0;
        if (GetParam() == handle_kind::told) {
            options.pre_write = [](void *, void *, size_t, u_int32) {};
        }
        return ptp::handle::create(&options).value();
    }

    ptp::handle handle_ = make_handle();
};

INSTANTIATE_TEST_SUITE_P(Handles, EveryType,
                         ::testing::Values(handle_kind::plain, handle_kind::told, handle_kind::tracked));

template <class T>
const T &present(const T &value) {
    return value;
}
template <class T>
T present(const ptp::result<T> &value) {
    return value.value();
}

template <class View>
const void *place(const View &view) {
    return view.c_instance();
}

template <class Record>
void *stored(Record &record, u_int32 field, u_int32 element = 0) {
    u_int32 err = 0;
    void *found =
        ptp_cfg_field_get(ptp::type_of<Record>(), field, record.c_handle(), 0, record.c_instance(), element, &err);
    EXPECT_EQ(err, 0u);
    return found;
}

template <class Record>
u_int64 number(Record &record, u_int32 field, u_int32 element = 0) {
    u_int32 err = 0;
    const u_int64 found = ptp_cfg_field_get_value(ptp::type_of<Record>(), field, record.c_handle(), 0,
                                                  record.c_instance(), element, &err);
    EXPECT_EQ(err, 0u);
    return found;
}

/** Bytes that differ from field to field. */
template <class T>
T filled(u_int32 seed) {
    T value = {};
    u_int8 bytes[sizeof value];
    std::memset(bytes, static_cast<int>(seed), sizeof bytes);
    std::memcpy(&value, bytes, sizeof value);
    return value;
}
template <class T>
bool same(const T &a, const T &b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

/** What holds for a structure as a whole: copies are equal, what is encoded comes back, each field is visited. */
template <class Record>
void expect_whole(const Record &record, int fields) {
    auto copy = record.clone().value();
    EXPECT_TRUE(copy == record && std::hash<Record>()(copy) == std::hash<Record>()(record));
    auto received = ptp::decode<Record>(record.c_handle(), ptp::to_bytes(record).value()).value();
    EXPECT_TRUE(received == record);
    int visited = 0;
    record.visit([&](std::string_view, const auto &) { ++visited; });
    EXPECT_EQ(visited, fields);
}

template <class Message>
void expect_travels(Message &message, int payloads) {
    const std::vector<u_int8> bytes = ptp::to_bytes(message).value();
    auto received = ptp::decode<Message>(message.c_handle(), bytes).value();
    EXPECT_EQ(ptp::to_bytes(received).value(), bytes);
    int visited = 0;
    message.visit([&](std::string_view, const auto &) { ++visited; });
    EXPECT_EQ(visited, payloads);
    int taken = 0;
    EXPECT_EQ(ptp::dispatch(message.c_handle(), bytes, [&](Message &&) { ++taken; }).value().failed, 0u);
    EXPECT_EQ(taken, 1);
}

}  // namespace
