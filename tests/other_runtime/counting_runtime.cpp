// Stands before the runtime's functions, and counts the calls of each.
#include "counting_runtime.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <tuple>
#include <utility>

namespace ptp_cfg_test {

own_ways ways;

static std::map<std::string, u_int64> &calls() {
    static std::map<std::string, u_int64> by_name;
    return by_name;
}

u_int64 asked(const std::string &function) {
    EXPECT_NE(dlsym(RTLD_DEFAULT, function.c_str()), dlsym(RTLD_NEXT, function.c_str()))
        << function << " is not counted";
    return calls()[function];
}

void count_anew() {
    for (auto &[name, count] : calls()) {
        count = 0;
    }
}

namespace {

template <class Function>
struct signature;
template <class Result, class... Parameters>
struct signature<Result(Parameters...)> {
    using result = Result;
    template <size_t I>
    using parameter = std::tuple_element_t<I, std::tuple<Parameters...>>;
};

template <class Function>
Function *function_behind(const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

}  // namespace
}  // namespace ptp_cfg_test

using namespace ptp_cfg_test;

// Each function is named once below, with its number of parameters; their types are those of the declaration.
#define RESULT(name) extern "C" signature<decltype(::name)>::result name
#define P(name, i) signature<decltype(::name)>::parameter<i>
#define BEHIND(name)                        \
    static u_int64 &count = calls()[#name]; \
    ++count;                                \
    static const auto behind = function_behind<decltype(::name)>(#name)
#define COUNTED_1(name)          \
    RESULT(name)(P(name, 0) a) { \
        BEHIND(name);            \
        return behind(a);        \
    }
#define COUNTED_2(name)                        \
    RESULT(name)(P(name, 0) a, P(name, 1) b) { \
        BEHIND(name);                          \
        return behind(a, b);                   \
    }
#define COUNTED_3(name)                                      \
    RESULT(name)(P(name, 0) a, P(name, 1) b, P(name, 2) c) { \
        BEHIND(name);                                        \
        return behind(a, b, c);                              \
    }
#define COUNTED_4(name)                                                    \
    RESULT(name)(P(name, 0) a, P(name, 1) b, P(name, 2) c, P(name, 3) d) { \
        BEHIND(name);                                                      \
        return behind(a, b, c, d);                                         \
    }
#define COUNTED_5(name)                                                                  \
    RESULT(name)(P(name, 0) a, P(name, 1) b, P(name, 2) c, P(name, 3) d, P(name, 4) e) { \
        BEHIND(name);                                                                    \
        return behind(a, b, c, d, e);                                                    \
    }
#define COUNTED_6(name)                                                                                \
    RESULT(name)(P(name, 0) a, P(name, 1) b, P(name, 2) c, P(name, 3) d, P(name, 4) e, P(name, 5) f) { \
        BEHIND(name);                                                                                  \
        return behind(a, b, c, d, e, f);                                                               \
    }
#define COUNTED_7(name)                                                                                              \
    RESULT(name)(P(name, 0) a, P(name, 1) b, P(name, 2) c, P(name, 3) d, P(name, 4) e, P(name, 5) f, P(name, 6) g) { \
        BEHIND(name);                                                                                                \
        return behind(a, b, c, d, e, f, g);                                                                          \
    }

// ---- errors, identity, variants -------------------------------------------------------------------------------------

COUNTED_1(vela_clear_last_error);
COUNTED_2(vela_store_err);
COUNTED_3(vela_store_epoch_err);
COUNTED_4(vela_domain_lookup_message_ok);
COUNTED_3(vela_get_instance_variant);
COUNTED_1(vela_get_instance_obj_flag);
COUNTED_6(velalib_adjust_variant);
COUNTED_1(vela_get_manifested_type_info);
COUNTED_1(vela_get_manifested_type_info_ptr_mem);

extern "C" int8 vela_domain_lookup_variant(vela_handle *handle, const vela_variant_domain *domain,
                                           const vela_type_info *record, u_int32 *err) {
    BEHIND(vela_domain_lookup_variant);
    const auto own = ways.variants.find(record->type_name);
    return own != ways.variants.end() ? own->second : behind(handle, domain, record, err);
}

extern "C" void velalib_type_stats_create_object(vela_handle *handle, u_int32 mem_class, const vela_type_info *record,
                                                 vela_variant_row *row, u_int32 *err) {
    BEHIND(velalib_type_stats_create_object);
    if (!ways.keeps_counters) {
        behind(handle, mem_class, record, row, err);
    }
}

extern "C" void velalib_type_stats_destroy_object(vela_handle *handle, u_int32 mem_class, const vela_type_info *record,
                                                  vela_variant_row *row, u_int32 *err) {
    BEHIND(velalib_type_stats_destroy_object);
    if (!ways.keeps_counters) {
        behind(handle, mem_class, record, row, err);
    }
}

// ---- memory, object identifiers, hash, wire -------------------------------------------------------------------------

COUNTED_3(velalib_get_handle_ws);
COUNTED_4(en_address_get_oid_count);
COUNTED_4(en_address_destroy_internal);
COUNTED_3(SuperFastHash);
COUNTED_6(_vela_instance_variant_marshal);
COUNTED_6(_vela_instance_variant_unmarshal);
COUNTED_6(_vela_instance_obj_flag_marshal);
COUNTED_6(_vela_instance_obj_flag_unmarshal);
COUNTED_7(_vela_instance_ra_data_marshal);
COUNTED_7(_vela_instance_ra_data_unmarshal);
COUNTED_6(_vela_variant_jump_marshal);
COUNTED_6(_vela_variant_jump_unmarshal);
COUNTED_6(_vela_message_header_marshal);
COUNTED_6(_vela_message_header_unmarshal);

// ---- primitives -----------------------------------------------------------------------------------------------------

#define COUNTED_PRIMITIVE(T) \
    COUNTED_2(T##_create)    \
    COUNTED_3(T##_destroy) COUNTED_3(T##_len) COUNTED_2(T##_hash) COUNTED_4(T##_get) COUNTED_5(T##_set)
#define COUNTED_FORM(T) COUNTED_6(T##_marshal) COUNTED_7(T##_unmarshal) COUNTED_2(T##_compare)
#define COUNTED_NUMBER(T) COUNTED_PRIMITIVE(T) COUNTED_4(T##_get_value) COUNTED_5(T##_set_value)

COUNTED_NUMBER(u_int8);
COUNTED_FORM(u_int8);
COUNTED_NUMBER(u_int16);
COUNTED_NUMBER(u_int32);
COUNTED_FORM(u_int32);
COUNTED_NUMBER(u_int64);
COUNTED_FORM(u_int64);
COUNTED_NUMBER(int8);
COUNTED_FORM(int8);
COUNTED_NUMBER(int16);
COUNTED_FORM(int16);
COUNTED_NUMBER(int32);
COUNTED_FORM(int32);
COUNTED_NUMBER(vela_boolean);
COUNTED_FORM(vela_boolean);
COUNTED_PRIMITIVE(en_address);
COUNTED_FORM(en_address);
COUNTED_PRIMITIVE(ip_address);
COUNTED_FORM(ip_address);
COUNTED_PRIMITIVE(vrf_info);
COUNTED_FORM(vrf_info);
COUNTED_6(var_string_set);
COUNTED_4(var_string_destroy_internal);
COUNTED_7(var_string_marshal);
COUNTED_4(var_string_len);
COUNTED_4(var_string_compare_counted);
COUNTED_3(var_string_hash);

extern "C" u_int32 u_int16_marshal(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const u_int16 *value,
                                   u_int32 room, u_int32 *err) {
    BEHIND(u_int16_marshal);
    const u_int32 written = behind(handle, mem_class, buffer, value, room, err);
    if (ways.turns_numbers && written == 2) {
        std::swap(buffer[0], buffer[1]);
    }
    return written;
}

extern "C" u_int32 u_int16_unmarshal(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer, u_int16 *value,
                                     u_int32 room, u_int32 mode, u_int32 *err) {
    BEHIND(u_int16_unmarshal);
    const u_int32 read = behind(handle, mem_class, buffer, value, room, mode, err);
    if (ways.turns_numbers && read == 2) {
        *value = static_cast<u_int16>(*value << 8 | *value >> 8);
    }
    return read;
}

extern "C" int32 u_int16_compare(const u_int16 *a, const u_int16 *b) {
    BEHIND(u_int16_compare);
    return ways.turns_numbers ? behind(b, a) : behind(a, b);
}
