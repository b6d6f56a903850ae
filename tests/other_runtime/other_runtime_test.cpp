// A library built for another runtime asks that runtime for everything, and lives by what it answers.

#include "counting_runtime.h"
#include "ptp_cfg/clock.h"
#include "ptp_cfg/commands.h"
#include "ptp_cfg/port_stream.h"
#include "records.h"

namespace ptp_cfg_test {
namespace {

/** What a record is made of: itself and all that is nested in it. */
struct parts {
    u_int64 structures = 0;
    u_int64 enumerations = 0;
    u_int64 texts = 0;
    u_int64 octet_arrays = 0;
    std::map<std::string, u_int64> values;   // of each primitive
    std::map<std::string, u_int64> singles;  // the same without elements of octet arrays

    u_int64 instances() const { return structures + enumerations; }
};

void take_apart(const record_type &type, parts &into) {
    into.structures += type.about.kind == PTP_CFG_STRUCTURE ? 1 : 0;
    for (const ptp_cfg_field_description &field : type.fields) {
        if (field.kind == PTP_CFG_FIELD_STRUCTURE) {
            for (u_int32 element = 0; element < field.capacity; ++element) {
                take_apart(record_type::of(field.type), into);
            }
        } else if (field.kind == PTP_CFG_FIELD_ENUMERATION) {
            ++into.enumerations;
        } else if (field.kind == PTP_CFG_FIELD_TEXT) {
            ++into.texts;
        } else {
            const std::string name = field.type_name;
            const bool is_octets = field.is_array != 0 && name == "u_int8";
            into.octet_arrays += is_octets ? 1 : 0;
            into.values[name] += field.capacity;
            into.singles[name] += is_octets ? 0 : field.capacity;
        }
    }
}

/** Expects one call of an operation for each value of a primitive, and of no other primitive; `more` of u_int32. */
void expect_asked_of_each(const std::map<std::string, u_int64> &values, const std::string &operation,
                          u_int64 more = 0) {
    for (const char *name : {"u_int8", "u_int16", "u_int32", "u_int64", "int8", "int16", "int32", "vela_boolean",
                             "en_address", "ip_address", "vrf_info"}) {
        const auto found = values.find(name);
        const u_int64 count = found != values.end() ? found->second : 0;
        const std::string function = std::string(name) + operation;
        EXPECT_EQ(asked(function), count + (function.rfind("u_int32_", 0) == 0 ? more : 0)) << function;
    }
}

void expect_asked(const std::string &function, u_int64 count) { EXPECT_EQ(asked(function), count) << function; }

void expect_created(const parts &it) {
    expect_asked("vela_domain_lookup_variant", it.instances());
    expect_asked("vela_get_manifested_type_info_ptr_mem", it.instances());
    expect_asked("vela_get_manifested_type_info", it.structures);
    expect_asked("velalib_type_stats_create_object", it.structures);
    EXPECT_GT(asked("vela_clear_last_error"), 0u);
}

void expect_destroyed(const parts &it) {
    expect_asked("vela_get_manifested_type_info", it.structures);
    expect_asked("velalib_type_stats_destroy_object", it.structures);
    const auto addresses = it.values.find("en_address");
    const u_int64 count = addresses != it.values.end() ? addresses->second : 0;
    expect_asked("en_address_get_oid_count", count);
    expect_asked("en_address_destroy_internal", count);
    expect_asked("var_string_destroy_internal", it.texts);
}

/** @param extra  instances that carry extra data */
void expect_marshalled(const parts &it, u_int64 extra) {
    expect_asked("vela_get_instance_variant", it.instances());
    expect_asked("_vela_instance_variant_marshal", it.instances());
    expect_asked("_vela_instance_obj_flag_marshal", it.structures);
    expect_asked("_vela_instance_ra_data_marshal", extra);
    expect_asked("_vela_variant_jump_marshal", 2 * it.structures);
    EXPECT_GE(asked("vela_get_instance_obj_flag"), it.structures);
    EXPECT_GT(asked("vela_clear_last_error"), 0u);
    expect_asked_of_each(it.values, "_marshal", it.enumerations);
    expect_asked("var_string_marshal", it.texts);
}

void expect_unmarshalled(const parts &it, u_int64 extra) {
    expect_asked("_vela_instance_variant_unmarshal", it.instances());
    expect_asked("_vela_instance_obj_flag_unmarshal", it.structures);
    expect_asked("_vela_instance_ra_data_unmarshal", extra);
    expect_asked("_vela_variant_jump_unmarshal", it.structures);
    EXPECT_GT(asked("vela_clear_last_error"), 0u);
    expect_asked_of_each(it.values, "_unmarshal", it.enumerations);
}

class OtherRuntime : public testing::Test {
  protected:
    ~OtherRuntime() override { ways = {}; }

