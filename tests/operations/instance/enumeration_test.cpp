// Enumerations: life, header operations, and which values an instance admits.
#include "recording_handle.h"

namespace ptp_cfg_test {
namespace {

/** Offsets in every instance. */
constexpr range type_pointer = {0, 8};
constexpr range variant_byte = {8, 1};
constexpr range allocated_variant_byte = {9, 1};
constexpr range flag_byte = {10, 1};
constexpr range value_word = {12, 4};
constexpr range whole_enumeration = {0, 16};

class enumeration_test : public family_test {
  protected:
    owned<ptp_clock_version> make_version() {
        return own(ptp_clock_version_create(handle, test_class), ptp_clock_version_destroy);
    }
    owned<ptp_clock_profile> make_profile() {
        return own(ptp_clock_profile_create(handle, test_class), ptp_clock_profile_destroy);
    }
    /** Sets a value and tells the error, which it clears. */
    u_int32 set_error(void *instance, const ptp_cfg_type *type, u_int32 value);
    static u_int32 value_of(const void *instance) { return static_cast<const u_int32 *>(instance)[3]; }
};

vela_variant_row &row(const vela_type_info &record, int index = 0) { return record.variant_table->rows[index]; }

// ---- life ----------------------------------------------------------------------------------------------------------

TEST_F(enumeration_test, life_of_an_instance) {
    const vela_type_info &record = _ptp_clock_version_type_info_internal;
    watch_new_blocks();
    ptp_clock_version *version = ptp_clock_version_create(handle, test_class);
    expect_notified(version, {allocated_variant_byte, variant_byte, type_pointer, flag_byte});
    expect_counted(&row(record).created);
    EXPECT_EQ(block_size(version), 16u);
    EXPECT_EQ(header(version).type_info, &record);
    EXPECT_EQ(header(version).variant, 0);
    EXPECT_EQ(header(version).allocated_variant, 0);
    EXPECT_EQ(header(version).flags, 0);
    EXPECT_EQ(value_of(version), 0u);

    ptp_clock_version_destroy_internal(handle, test_class, version, 0);
    EXPECT_EQ(blocks_out(), 1u);
    ptp_clock_version_destroy(handle, test_class, version);
    EXPECT_EQ(blocks_out(), 0u);
    expect_notified(version, {}, {type_pointer});
    expect_counted(&row(record).destroyed);

    ptp_clock_version_destroy(handle, test_class, nullptr);
    expect_none_counted();
}

TEST_F(enumeration_test, every_type_has_the_same_life_and_shape) {
    for (const ptp_cfg_type *type : types_of(PTP_CFG_ENUMERATION)) {
        const ptp_cfg_type_description description = describe(type);
        SCOPED_TRACE(description.name);
        EXPECT_EQ(description.operations->instance_size(handle), 16u);
        void *instance = description.operations->create(handle, test_class);
        EXPECT_EQ(description.operations->len(handle, test_class, instance), 5u);
        const vela_type_info *record = header(instance).type_info;
        EXPECT_STREQ(record->type_name, description.name);
        EXPECT_STREQ(record->kind, "enum");
        EXPECT_EQ(header(instance).variant, description.newest_variant);
        expect_counted(&row(*record, description.newest_variant).created);
        description.operations->destroy(handle, test_class, instance);
        expect_counted(&row(*record, description.newest_variant).destroyed);
        for (int i = 0; i < record->variant_table->count; ++i) {
            EXPECT_EQ(row(*record, i).used_length, 16u);
            EXPECT_EQ(row(*record, i).alloc_slop, 0u);
        }
    }
}

TEST_F(enumeration_test, variants_beyond_the_table_count_in_its_last_row) {
    const old_domain domain({{"ptp_clock_version", 5}});
    vela_handle_set_domain(handle, domain);
    const vela_type_info &record = _ptp_clock_version_type_info_internal;
    ptp_clock_version *version = ptp_clock_version_create(handle, test_class);
    EXPECT_EQ(header(version).variant, 5);  // not limited: it admits values that this release does not know
    expect_counted_after_a_trace(&row(record).created);
    expect_trace("ptp_clock_version", BITLOG_INFORMATIONAL, "variant 5 requested only 1 variants present", 2);
    ptp_clock_version_destroy(handle, test_class, version);
    expect_counted_after_a_trace(&row(record).destroyed);
    expect_trace("ptp_clock_version", BITLOG_INFORMATIONAL, "variant 5 requested only 1 variants present", 6);

    vela_handle_set_domain(handle, nullptr);
    version = ptp_clock_version_create(handle, test_class);
    forget_counted();
    header(version).variant = -3;
    ptp_clock_version_destroy(handle, test_class, version);
    expect_counted(&row(record).destroyed);
}

TEST_F(enumeration_test, a_shared_record_counts_for_itself) {
    open(0, 1);
    const vela_type_info &record = _ptp_clock_profile_type_info_internal;
    const u_int64 created = row(record, 1).created;
    owned<ptp_clock_profile> profile = make_profile();
    const vela_type_info *copy = header(profile.get()).type_info;
    EXPECT_NE(copy, &record);
    EXPECT_STREQ(copy->luid_text, record.luid_text);
    EXPECT_NE(copy->shared, 0u);
    EXPECT_EQ(row(*copy, 1).created, 1u);
    EXPECT_EQ(row(record, 1).created, created);
    expect_counted(&row(*copy, 1).created);
}

TEST_F(enumeration_test, initialise_in_the_callers_memory) {
    alignas(8) u_int8 memory[16];
    memset(memory, 0x40, sizeof memory);
    ptp_clock_version *version = reinterpret_cast<ptp_clock_version *>(memory);
    const vela_type_info *record = &_ptp_clock_version_type_info_internal;
    watch(memory, sizeof memory);
    ptp_clock_version_initialize(handle, test_class, version, record, 1, 0, 0x04, nullptr, &err);
    expect_notified(memory, {allocated_variant_byte, variant_byte, type_pointer, flag_byte});
    EXPECT_EQ(header(memory).type_info, record);
    EXPECT_EQ(header(memory).flags, 0x44);
    EXPECT_EQ(value_of(memory), 0x40404040u);

    memset(memory, 0x40, sizeof memory);
    watch(memory, sizeof memory);
    ptp_clock_version_initialize(handle, test_class, version, record, 0, 0, 0x04, nullptr, &err);
    expect_notified(memory, {}, {{0, 11}});
    expect_none_counted();

    header(memory).type_info = nullptr;
    err = VELA_ENOSPC;
    ptp_clock_version_initialize(handle, test_class, version, record, 1, 0, 0x04, nullptr, &err);
    EXPECT_EQ(header(memory).type_info, nullptr);
    err = 0;

    ptp_clock_version_initialize(handle, test_class, nullptr, record, 1, 0, 0, nullptr, &err);
    expect_error(VELA_EINVAL);
}

// ---- header operations -----------------------------------------------------------------------------------------------

TEST_F(enumeration_test, embedded_mark) {
    owned<ptp_clock_version> version = make_version();
    watch(version.get(), 16);
    ptp_clock_version_set_instance_embedded(handle, test_class, version.get());
    expect_notified(version.get(), {flag_byte});
    EXPECT_EQ(header(version.get()).flags, VELA_FLAG_EMBEDDED);
    ptp_clock_version_set_instance_embedded(handle, test_class, nullptr);
    expect_trace("ptp_clock_version", BITLOG_ERROR, "Invalid object handle passed to set embedded flag", 8);
}

TEST_F(enumeration_test, object_identifiers_and_references) {
    owned<ptp_clock_version> version = make_version();
    void *output = &output;
    vela_store_err(handle, 99);
    EXPECT_EQ(ptp_clock_version_get_oid_count(handle, test_class, version.get(), &err), 0u);
    expect_ok();
    ptp_clock_version_get_object_references(handle, test_class, version.get(), &output, 1, &err);
    EXPECT_EQ(output, &output);
    expect_ok();

    EXPECT_EQ(ptp_clock_version_get_oid_count(handle, test_class, nullptr, &err), 0u);
    expect_error(VELA_EINVAL);
    expect_trace("ptp_clock_version", BITLOG_ERROR, "Invalid object passed in to get object oid count", 10);
    ptp_clock_version_get_object_references(handle, test_class, nullptr, &output, 1, &err);
    expect_error(VELA_EINVAL);
    expect_trace("ptp_clock_version", BITLOG_ERROR, "Cannot get table references. Invalid object passed on", 12);

    err = VELA_ENOMEM;
    EXPECT_EQ(ptp_clock_version_get_oid_count(handle, test_class, version.get(), &err), 0u);
    expect_trace("ptp_clock_version", BITLOG_ERROR, "Error already present in call to get object oid count", 9);
    ptp_clock_version_get_object_references(handle, test_class, version.get(), &output, 1, &err);
    expect_trace("ptp_clock_version", BITLOG_ERROR, "Error present in call to get table references from object", 11);
    EXPECT_EQ(err, u_int32{VELA_ENOMEM});
    err = 0;
}

TEST_F(enumeration_test, identity_and_variant_limit) {
    owned<ptp_clock_version> version = make_version();
    u_int8 luid[16];
    ptp_clock_version_get_luid(handle, test_class, version.get(), luid, &err);
    EXPECT_EQ(luid[0], 0x85);
    EXPECT_EQ(luid[15], 0x4c);
    ptp_clock_version_get_luid(handle, test_class, nullptr, luid, &err);
    expect_error(VELA_EINVAL);

    EXPECT_EQ(ptp_clock_version_variant_data_index_cap(0), 0);
    EXPECT_EQ(ptp_clock_version_variant_data_index_cap(1), 0);
    EXPECT_EQ(ptp_clock_profile_variant_data_index_cap(1), 1);
    EXPECT_EQ(ptp_clock_profile_variant_data_index_cap(127), 1);
    EXPECT_EQ(ptp_clock_profile_variant_data_index_cap(0xFE), -2);
    EXPECT_EQ(ptp_clock_version_adjust_variant(handle, test_class, version.get(), &err), 0u);
}

// ---- values ----------------------------------------------------------------------------------------------------------

TEST_F(enumeration_test, set_value_stores_what_the_variant_has) {
    owned<ptp_clock_version> version = make_version();
    watch(version.get(), 16);
    vela_store_err(handle, 99);
    ptp_clock_version_set_value(handle, test_class, version.get(), VELA_PTP_VERSION_2, &err);
    expect_notified(version.get(), {value_word});
    expect_ok();
    ptp_clock_version_set_value(handle, test_class, version.get(), 3, &err);
    expect_epoch_error();
    ptp_clock_version_set_value(handle, test_class, version.get(), 0xFFFFFFFF, &err);
    expect_epoch_error();
    ptp_clock_version_set_value(handle, test_class, nullptr, 1, &err);
    expect_error(VELA_EINVAL);
    err = VELA_ENOENT;
    ptp_clock_version_set_value(handle, test_class, version.get(), 1, &err);
    EXPECT_EQ(err, u_int32{VELA_ENOENT});
    err = 0;
    expect_untouched();
    EXPECT_EQ(ptp_clock_version_get_value(handle, test_class, version.get(), &err), 2u);
    EXPECT_EQ(ptp_clock_version_get(handle, test_class, version.get()), version.get());

    EXPECT_EQ(ptp_clock_version_get_value(handle, test_class, nullptr, &err), 0u);
    expect_error(VELA_EINVAL);
    err = VELA_ENOENT;
    EXPECT_EQ(ptp_clock_version_get_value(handle, test_class, version.get(), &err), 0u);
    err = 0;
    EXPECT_EQ(ptp_clock_version_map_to_user_value(77), 77u);
    EXPECT_EQ(ptp_clock_version_map_to_internal_value(78), 78u);
}

u_int32 enumeration_test::set_error(void *instance, const ptp_cfg_type *type, u_int32 value) {
    const std::string name = describe(type).name;
    if (name == "ptp_clock_profile") {
        ptp_clock_profile_set_value(handle, test_class, static_cast<ptp_clock_profile *>(instance), value, &err);
    } else if (name == "ptp_tracking_type") {
        ptp_tracking_type_set_value(handle, test_class, static_cast<ptp_tracking_type *>(instance), value, &err);
    } else {
        ptp_clock_version_set_value(handle, test_class, static_cast<ptp_clock_version *>(instance), value, &err);
    }
    const u_int32 result = err;
    EXPECT_EQ(value_of(instance) == value, result == 0) << value;
    err = 0;
    vela_clear_last_error(handle);
    return result;
}

TEST_F(enumeration_test, thresholds_rise_with_the_variant) {
    struct expectation {
        const char *type;
        int8 variant;
        u_int32 last_admitted;
    };
    const expectation expectations[] = {
        {"ptp_clock_profile", 0, 4}, {"ptp_clock_profile", 1, 5},          {"ptp_clock_profile", 2, 0xFFFFFFFF},
        {"ptp_tracking_type", 0, 2}, {"ptp_tracking_type", 1, 3},          {"ptp_tracking_type", 2, 0xFFFFFFFF},
        {"ptp_clock_version", 0, 2}, {"ptp_clock_version", 1, 0xFFFFFFFF},
    };
    for (const expectation &expected : expectations) {
        SCOPED_TRACE(std::string(expected.type) + " at " + std::to_string(expected.variant));
        const old_domain domain({{expected.type, expected.variant}});
        vela_handle_set_domain(handle, domain);
        const ptp_cfg_type *type = type_named(expected.type);
        owned<void> instance = create(type);
        EXPECT_EQ(set_error(instance.get(), type, expected.last_admitted), 0u);
        if (expected.last_admitted != 0xFFFFFFFF) {
            EXPECT_EQ(set_error(instance.get(), type, expected.last_admitted + 1), u_int32{VELA_EEPOCH});
        }
        vela_handle_set_domain(handle, nullptr);
    }
    traces.clear();
}

TEST_F(enumeration_test, is_valid_asks_the_domain) {
    const old_domain domain({{"ptp_clock_profile", 0}, {"ptp_clock_version", 1}});
    EXPECT_EQ(ptp_clock_profile_is_valid_cr(handle, 5), 1u);
    EXPECT_EQ(ptp_clock_profile_is_valid_cr(handle, 6), 0u);
    EXPECT_EQ(ptp_clock_version_is_valid_cr(handle, 3), 0u);
    vela_handle_set_domain(handle, domain);
    EXPECT_EQ(ptp_clock_profile_is_valid_cr(handle, 4), 1u);
    EXPECT_EQ(ptp_clock_profile_is_valid_cr(handle, 5), 0u);
    EXPECT_EQ(ptp_clock_version_is_valid_cr(handle, 3), 1u);
}

TEST_F(enumeration_test, set_copies_the_whole_source) {
    owned<ptp_clock_profile> source = make_profile();
    ptp_clock_profile_set_value(handle, test_class, source.get(), VELA_PTP_PHASE_PROFILE_G8275_1, &err);
    ptp_clock_profile_set_instance_embedded(handle, test_class, source.get());
    owned<ptp_clock_profile> destination = make_profile();
    header(destination.get()).variant = 0;
    watch(destination.get(), 16);

    ptp_clock_profile_set(handle, test_class, destination.get(), source.get(), &err);
    expect_notified(destination.get(), {whole_enumeration});
    EXPECT_EQ(memcmp(destination.get(), source.get(), 16), 0);
    EXPECT_EQ(header(destination.get()).flags, VELA_FLAG_EMBEDDED);
    EXPECT_EQ(header(destination.get()).variant, 1);

    // The source's value meets the destination's variant.
    ptp_clock_profile_set_value(handle, test_class, source.get(), VELA_PTP_PHASE_PROFILE_G8275_2, &err);
    byte_at(destination.get(), variant_byte.offset) = 0;
    watch(destination.get(), 16);
    ptp_clock_profile_set(handle, test_class, destination.get(), source.get(), &err);
    expect_epoch_error();
    ptp_clock_profile_set(handle, test_class, nullptr, source.get(), &err);
    expect_error(VELA_EINVAL);
    ptp_clock_profile_set(handle, test_class, destination.get(), nullptr, &err);
    expect_error(VELA_EINVAL);
    err = VELA_ENOENT;
    ptp_clock_profile_set(handle, test_class, destination.get(), source.get(), &err);
    err = 0;
    expect_untouched();
}

TEST_F(enumeration_test, order_and_hash) {
    owned<ptp_clock_version> a = make_version();
    owned<ptp_clock_version> b = make_version();
    ptp_clock_version_set_value(handle, test_class, b.get(), 2, &err);
    EXPECT_EQ(ptp_clock_version_compare(a.get(), b.get()), -2);
    EXPECT_EQ(ptp_clock_version_compare(b.get(), a.get()), 2);
    EXPECT_EQ(ptp_clock_version_compare(a.get(), a.get()), 0);
    EXPECT_EQ(ptp_clock_version_compare(nullptr, nullptr), 0);
    EXPECT_EQ(ptp_clock_version_compare(nullptr, a.get()), -1);
    EXPECT_EQ(ptp_clock_version_compare(a.get(), nullptr), 1);
    const u_int32 two = 2;
    EXPECT_EQ(ptp_clock_version_hash(b.get(), 17), SuperFastHash(&two, 4, 17));
    EXPECT_EQ(ptp_clock_version_hash(nullptr, 17), 17u);
    header(b.get()).flags = VELA_FLAG_EMBEDDED;
    EXPECT_EQ(ptp_clock_version_hash(b.get(), 17), SuperFastHash(&two, 4, 17));
}

TEST_F(enumeration_test, literals_number_from_zero_and_stay_as_peers_know_them) {
    const std::map<std::string, u_int32> counts = {{"ptp_clock_version", 3},
                                                   {"ptp_clock_type", 7},
                                                   {"ptp_port_role", 4},
                                                   {"ptp_clock_attr_type", 4},
                                                   {"ptp_clock_profile", 6},
                                                   {"ptp_clock_mode", 9},
                                                   {"ptp_clock_accuracy", 19},
                                                   {"ptp_clock_time_source", 8},
                                                   {"ptp_network_type", 3},
                                                   {"ptp_tracking_type", 4},
                                                   {"g8275_1_freq_category", 4},
                                                   {"ptp_v_port_type", 3},
                                                   {"ptp_stream_mode", 4},
                                                   {"ptp_updates_type", 8},
                                                   {"ptp_port_state", 9},
                                                   {"ptp_tod_format_type", 6},
                                                   {"ptp_port_tx_mode", 4},
                                                   {"ptp_port_encap_val", 5},
                                                   {"ptp_L2_transport_val", 3},
                                                   {"ptp_port_step_mode", 3},
                                                   {"ptp_engine_event", 7},
                                                   {"ptp_clk_state", 5},
                                                   {"ptp_1pps_inf_type", 4},
                                                   {"ptp_inf_con_type", 3},
                                                   {"ptp_clock_state", 7},
                                                   {"ptp_tod_src_type", 4},
                                                   {"ptp_port_delay_mechanism_val", 3},
                                                   {"vela_ptp_pulse_width_unit_type", 4}};
    EXPECT_EQ(types_of(PTP_CFG_ENUMERATION).size(), counts.size());
    for (const auto &[name, count] : counts) {
        SCOPED_TRACE(name);
        const ptp_cfg_type *type = type_named(name.c_str());
        EXPECT_EQ(describe(type).literal_count, count);
        for (u_int32 i = 0; i < count; ++i) {
            ptp_cfg_literal literal = {};
            EXPECT_EQ(ptp_cfg_literal_describe(type, i, &literal), 1u);
            EXPECT_EQ(literal.number, i);
            EXPECT_EQ(std::string(literal.literal).starts_with("VELA_"), name != "ptp_updates_type");
        }
    }
    const auto literal_of = [](const char *type, u_int32 index) {
        ptp_cfg_literal literal = {};
        ptp_cfg_literal_describe(type_named(type), index, &literal);
        return std::string(literal.literal);
    };
    EXPECT_EQ(literal_of("ptp_port_encap_val", 2), "VELA_PTP_CFG_PORT_EENCAP_IPV6");
    EXPECT_EQ(literal_of("ptp_port_step_mode", 0), "VELA_PTP_CFG_PORT__STEP_MODE_NOT_SET");
    EXPECT_EQ(literal_of("ptp_clock_type", 5), "VELA_PTP_CFG_CLK_MANAGEMENT_NODE");
    EXPECT_EQ(literal_of("ptp_clock_profile", 2), "VELA_PTP_PROFILE_NUM_TYPES");
    EXPECT_EQ(literal_of("ptp_clock_accuracy", 5), "VELA_PTP_CLOCK_ACCURACY_WITHIN_2P5us");
}

// ---- chains ------------------------------------------------------------------------------------------------------------

TEST_F(enumeration_test, chained_life) {
    chain();
    ptp_clock_version *version = ptp_clock_version_create_cr(handle);
    EXPECT_EQ(handle->chained_mode, 0u);
    EXPECT_EQ(ptp_clock_version_len_cr(handle), 5u);
    ptp_clock_version_destroy_cr(handle, version);
    EXPECT_EQ(blocks_out(), 0u);
}

TEST_F(enumeration_test, chain_after_a_failure) {
    fail_allocation(1);
    EXPECT_EQ(ptp_clock_version_create(handle, test_class), nullptr);
    expect_ok();

    chain();
    forget_counted();
    fail_allocation(1);
    ptp_clock_version *standin = ptp_clock_version_create_cr(handle);
    ASSERT_NE(standin, nullptr);
    EXPECT_EQ(handle->chained_err, u_int32{VELA_ENOMEM});
    EXPECT_EQ(ptp_clock_version_create_cr(handle), standin);
    EXPECT_NE(static_cast<void *>(ptp_clock_profile_create_cr(handle)), standin);
    EXPECT_EQ(blocks_out(), 0u);

    char buffer[64];
    EXPECT_EQ(ptp_clock_version_len_cr(handle), 0u);
    EXPECT_EQ(ptp_clock_version_print_cr(handle, standin, buffer, sizeof buffer), 0xFFFFFFFFu);
    EXPECT_EQ(ptp_clock_version_toxml_cr(handle, standin, buffer, sizeof buffer), 0xFFFFFFFFu);
    EXPECT_EQ(value_of(standin), 0u);
    ptp_clock_version_destroy_cr(handle, standin);
    ptp_clock_version_destroy(handle, chained_class, standin);
    expect_none_counted();
    expect_chained_error(VELA_ENOMEM);
}

}  // namespace
}  // namespace ptp_cfg_test
