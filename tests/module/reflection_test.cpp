// Access by reflection: what it does with what is not there, and with values of every kind of type.
#include "records.h"

namespace ptp_cfg_test {
namespace {

class reflection_test : public testing::Test {
  protected:
    /** Expects an error of a call, and clears it. */
    void expect_error(u_int32 code, const char *call) {
        EXPECT_EQ(err_, code) << call;
        EXPECT_EQ(handle_->last_error.code, code) << call;
        err_ = 0;
        vela_clear_last_error(handle_);
    }
    u_int64 value(const record_type &type, u_int32 index, void *instance, u_int32 element = 0) {
        return ptp_cfg_field_get_value(type.type, index, handle_, mem_class, instance, element, &err_);
    }
    void set_value(const record_type &type, u_int32 index, void *instance, u_int64 number) {
        ptp_cfg_field_set_value(type.type, index, handle_, mem_class, instance, 0, number, &err_);
    }
    /** All ways to reach a field end with this error. */
    void expect_unreachable(const record_type &type, u_int32 index, void *instance, u_int32 code) {
        EXPECT_EQ(ptp_cfg_field_get(type.type, index, handle_, mem_class, instance, 0, &err_), nullptr);
        expect_error(code, "get");
        EXPECT_EQ(value(type, index, instance), 0u);
        expect_error(code, "get_value");
        set_value(type, index, instance, 1);
        expect_error(code, "set_value");
    }

