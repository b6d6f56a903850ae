// Which values an enumeration admits, copies, orders and names.
#include "enumeration_test.h"
#include "ptp_cfg/enumerations.h"

namespace ptp_cfg_test {
namespace {

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

}  // namespace
}  // namespace ptp_cfg_test
