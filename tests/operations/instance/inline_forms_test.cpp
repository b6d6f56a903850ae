// An accessor's inline form and the exported function do the same: to the instance, the error word and the handle.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "ptp_cfg/clock.h"
#include "ptp_cfg/commands.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/port_stream.h"
#include "ptp_cfg_inline.h"
#include "recording_handle.h"

namespace ptp_cfg_test {
namespace {

struct setting {
    const char *name;
    u_int32 tracking;
    bool hook;
};
std::ostream &operator<<(std::ostream &out, const setting &it) { return out << it.name; }

size_t bytes_notified = 0;
void count_notified(void *, void *, size_t length, u_int32) { bytes_notified += length; }

/** The exported function, behind a pointer that the compiler does not see through. */
template <class F>
F *exported(F *function) {
    F *volatile pointer = function;
    return pointer;
}

/** A type whose instances are accessed. */
template <class T>
struct subject {
    T *(*create)(vela_handle *, u_int32);
    u_int32 (*size)(vela_handle *);
    int latest;
};
constexpr subject<ptp_clock_quality> quality = {ptp_clock_quality_create, ptp_clock_quality_sizeof, 0};
constexpr subject<ptp_clock_identity> identity = {ptp_clock_identity_create, ptp_clock_identity_sizeof, 0};
constexpr subject<ptp_clock> a_clock = {ptp_clock_create, ptp_clock_sizeof, 0};
constexpr subject<ptp_utc_offset> utc_offset = {ptp_utc_offset_create, ptp_utc_offset_sizeof, 2};
constexpr subject<ptp_port> port = {ptp_port_create, ptp_port_sizeof, 0};
constexpr subject<ptp_ipv4_streams_arr> list = {ptp_ipv4_streams_arr_create, ptp_ipv4_streams_arr_sizeof, 0};
constexpr subject<ptp_clock_accuracy> accuracy = {ptp_clock_accuracy_create,
                                                  [](vela_handle *) -> u_int32 { return 16; }, 0};

class inline_forms_test : public testing::TestWithParam<setting> {
  protected:
    inline_forms_test() {
        vela_handle_options options = {};
        options.size = sizeof options;
        options.tracking = GetParam().tracking;
        options.pre_write = GetParam().hook ? count_notified : nullptr;
        u_int32 err = 0;
        handle = vela_handle_create(&options, &err);
    }
    ~inline_forms_test() override { vela_handle_destroy(handle, nullptr); }

    /** What an access returned - a pointer: where in the instance - and all that it left. */
    struct outcome {
        u_int64 result = 0;
        std::vector<u_int8> bytes;
        u_int32 err, last_code, last_epoch;
        size_t announced;
        bool operator==(const outcome &) const = default;
    };

    /** Makes an access to an instance of its own, at a variant; below 0: to none. */
    template <class T, class Access>
    outcome after(const subject<T> &type, int variant, u_int32 err, Access access) {
        T *instance = variant < 0 ? nullptr : type.create(handle, 1);
        u_int8 *bytes = reinterpret_cast<u_int8 *>(instance);
        if (instance != nullptr) {
            reinterpret_cast<vela_instance_header *>(instance)->variant = static_cast<int8>(variant);
        }
        handle->last_error = {77, 1};
        bytes_notified = 0;
        outcome it;
        using result = decltype(access(instance, &err));
        if constexpr (std::is_void_v<result>) {
            access(instance, &err);
        } else if constexpr (std::is_pointer_v<result>) {
            const auto *place = reinterpret_cast<const u_int8 *>(access(instance, &err));
            it.result = place == nullptr ? ~u_int64{0} : static_cast<u_int64>(place - bytes);
        } else {
            it.result = static_cast<u_int64>(access(instance, &err));
        }
        if (instance != nullptr) {
            it.bytes.assign(bytes, bytes + type.size(handle));
        }
        it.err = err;
        it.last_code = handle->last_error.code;
        it.last_epoch = handle->last_error.epoch;
        it.announced = bytes_notified;
        return it;
    }

    /** Compares two ways of an access, to instances of every variant and to none, with an error before it and without. */
    template <class T, class Inline, class Exported>
    void expect_same(const subject<T> &type, Inline by_form, Exported by_call) {
        for (int variant = -1; variant <= type.latest; ++variant) {
            for (u_int32 err : {0u, u_int32{VELA_EINVAL}}) {
                const outcome form = after(type, variant, err, by_form);
                const outcome call = after(type, variant, err, by_call);
                EXPECT_EQ(form.result, call.result) << "variant " << variant << ", error " << err;
                EXPECT_EQ(form.err, call.err) << "variant " << variant << ", error " << err;
                EXPECT_TRUE(form == call) << "variant " << variant << ", error " << err;
            }
        }
    }