    const test_handle handle_{{.tracking = VELA_STTR_ON}};
    u_int32 err_ = 0;
};

TEST_F(reflection_test, fields_that_no_type_has_are_named_so) {
    for (const record_type &type : record_types(PTP_CFG_STRUCTURE)) {
        const owned<void> instance = type.create(handle_);
        const octets before = type.marshal(handle_, instance.get());
        for (const u_int32 index : {static_cast<u_int32>(type.fields.size()), 0xFFFFFFFFu}) {
            expect_unreachable(type, index, instance.get(), VELA_ENOENT);
            ptp_cfg_field_set(type.type, index, handle_, mem_class, instance.get(), 0, "x", 1, &err_);
            expect_error(VELA_ENOENT, "set");
            EXPECT_EQ(ptp_cfg_field_state_flag_get(type.type, index, handle_, mem_class, instance.get(), 0, &err_), 0);
            expect_error(VELA_ENOENT, "state_flag_get");
            ptp_cfg_field_state_flag_set(type.type, index, handle_, mem_class, instance.get(), 0, 1, &err_);
            expect_error(VELA_ENOENT, "state_flag_set");
        }
        EXPECT_EQ(type.marshal(handle_, instance.get()), before);
    }
    for (const record_type &type : record_types(PTP_CFG_MESSAGE)) {
        const owned<void> message = type.create(handle_);
        expect_unreachable(type, static_cast<u_int32>(type.fields.size()), message.get(), VELA_ENOENT);
        ptp_cfg_field_set(type.type, 0, handle_, mem_class, message.get(), 0, "x", 1, &err_);
        expect_error(VELA_ENOENT, "set");
    }
}

TEST_F(reflection_test, only_what_travels_by_value_has_one) {
    u_int32 refused = 0;
    for (const record_type &type : record_types(PTP_CFG_STRUCTURE)) {
        const owned<void> instance = type.create(handle_);
        for (u_int32 index = 0; index < type.fields.size(); ++index) {
            const ptp_cfg_field_description &field = type.fields[index];
            if (field.kind >= PTP_CFG_FIELD_OPAQUE && field.kind != PTP_CFG_FIELD_ENUMERATION) {
                EXPECT_EQ(value(type, index, instance.get()), 0u);
                expect_error(VELA_EINVAL, field.name);
            }
            if (field.is_read_only != 0 ||
                (field.kind >= PTP_CFG_FIELD_OPAQUE && field.kind != PTP_CFG_FIELD_ENUMERATION)) {
                set_value(type, index, instance.get(), 1);
                expect_error(VELA_EINVAL, field.name);
                ++refused;
            }
            if (field.is_read_only != 0) {  // the length of a text: its text alone sets it
                EXPECT_EQ(value(type, index, instance.get()), 0u);
                ptp_cfg_field_set(type.type, index, handle_, mem_class, instance.get(), 0, "x", 1, &err_);
                expect_error(VELA_EINVAL, field.name);
                ptp_cfg_field_state_flag_get(type.type, index, handle_, mem_class, instance.get(), 0, &err_);
                expect_error(VELA_EINVAL, field.name);
                ptp_cfg_field_state_flag_set(type.type, index, handle_, mem_class, instance.get(), 0, 1, &err_);
                expect_error(VELA_EINVAL, field.name);
            }
        }
    }
    EXPECT_GT(refused, 20u);
}

TEST_F(reflection_test, enumerations_and_payloads_of_messages_have_values_of_their_own) {
    for (const record_type &type : record_types(PTP_CFG_ENUMERATION)) {
        const owned<void> instance = type.create(handle_);
        set_value(type, 77, instance.get(), type.about.literal_count - 1);
        EXPECT_EQ(value(type, 99, instance.get()), type.about.literal_count - 1) << type.about.name;
        EXPECT_EQ(err_, 0u);
        ptp_cfg_literal literal = {};
        EXPECT_EQ(ptp_cfg_literal_describe(type.type, type.about.literal_count, &literal), 0u);
        err_ = 5;
        set_value(type, 0, instance.get(), 0);
        err_ = 0;
        EXPECT_EQ(value(type, 0, instance.get()), type.about.literal_count - 1) << "an error word that is set holds";
    }
    u_int32 numbers = 0;
    for (const record_type &type : record_types(PTP_CFG_MESSAGE)) {
        const owned<void> message = type.create(handle_);
        for (u_int32 index = 0; index < type.fields.size(); ++index) {
            const ptp_cfg_field_description &field = type.fields[index];
            if (field.kind > PTP_CFG_FIELD_BOOLEAN) {
                EXPECT_NE(ptp_cfg_field_get(type.type, index, handle_, mem_class, message.get(), 0, &err_), nullptr);
                EXPECT_EQ(value(type, index, message.get()), 0u);
                expect_error(VELA_EINVAL, type.about.name);
                set_value(type, index, message.get(), 1);
                expect_error(VELA_EINVAL, type.about.name);
                continue;
            }
            set_value(type, index, message.get(), 1);
            EXPECT_EQ(value(type, index, message.get()), 1u) << type.about.name;
            ++numbers;
        }
    }
    EXPECT_GT(numbers, 0u);
}

TEST_F(reflection_test, an_error_word_that_is_set_holds_everywhere) {
    const record_type clock("ptp_clock"), command("ptp_clock_delete_cmd_message");
    const owned<void> instance = clock.create(handle_), message = command.create(handle_);
    const octets before = clock.marshal(handle_, instance.get());
    err_ = 5;
    EXPECT_EQ(ptp_cfg_field_get(clock.type, 0, handle_, mem_class, instance.get(), 0, &err_), nullptr);
    EXPECT_EQ(ptp_cfg_field_get(command.type, 0, handle_, mem_class, message.get(), 0, &err_), nullptr);
    EXPECT_EQ(value(clock, 0, instance.get()) + value(command, 0, message.get()), 0u);
    set_value(clock, 0, instance.get(), 1);
    set_value(command, 0, message.get(), 1);
    ptp_cfg_field_set(clock.type, 0, handle_, mem_class, instance.get(), 0, "x", 1, &err_);
    ptp_cfg_field_state_flag_set(clock.type, 0, handle_, mem_class, instance.get(), 0, 1, &err_);
    EXPECT_EQ(ptp_cfg_field_state_flag_get(clock.type, 0, handle_, mem_class, instance.get(), 0, &err_), 0);
    EXPECT_EQ(err_, 5u);
    EXPECT_EQ(clock.marshal(handle_, instance.get()), before);
}

TEST_F(reflection_test, types_are_found_by_name_identity_and_place) {
    const u_int32 count = ptp_cfg_type_count();
    EXPECT_EQ(ptp_cfg_type_at(count), nullptr);
    EXPECT_EQ(ptp_cfg_type_at(0xFFFFFFFF), nullptr);
    for (u_int32 i = 0; i < count; ++i) {
        const record_type &type = record_type::of(ptp_cfg_type_at(i));
        EXPECT_EQ(ptp_cfg_type_find(type.about.name), type.type);
        EXPECT_EQ(ptp_cfg_type_find(type.about.short_name),
                  type.about.kind == PTP_CFG_MESSAGE ? type.type : ptp_cfg_type_find(type.about.name));
        EXPECT_EQ(ptp_cfg_type_find_luid(type.about.luid), type.type);
    }
    EXPECT_EQ(ptp_cfg_type_find("ptp_clock_"), nullptr);
    EXPECT_EQ(ptp_cfg_type_find(""), nullptr);
    const u_int8 unknown[16] = {};
    EXPECT_EQ(ptp_cfg_type_find_luid(unknown), nullptr);
}

}  // namespace
}  // namespace ptp_cfg_test