    u_int32 err = 0;
};

/** Runs `check` for every type of a kind, on an untracked and on a tracking handle. */
void for_each_type(ptp_cfg_type_kind kind,
                   const std::function<void(const record_type &, const parts &, vela_handle *)> &check) {
    for (const record_type &type : record_types(kind)) {
        parts it;
        take_apart(type, it);
        for (const u_int32 mode : {0u, u_int32{VELA_STTR_OFF}, u_int32{VELA_STTR_ON}}) {
            SCOPED_TRACE(testing::Message() << type.about.name << ", tracking " << mode);
            const test_handle handle({.tracking = mode});
            check(type, it, handle);
        }
    }
}

TEST_F(OtherRuntime, IsAskedInTheLifeOfEveryStructure) {
    for_each_type(PTP_CFG_STRUCTURE, [](const record_type &type, const parts &it, vela_handle *handle) {
        count_anew();
        void *instance = type.operations->create(handle, mem_class);
        expect_created(it);
        count_anew();
        type.operations->destroy(handle, mem_class, instance);
        expect_destroyed(it);
    });
}

TEST_F(OtherRuntime, IsAskedForTheBytesOfEveryStructure) {
    for_each_type(PTP_CFG_STRUCTURE, [this](const record_type &type, const parts &it, vela_handle *handle) {
        const auto sent = type.create(handle);
        const auto received = type.create(handle);
        fill(type, handle, sent.get(), filling::random);
        header(sent.get()).flags |= VELA_FLAG_EXTRA_DATA;
        count_anew();
        const u_int32 len = type.operations->len(handle, mem_class, sent.get()) + VELA_WIRE_EXTRA_DATA;
        expect_asked("vela_get_instance_variant", it.structures);
        expect_asked_of_each(it.values, "_len");
        expect_asked("var_string_len", it.texts);

        octets bytes(len);
        count_anew();
        EXPECT_EQ(type.operations->marshal(handle, mem_class, bytes.data(), sent.get(), len, &err), len);
        expect_marshalled(it, 1);
        expect_asked("vela_domain_lookup_variant", it.instances());
        count_anew();
        EXPECT_EQ(type.operations->unmarshal(handle, mem_class, bytes.data(), received.get(), len, &err), len);
        expect_unmarshalled(it, 1);
        expect_asked("vela_get_manifested_type_info_ptr_mem", it.instances());
    });
}

TEST_F(OtherRuntime, IsAskedForTheOrderAndHashOfEveryStructure) {
    for_each_type(PTP_CFG_STRUCTURE, [](const record_type &type, const parts &it, vela_handle *handle) {
        const auto a = type.create(handle);
        const auto b = type.create(handle);
        fill(type, handle, a.get(), filling::random);
        fill(type, handle, b.get(), filling::random);
        count_anew();
        EXPECT_EQ(type.operations->compare(a.get(), b.get()), 0);
        expect_asked_of_each(it.singles, "_compare");
        expect_asked("var_string_compare_counted", it.texts);
        type.operations->hash(a.get(), 1);
        expect_asked_of_each(it.singles, "_hash");
        expect_asked("SuperFastHash", it.enumerations + it.octet_arrays);
        expect_asked("var_string_hash", it.texts);
    });
}

TEST_F(OtherRuntime, IsAskedForCopiesOfEveryStructure) {
    for_each_type(PTP_CFG_STRUCTURE, [this](const record_type &type, const parts &it, vela_handle *handle) {
        const auto source = type.create(handle);
        fill(type, handle, source.get(), filling::random);
        for (const bool into_another : {false, true}) {
            void *copy = into_another ? type.operations->create(handle, mem_class) : nullptr;
            count_anew();
            if (into_another) {
                type.operations->copy(handle, mem_class, source.get(), &copy, &err);
            } else {
                copy = type.operations->clone(handle, mem_class, source.get(), &err);
            }
            EXPECT_EQ(err, 0u);
            expect_asked("velalib_get_handle_ws", 1);
            expect_asked("velalib_type_stats_create_object", into_another ? 0 : it.structures);
            expect_asked("vela_domain_lookup_variant", it.instances() * (into_another ? 1 : 2));
            expect_asked_of_each(it.values, "_marshal", it.enumerations);
            expect_unmarshalled(it, 0);
            EXPECT_EQ(type.operations->compare(source.get(), copy), 0);
            type.operations->destroy(handle, mem_class, copy);
        }
    });
}

TEST_F(OtherRuntime, IsAskedByAccessors) {
    const test_handle handle;
    for (const record_type &type : record_types(PTP_CFG_STRUCTURE)) {
        const auto instance = type.create(handle);
        for_each_leaf(type, handle, instance.get(), [&](const leaf &where) {
            const ptp_cfg_field_description &field = where.field();
            const ptp_cfg_type *owner = where.owner.type;
            SCOPED_TRACE(testing::Message() << where.owner.about.name << "." << field.name);
            const std::string name = field.type_name;
            const bool is_number = field.kind <= PTP_CFG_FIELD_BOOLEAN;
            const bool is_primitive = field.kind <= PTP_CFG_FIELD_OPAQUE;
            count_anew();
            ptp_cfg_field_get(owner, where.index, handle, mem_class, where.instance, where.element, &err);
            expect_asked("vela_get_instance_variant", 1);
            if (is_primitive) {
                expect_asked(name + "_get", 1);
            }
            if (is_number) {
                count_anew();
                ptp_cfg_field_get_value(owner, where.index, handle, mem_class, where.instance, where.element, &err);
                expect_asked(name + "_get_value", 1);
            }
            count_anew();
            fill_leaf(handle, where, filling::random);
            expect_asked("velalib_adjust_variant", field.kind == PTP_CFG_FIELD_ENUMERATION ? 2 : 1);
            if (is_primitive) {
                expect_asked(name + (is_number ? "_set_value" : "_set"), 1);
            } else if (field.kind == PTP_CFG_FIELD_TEXT) {
                expect_asked("var_string_set", 1);
            }
            EXPECT_GT(asked("vela_clear_last_error"), 0u);
        });
    }

    const auto quality = hold(handle, ptp_clock_quality_create(handle, mem_class), ptp_clock_quality_destroy);
    u_int8 clock_class = 0;
    int16 variance = 0;
    u_int32 accuracy = 0;
    count_anew();
    ptp_clock_quality_set_all(handle, mem_class, quality.get(), 1, 2, 3, &err);
    ptp_clock_quality_get_all(handle, mem_class, quality.get(), &clock_class, &variance, &accuracy, &err);
    for (const char *function : {"u_int8_get_value", "u_int8_set_value", "int16_get_value", "int16_set_value"}) {
        expect_asked(function, 1);
    }
    expect_asked("velalib_adjust_variant", 4);
    EXPECT_EQ(err, 0u);
}

TEST_F(OtherRuntime, IsAskedForEveryMessage) {
    for_each_type(PTP_CFG_MESSAGE, [this](const record_type &type, const parts &it, vela_handle *handle) {
        // Payloads that are primitives have a life of their own; the fields of structures have not.
        const bool is_primitive = it.structures == 0;
        const std::map<std::string, u_int64> none;
        count_anew();
        void *sent = type.operations->create(handle, mem_class);
        expect_asked("velalib_type_stats_create_object", it.structures);
        expect_asked_of_each(is_primitive ? it.values : none, "_create");
        count_anew();
        const u_int32 len = type.operations->len(handle, mem_class, sent);
        expect_asked_of_each(it.values, "_len");
        octets bytes(len + 1);
        count_anew();
        EXPECT_EQ(type.operations->marshal(handle, mem_class, bytes.data(), sent, len, &err), len);
        expect_asked("vela_domain_lookup_message_ok", 1);
        expect_asked("_vela_message_header_marshal", 1);
        expect_asked_of_each(it.values, "_marshal", it.enumerations);
        count_anew();
        type.operations->destroy(handle, mem_class, sent);
        expect_asked("velalib_type_stats_destroy_object", it.structures);
        expect_asked_of_each(is_primitive ? it.values : none, "_destroy");
        count_anew();
        void *received = nullptr;
        EXPECT_EQ(type.operations->unmarshal_only(handle, mem_class, &received, bytes.data(), len, &err), len);
        expect_asked("_vela_message_header_unmarshal", 1);
        expect_asked("velalib_type_stats_create_object", it.structures);
        expect_unmarshalled(it, 0);
        type.operations->destroy(handle, mem_class, received);
    });
}

TEST_F(OtherRuntime, DecidesVariantsAndCounts) {
    const test_handle handle;
    ways.variants = {{"ptp_utc_offset", 1}};
    ways.keeps_counters = true;
    const auto offset = hold(handle, ptp_utc_offset_create(handle, mem_class), ptp_utc_offset_destroy);
    EXPECT_EQ(header(offset.get()).variant, 1);
    const vela_variant_row row = header(offset.get()).type_info->variant_table->rows[1];
    handle->chained_err = 0;
    ptp_utc_offset *copy = ptp_utc_offset_clone_cr(handle, offset.get());
    ASSERT_NE(copy, nullptr);
    const vela_variant_row &now = header(copy).type_info->variant_table->rows[1];
    ptp_utc_offset_destroy(handle, mem_class, copy);
    EXPECT_EQ(now.created, row.created);
    EXPECT_EQ(now.destroyed, row.destroyed);
}

TEST_F(OtherRuntime, DecidesBytesAndOrder) {
    const test_handle handle;
    ways.turns_numbers = true;
    const auto few = hold(handle, ptp_port_identity_create(handle, mem_class), ptp_port_identity_destroy);
    const auto many = hold(handle, ptp_port_identity_create(handle, mem_class), ptp_port_identity_destroy);
    ptp_port_identity_portNumber_set_value(handle, mem_class, few.get(), 0x0001, &err);
    ptp_port_identity_portNumber_set_value(handle, mem_class, many.get(), 0x0203, &err);
    const octets bytes = record_type("ptp_port_identity").marshal(handle, many.get());
    EXPECT_EQ(octets(bytes.end() - 2, bytes.end()), from_hex("03 02"));
    EXPECT_GT(ptp_port_identity_compare(few.get(), many.get()), 0);
    ptp_port_identity_copy_cr(handle, many.get(), few.get());
    EXPECT_EQ(ptp_port_identity_portNumber_get_value(handle, mem_class, few.get(), &err), 0x0203);
    EXPECT_EQ(ptp_port_identity_compare(few.get(), many.get()), 0);
}

}  // namespace
}  // namespace ptp_cfg_test