    vela_handle *handle;
};

/** Calls a function by its name, which is its inline form, and as it is exported. */
#define EXPECT_SAME(type, function, ...)                                                                           \
    {                                                                                                              \
        SCOPED_TRACE(#function);                                                                                   \
        expect_same(                                                                                               \
            type, [&](auto *it, u_int32 *err) { return function(handle, 1, it __VA_OPT__(, ) __VA_ARGS__, err); }, \
            [&](auto *it, u_int32 *err) {                                                                          \
                return exported(function)(handle, 1, it __VA_OPT__(, ) __VA_ARGS__, err);                          \
            });                                                                                                    \
    }

TEST_P(inline_forms_test, single_fields) {
    const u_int64 number = 0x0123456789ABCDEF;
    EXPECT_SAME(a_clock, ptp_clock_clock_handle_get);
    EXPECT_SAME(a_clock, ptp_clock_clock_handle_get_value);
    EXPECT_SAME(a_clock, ptp_clock_clock_handle_set, &number);
    EXPECT_SAME(a_clock, ptp_clock_clock_handle_set, nullptr);
    EXPECT_SAME(a_clock, ptp_clock_clock_handle_set_value, number);
    EXPECT_SAME(quality, ptp_clock_quality_offset_scaled_log_var_set_value, -2);
    EXPECT_SAME(a_clock, ptp_clock_default_data_set_get);
    for (u_int32 value : {0u, 18u, 19u}) {
        EXPECT_SAME(quality, ptp_clock_quality_clock_accuracy_set_value, value);
    }
    EXPECT_SAME(quality, ptp_clock_quality_clock_accuracy_get);
    EXPECT_SAME(quality, ptp_clock_quality_clock_accuracy_get_value);
    EXPECT_SAME(accuracy, ptp_clock_accuracy_get_value);

    const en_address mac = {{2, 0, 0, 0, 0, 9}};
    const ip_address address = {VELA_IP_V4, 0, {192, 0, 2, 1}, {}};
    EXPECT_SAME(port, ptp_port_local_mac_addr_set, &mac);
    EXPECT_SAME(port, ptp_port_local_addr_set, &address);
    EXPECT_SAME(port, ptp_port_local_addr_set, nullptr);
    EXPECT_SAME(port, ptp_port_local_addr_get);
}

TEST_P(inline_forms_test, elements_of_arrays) {
    const u_int8 bytes[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    for (u_int32 element : {0u, 7u, 8u, ~0u}) {
        EXPECT_SAME(identity, ptp_clock_identity_ptp_clk_id_get, element);
        EXPECT_SAME(identity, ptp_clock_identity_ptp_clk_id_get_value, element);
        EXPECT_SAME(identity, ptp_clock_identity_ptp_clk_id_set_value, element, 0x5A);
        EXPECT_SAME(list, ptp_ipv4_streams_arr_streams_get, element * 16);
    }
    for (int32 length : {0, 8, 9, -1}) {
        EXPECT_SAME(identity, ptp_clock_identity_ptp_clk_id_set_mem, bytes, length);
        u_int8 by_form[16] = {}, by_call[16] = {};
        expect_same(
            identity,
            [&](auto *it, u_int32 *err) { ptp_clock_identity_ptp_clk_id_get_mem(handle, 1, it, by_form, length, err); },
            [&](auto *it, u_int32 *err) {
                exported(ptp_clock_identity_ptp_clk_id_get_mem)(handle, 1, it, by_call, length, err);
            });
        EXPECT_EQ(memcmp(by_form, by_call, sizeof by_form), 0);
    }
}

TEST_P(inline_forms_test, whole_records) {
    EXPECT_SAME(quality, ptp_clock_quality_set_all, 165, -2, 4);
    EXPECT_SAME(quality, ptp_clock_quality_set_all, 165, -2, 99);
    EXPECT_SAME(quality, ptp_clock_quality_set_all, 165, -2, 18);
    EXPECT_SAME(utc_offset, ptp_utc_offset_set_all, 37, -1, -2, -3, -4, 200, 1);

    struct values {
        u_int16 utc = 1;
        int16 leap[4] = {2, 3, 4, 5};
        u_int8 port = 6;
        vela_boolean valid = 7;
        bool operator==(const values &) const = default;
    };
    for (int wanted = 0; wanted < 2; ++wanted) {
        values form, call;
        const auto read = [&](auto get_all, values &to, ptp_utc_offset *it, u_int32 *err) {
            get_all(handle, it, &to.utc, wanted ? &to.leap[0] : nullptr, &to.leap[1], &to.leap[2], &to.leap[3],
                    &to.port, wanted ? &to.valid : nullptr, err);
        };
        const auto by_form = [](vela_handle *with, ptp_utc_offset *it, auto... rest) {
            ptp_utc_offset_get_all(with, 1, it, rest...);
        };
        const auto by_call = [](vela_handle *with, ptp_utc_offset *it, auto... rest) {
            exported(ptp_utc_offset_get_all)(with, 1, it, rest...);
        };
        expect_same(
            utc_offset, [&](auto *it, u_int32 *err) { read(by_form, form, it, err); },
            [&](auto *it, u_int32 *err) {
                read(by_call, call, it, err);
                EXPECT_EQ(form, call);
                form = call = {};
            });
    }
}

TEST_P(inline_forms_test, order) {
    u_int32 err = 0;
    ptp_utc_offset *one = ptp_utc_offset_create(handle, 1);
    ptp_utc_offset *other = ptp_utc_offset_create(handle, 1);
    const auto expect_same_order = [&](int sign) {
        for (const auto &[a, b] : {std::pair(one, other), {other, one}, {one, one}, {one, nullptr}, {nullptr, one}}) {
            EXPECT_EQ(ptp_utc_offset_compare(a, b), exported(ptp_utc_offset_compare)(a, b));
        }
        const int32 order = ptp_utc_offset_compare(one, other);
        EXPECT_EQ((order > 0) - (order < 0), sign);
        EXPECT_EQ(ptp_utc_offset_compare(nullptr, nullptr), 0);
    };
    expect_same_order(0);
    reinterpret_cast<vela_instance_header *>(one)->variant = 0;
    expect_same_order(0);
    ptp_utc_offset_utc_offset_valid_set_value(handle, 1, other, 1, &err);
    expect_same_order(-1);
    ptp_utc_offset_utc_offset_set_value(handle, 1, one, 37, &err);
    expect_same_order(1);
}

/** Where the header has element 1 of an array, or a single field, by the form that lends it; -1 without such a form. */
int64_t place_in_header(const std::string &header, const std::string &getter) {
    const size_t form = header.find("*" + getter + "(");
    const std::string step = "ptp_cfg_inline_at(instance, ";
    const size_t place = form == std::string::npos ? form : header.find(step, form);
    if (place == std::string::npos || place > header.find("\n}\n", form)) {
        return -1;
    }
    unsigned offset = 0, stride = 0;
    std::sscanf(header.c_str() + place + step.size(), "%uu + element * %uu", &offset, &stride);
    return offset + int64_t{stride};
}

TEST(inline_forms, know_where_the_fields_of_all_types_lie) {
    std::string header;
    for (const auto &entry : std::filesystem::directory_iterator(PTP_CFG_INLINE_HEADERS)) {
        std::ifstream file(entry.path());
        header.append(std::istreambuf_iterator<char>(file), {});
    }
    u_int32 err = 0, compared = 0;
    vela_handle *handle = vela_handle_create(nullptr, &err);
    for (const ptp_cfg_type *type : types_of(PTP_CFG_STRUCTURE)) {
        const ptp_cfg_type_description about = describe(type);
        auto *instance = static_cast<u_int8 *>(about.operations->create(handle, 1));
        for (u_int32 i = 0; i < about.field_count; ++i) {
            const ptp_cfg_field_description field = describe_field(type, i);
            const std::string getter = std::string(about.name) + "_" + field.name + "_get";
            const void *place =
                ptp_cfg_field_get(type, i, handle, 1, instance, field.is_array && field.capacity > 1 ? 1 : 0, &err);
            const int64_t found = place_in_header(header, getter);
            if (field.kind == PTP_CFG_FIELD_TEXT) {
                EXPECT_EQ(found, -1) << getter;  // not lent: the characters lie elsewhere
            } else {
                EXPECT_EQ(found, static_cast<const u_int8 *>(place) - instance) << getter;
                ++compared;
            }
        }
        about.operations->destroy(handle, 1, instance);
    }
    EXPECT_EQ(err, 0u);
    EXPECT_GT(compared, 200u);
    vela_handle_destroy(handle, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Handles, inline_forms_test,
                         testing::Values(setting{"Plain", 0, false}, setting{"Hook", 0, true},
                                         setting{"TrackingOff", VELA_STTR_OFF, false},
                                         setting{"TrackingOn", VELA_STTR_ON, false}),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace ptp_cfg_test
