// The primitives without their texts: wire form, order, hash, access. Each check runs on the exported function and on
// its inline form.
#include "test_support.h"

#include "velalib_inline.h"

namespace velalib_test {
namespace {

template <typename P>
struct operations {
    u_int32 (*marshal)(vela_handle *, u_int32, u_int8 *, const P *, u_int32, u_int32 *);
    u_int32 (*unmarshal)(vela_handle *, u_int32, const u_int8 *, P *, u_int32, u_int32, u_int32 *);
    u_int32 (*len)(vela_handle *, u_int32, const P *);
    int32 (*compare)(const P *, const P *);
    u_int32 (*hash)(const P *, u_int32);
    P *(*get)(vela_handle *, u_int32, P *, u_int32 *);
    void (*set)(vela_handle *, u_int32, P *, const P *, u_int32 *);
};

using bytes = std::vector<u_int8>;

/** A primitive: its operations, values in rising order, and the wire form of each. */
template <typename P>
struct primitive_case {
    std::vector<operations<P>> forms;  // exported, inline
    std::vector<P> rising;
    std::vector<bytes> wire;
};

#define FORMS(P)                                                                                                     \
    {                                                                                                                \
        operations<P>{P##_marshal, P##_unmarshal, P##_len, P##_compare, P##_hash, P##_get, P##_set}, operations<P> { \
            vela_inline::P##_marshal, vela_inline::P##_unmarshal, vela_inline::P##_len, vela_inline::P##_compare,    \
                vela_inline::P##_hash, vela_inline::P##_get, vela_inline::P##_set                                    \
        }                                                                                                            \
    }

class primitive_test : public handle_test {
  protected:
    template <typename P>
    void check(const primitive_case<P> &test) {
        for (const operations<P> &form : test.forms) {
            for (size_t i = 0; i < test.rising.size(); ++i) {
                check_wire(form, test.rising[i], test.wire[i]);
                for (size_t j = 0; j < test.rising.size(); ++j) {
                    const int32 expected = i < j ? -1 : i > j;
                    EXPECT_EQ(form.compare(&test.rising[i], &test.rising[j]), expected) << i << " " << j;
                    EXPECT_EQ(form.hash(&test.rising[i], 3) == form.hash(&test.rising[j], 3), i == j) << i << " " << j;
                }
            }
            check_nulls(form, test.rising.back());
            check_access(form, test.rising.front(), test.rising.back());
        }
        EXPECT_EQ(test.forms[0].hash(&test.rising[0], 77), test.forms[1].hash(&test.rising[0], 77));
    }

  private:
    template <typename P>
    void check_wire(const operations<P> &form, const P &value, const bytes &wire) {
        const u_int32 width = static_cast<u_int32>(wire.size());
        EXPECT_EQ(form.len(handle, test_class, &value), width);
        for (u_int32 room = 0; room < width; ++room) {
            bytes out(room, 0xEE);
            EXPECT_EQ(form.marshal(handle, test_class, out.data(), &value, room, &err), 0u);
            expect_failure(VELA_EMSGSIZE);
            EXPECT_EQ(out, bytes(room, 0xEE));
            const bytes cut(wire.begin(), wire.begin() + room);
            P untouched = value;
            EXPECT_EQ(form.unmarshal(handle, test_class, cut.data(), &untouched, room, 0, &err), 0u);
            expect_failure(VELA_EMSGSIZE);
            EXPECT_EQ(form.compare(&untouched, &value), 0);
        }
        bytes out(width + 1, 0xEE);
        EXPECT_EQ(form.marshal(handle, test_class, out.data(), &value, width + 1, &err), width);
        EXPECT_EQ(out.back(), 0xEE);
        out.pop_back();
        EXPECT_EQ(out, wire);
        P back;
        memset(&back, 0xA5, sizeof back);
        EXPECT_EQ(form.unmarshal(handle, test_class, wire.data(), &back, width, 0, &err), width);
        EXPECT_EQ(form.compare(&back, &value), 0);
        EXPECT_EQ(form.hash(&back, 3), form.hash(&value, 3));
        EXPECT_EQ(err, 0u);
        EXPECT_TRUE(seen.stores.empty());
    }

    template <typename P>
    void check_nulls(const operations<P> &form, const P &value) {
        u_int8 out[64];
        P copy = value;
        EXPECT_EQ(form.len(handle, test_class, nullptr), 0u);
        EXPECT_EQ(form.compare(nullptr, nullptr), 0);
        EXPECT_EQ(form.compare(nullptr, &value), -1);
        EXPECT_EQ(form.compare(&value, nullptr), 1);
        EXPECT_EQ(form.hash(nullptr, 5), 5u);
        EXPECT_EQ(form.marshal(handle, test_class, out, nullptr, sizeof out, &err), 0u);
        expect_failure(VELA_EINVAL);
        EXPECT_EQ(form.get(handle, test_class, nullptr, &err), nullptr);
        expect_failure(VELA_ENOENT);
        form.set(handle, test_class, nullptr, &value, &err);
        expect_failure(VELA_EINVAL);
        form.set(handle, test_class, &copy, nullptr, &err);
        expect_failure(VELA_EINVAL);
        EXPECT_TRUE(seen.stores.empty());
    }

    template <typename P>
    void check_access(const operations<P> &form, const P &first, const P &second) {
        P stored = first;
        EXPECT_EQ(form.get(handle, test_class, &stored, &err), &stored);
        form.set(handle, test_class, &stored, &second, &err);
        EXPECT_EQ(form.compare(&stored, &second), 0);
        EXPECT_EQ(seen.stores, (std::vector<announcement>{{&stored, sizeof(P), test_class}}));
        seen.stores.clear();
        err = VELA_EEPOCH;  // an earlier failure stops everything
        u_int8 out[64] = {};
        form.set(handle, test_class, &stored, &first, &err);
        EXPECT_EQ(form.get(handle, test_class, &stored, &err), nullptr);
        EXPECT_EQ(form.marshal(handle, test_class, out, &first, sizeof out, &err), 0u);
        EXPECT_EQ(form.unmarshal(handle, test_class, out, &stored, sizeof out, 0, &err), 0u);
        EXPECT_EQ(form.compare(&stored, &second), 0);
        EXPECT_EQ(err, VELA_EEPOCH);
        EXPECT_EQ(handle->last_error.code, 0u);
        EXPECT_TRUE(seen.stores.empty());
        err = 0;
    }
};

TEST_F(primitive_test, Integers) {
    check<u_int8>({FORMS(u_int8), {0, 0x12, 255}, {{0}, {0x12}, {255}}});
    check<u_int16>({FORMS(u_int16), {0, 0x1234, 0xFFFF}, {{0, 0}, {0x12, 0x34}, {255, 255}}});
    check<u_int32>(
        {FORMS(u_int32), {0, 0x12345678, 0xFFFFFFFF}, {{0, 0, 0, 0}, {0x12, 0x34, 0x56, 0x78}, bytes(4, 255)}});
    check<u_int64>(
        {FORMS(u_int64), {0, 0x0102030405060708, UINT64_MAX}, {bytes(8, 0), {1, 2, 3, 4, 5, 6, 7, 8}, bytes(8, 255)}});
    check<int8>({FORMS(int8), {-128, -1, 0, 127}, {{0x80}, {0xFF}, {0}, {0x7F}}});
    check<int16>({FORMS(int16), {-32768, -2, 0, 32767}, {{0x80, 0}, {0xFF, 0xFE}, {0, 0}, {0x7F, 0xFF}}});
    check<int32>({FORMS(int32),
                  {INT32_MIN, -2, 0, INT32_MAX},
                  {{0x80, 0, 0, 0}, {255, 255, 255, 0xFE}, {0, 0, 0, 0}, {0x7F, 255, 255, 255}}});
}

TEST_F(primitive_test, Addresses) {
    check<en_address>({FORMS(en_address),
                       {{{0, 1, 2, 3, 4, 5}}, {{0, 1, 2, 3, 4, 6}}, {{0, 1, 2, 3, 255, 0}}, {{0x80, 0, 0, 0, 0, 0}}},
                       {{0, 1, 2, 3, 4, 5}, {0, 1, 2, 3, 4, 6}, {0, 1, 2, 3, 255, 0}, {0x80, 0, 0, 0, 0, 0}}});
    const bytes v4 = {4, 192, 0, 2, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    const bytes v6 = {6, 0xFE, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 1, 2};
    const bytes v6_last = {6, 0xFE, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 1, 2};
    check<ip_address>({FORMS(ip_address),
                       {{4, 0, {192, 0, 2, 1}, {}},
                        {6, 258, {0xFE, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}, {}},
                        {6, 258, {0xFE, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2}, {}}},
                       {v4, v6, v6_last}});
    check<vrf_info>({FORMS(vrf_info),
                     {{1, 2, 3, 4, 0}, {1, 2, 3, 5, 0}, {1, 2, 4, 0, 0}, {1, 3, 0, 0, 0}, {2, 0, 0, 0, 0}},
                     {{0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4},
                      {0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 5},
                      {0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 4, 0, 0, 0, 0},
                      {0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0},
                      {0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}}});
}

TEST_F(primitive_test, BooleansKnowTwoValues) {
    check<vela_boolean>({FORMS(vela_boolean), {0, 1}, {{0}, {1}}});
    const vela_boolean odd_truth = 0x100;
    const vela_boolean truth = 1;
    u_int8 wire = 7;
    EXPECT_EQ(vela_boolean_marshal(handle, test_class, &wire, &odd_truth, 1, &err), 1u);
    EXPECT_EQ(wire, 1);
    EXPECT_EQ(vela_boolean_compare(&odd_truth, &truth), 0);
    EXPECT_EQ(vela_boolean_hash(&odd_truth, 9), vela_boolean_hash(&truth, 9));
    wire = 0x80;
    vela_boolean read = 0;
    EXPECT_EQ(vela_boolean_unmarshal(handle, test_class, &wire, &read, 1, 0, &err), 1u);
    EXPECT_EQ(read, 1u);
}

TEST_F(primitive_test, WhatDoesNotTravelDoesNotCount) {
    const ip_address plain = {4, 0, {10, 0, 0, 1}, {}};
    ip_address marked = plain;
    marked.family |= 0x300;
    marked.reserved[5] = 9;
    EXPECT_EQ(ip_address_compare(&plain, &marked), 0);
    EXPECT_EQ(ip_address_hash(&plain, 1), ip_address_hash(&marked, 1));
    u_int8 wire[21];
    ip_address_marshal(handle, test_class, wire, &marked, sizeof wire, &err);
    ip_address_unmarshal(handle, test_class, wire, &marked, sizeof wire, 0, &err);
    EXPECT_EQ(memcmp(&marked, &plain, sizeof plain), 0);
    const vrf_info vrf = {1, 2, 3, 4, 0};
    vrf_info marked_vrf = vrf;
    marked_vrf.reserved = 5;
    EXPECT_EQ(vrf_info_compare(&vrf, &marked_vrf), 0);
    EXPECT_EQ(vrf_info_hash(&vrf, 1), vrf_info_hash(&marked_vrf, 1));
}

template <typename P>
struct value_access {
    P (*get)(vela_handle *, u_int32, const P *, u_int32 *);
    void (*set)(vela_handle *, u_int32, P *, P, u_int32 *);
};

#define VALUE_FORMS(P)                                               \
    value_access<P>{P##_get_value, P##_set_value}, value_access<P> { \
        vela_inline::P##_get_value, vela_inline::P##_set_value       \
    }

class value_test : public handle_test {
  protected:
    template <typename P>
    void check(P first, P second, std::initializer_list<value_access<P>> forms) {
        for (const value_access<P> &form : forms) {
            P value = first;
            EXPECT_EQ(form.get(handle, test_class, &value, &err), first);
            form.set(handle, test_class, &value, second, &err);
            EXPECT_EQ(value, second);
            EXPECT_EQ(seen.stores, (std::vector<announcement>{{&value, sizeof(P), test_class}}));
            seen.stores.clear();
            EXPECT_EQ(form.get(handle, test_class, nullptr, &err), P{});
            expect_failure(VELA_ENOENT);
            form.set(handle, test_class, nullptr, first, &err);
            expect_failure(VELA_EINVAL);
            err = VELA_ENOMEM;
            EXPECT_EQ(form.get(handle, test_class, &value, &err), P{});
            form.set(handle, test_class, &value, first, &err);
            EXPECT_EQ(value, second);
            EXPECT_EQ(err, VELA_ENOMEM);
            err = 0;
        }
    }
};

TEST_F(value_test, numbers_and_truths_are_got_and_set) {
    check<u_int8>(1, 255, {VALUE_FORMS(u_int8)});
    check<u_int16>(1, 65535, {VALUE_FORMS(u_int16)});
    check<u_int32>(1, UINT32_MAX, {VALUE_FORMS(u_int32)});
    check<u_int64>(1, UINT64_MAX, {VALUE_FORMS(u_int64)});
    check<int8>(-5, -128, {VALUE_FORMS(int8)});
    check<int16>(-5, -32768, {VALUE_FORMS(int16)});
    check<int32>(-5, INT32_MIN, {VALUE_FORMS(int32)});
    check<vela_boolean>(0, 1, {VALUE_FORMS(vela_boolean)});
}

template <typename P>
struct lifecycle {
    P *(*create)(vela_handle *, u_int32);
    void (*initialize)(vela_handle *, u_int32, P *, u_int32 *);
    void (*destroy)(vela_handle *, u_int32, P *);
    void (*destroy_internal)(vela_handle *, u_int32, P *, u_int32);
};

class value_life_test : public handle_test {
  protected:
    template <typename P>
    void check(const lifecycle<P> &calls) {
        const P zero = {};
        P *made = calls.create(handle, test_class);
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(memcmp(made, &zero, sizeof zero), 0);
        calls.destroy_internal(handle, test_class, made, 0);  // embedded: stays
        memset(made, 0xA5, sizeof *made);
        calls.initialize(handle, test_class, made, &err);
        EXPECT_EQ(memcmp(made, &zero, sizeof zero), 0);
        EXPECT_EQ(seen.stores, (std::vector<announcement>{{made, sizeof zero, test_class}}));
        seen.stores.clear();
        calls.initialize(handle, test_class, nullptr, &err);
        expect_failure(VELA_EINVAL);
        calls.destroy_internal(handle, test_class, made, 1);
        calls.destroy_internal(handle, test_class, nullptr, 1);
        calls.destroy(handle, test_class, calls.create(handle, test_class));
        calls.destroy(handle, test_class, nullptr);
    }
};

#define LIFE(P)                                                                               \
    check<P>({P##_create, P##_initialize, P##_destroy, P##_destroy_internal});                \
    check<P>({vela_inline::P##_create, vela_inline::P##_initialize, vela_inline::P##_destroy, \
              vela_inline::P##_destroy_internal})

TEST_F(value_life_test, created_values_are_zero_and_belong_to_the_handle) {
    LIFE(u_int8);
    LIFE(u_int16);
    LIFE(u_int32);
    LIFE(u_int64);
    LIFE(int8);
    LIFE(int16);
    LIFE(int32);
    LIFE(vela_boolean);
    LIFE(en_address);
    LIFE(ip_address);
    LIFE(vrf_info);
    open_with_limit(0);
    EXPECT_EQ(u_int64_create(handle, test_class), nullptr);
    EXPECT_EQ(vrf_info_create(handle, test_class), nullptr);
}

}  // namespace
}  // namespace velalib_test
