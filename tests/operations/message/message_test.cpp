// Messages: their life and payloads.
#include "message_test.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/messages.h"
#include "ptp_cfg/port_stream.h"

namespace ptp_cfg_test {
namespace {

// ---- life -----------------------------------------------------------------------------------------------------------

TEST_F(Message, CreateAnnouncesSlotsHeaderAndFlags) {
    for (const u_int32 mode : {0u, u_int32{VELA_STTR_OFF}, u_int32{VELA_STTR_ON}}) {
        open(mode);
        watch_new_blocks();
        u_int64 *created = &_ptp_port_delete_cmd_message_type_info_internal.variant_table->rows[0].created;
        const auto one =
            own(ptp_port_delete_cmd_message_create(handle, test_class), ptp_port_delete_cmd_message_destroy);
        std::vector<range> wanted = {{32, 8}, {0, 8}, {8, 1}, {12, 16}};
        if (mode == VELA_STTR_ON) {
            wanted.insert(wanted.end(), {{10, 1}, {19, 1}});
        }
        expect_notified(one.get(), wanted);
        expect_counted(&_ptp_port_delete_type_info_internal.variant_table->rows[0].created);
        expect_counted(created);
        EXPECT_EQ(block_size(one.get()), 40u);
        const u_int8 tracked = mode == VELA_STTR_ON ? 1 : 0;
        EXPECT_EQ(octets(&byte_at(one.get(), 8), &byte_at(one.get(), 32)),
                  octets({0,    0,    static_cast<u_int8>(tracked * VELA_FLAG_TRACKED),
                          0,    0xBC, 0xFF,
                          0xFF, 0xFF, 0xFF,
                          0xFF, 0xFF, tracked,
                          0,    0,    0,
                          0,    0,    0,
                          0,    0,    0,
                          0,    0,    0}));
    }
}

TEST_F(Message, DestroyReturnsWhatItHoldsAndIgnoresWhatIsNone) {
    u_int64 *destroyed = &_ptp_port_delete_cmd_message_type_info_internal.variant_table->rows[0].destroyed;
    const u_int64 before = *destroyed;
    ptp_port_delete_cmd_message_destroy(handle, test_class, nullptr);
    EXPECT_EQ(*destroyed, before);
    make().reset();
    EXPECT_EQ(*destroyed, before + 1);
    ptp_port_delete_cmd_message_destroy_unsafe(handle, test_class,
                                               ptp_port_delete_cmd_message_create_unsafe(handle, test_class));
    EXPECT_EQ(*destroyed, before + 2);
    EXPECT_EQ(blocks_out(), 0u);

    auto *shallow = ptp_port_delete_cmd_message_create_shallow(handle, test_class);
    EXPECT_EQ(blocks_out(), 1u);
    EXPECT_EQ(payload(shallow), nullptr);
    EXPECT_EQ(byte_at(shallow, 12), 0xBC);
    ptp_port_delete_cmd_message_destroy(handle, test_class, shallow);
}

TEST_F(Message, DestroyAnnouncesTheSlotsThatItEmpties) {
    watch_new_blocks();
    auto *two = ptp_port_data_set_info_message_create(handle, test_class);
    take_notified(two);
    forget_counted();
    ptp_port_data_set_info_message_destroy(handle, test_class, two);
    expect_notified(two, {{32, 8}, {40, 8}}, {{0, 8}});  // the type pointer goes unannounced
    EXPECT_EQ(counters.back().counter,
              &_ptp_port_data_set_info_message_type_info_internal.variant_table->rows[0].destroyed)
        << "payloads go first";

    auto *shallow = ptp_port_data_set_info_message_create_shallow(handle, test_class);
    take_notified(shallow);
    ptp_port_data_set_info_message_destroy(handle, test_class, shallow);
    expect_notified(shallow, {}, {{0, 8}});
}

TEST_F(Message, DestroyEmptiesEachSlotWhenItsPayloadIsGone) {
    static void **slots;
    static std::map<const void *, int> held;  // payloads in the slots when a counter was announced
    auto *two = ptp_port_data_set_info_message_create(handle, test_class);
    slots = reinterpret_cast<void **>(reinterpret_cast<u_int8 *>(two) + 32);
    const auto counter_of = [](const void *of) {
        return &header(of).type_info->variant_table->rows[header(of).variant].destroyed;
    };
    const void *counter[] = {counter_of(slots[0]), counter_of(slots[1]), counter_of(two)};
    handle->pre_write_counter = [](void *, void *announced, size_t, u_int32) {
        held[announced] = (slots[0] != nullptr ? 1 : 0) + (slots[1] != nullptr ? 1 : 0);
    };
    ptp_port_data_set_info_message_destroy(handle, test_class, two);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(held.at(counter[i]), 2 - i);
    }
}

TEST_F(Message, WithoutMemoryThereIsNone) {
    for (int failing = 1; failing <= 3; ++failing) {  // the message, its payloads
        fail_allocation(failing);
        EXPECT_EQ(ptp_port_data_set_info_message_create(handle, test_class), nullptr);
        EXPECT_EQ(blocks_out(), 0u);
    }
    fail_allocation(2);
    EXPECT_EQ(ptp_1pps_input_state_message_create(handle, test_class), nullptr);
    fail_allocation(1);
    EXPECT_EQ(ptp_port_delete_cmd_message_create_shallow(handle, test_class), nullptr);
    EXPECT_EQ(blocks_out(), 0u);
    expect_ok();
}

TEST_F(Message, AChainGoesOnWhenAPrimitivePayloadHasNoMemory) {
    chain();
    fail_allocation(2);
    auto *failed = ptp_1pps_input_state_message_create_cr(handle);
    ASSERT_NE(failed, nullptr);
    EXPECT_EQ(handle->chained_err, u_int32{VELA_ENOMEM});
    EXPECT_EQ(blocks_out(), 0u);
    ptp_1pps_input_state_message_destroy_cr(handle, failed);
    handle->chained_err = 0;
    vela_clear_last_error(handle);
}

TEST_F(Message, AChainGoesOnWithTheStaticMessage) {
    chain();
    fail_allocation(1);
    auto *failed = ptp_port_data_set_info_message_create_cr(handle);
    // Never with one of its own around a static payload, which free_and_set or detach would hand out as owned.
    for (int failing : {2, 3}) {  // a payload
        handle->chained_err = 0;
        fail_allocation(failing);
        EXPECT_EQ(ptp_port_data_set_info_message_create_cr(handle), failed);
        EXPECT_EQ(handle->chained_err, u_int32{VELA_ENOMEM});
        EXPECT_EQ(blocks_out(), 0u);
    }
    EXPECT_EQ(handle->chained_mode, 0u);
    ASSERT_NE(failed, nullptr);
    EXPECT_EQ(handle->chained_err, u_int32{VELA_ENOMEM});
    EXPECT_EQ(ptp_port_data_set_info_message_create_cr(handle), failed);
    EXPECT_EQ(blocks_out(), 0u);

    auto *hdl = ptp_port_data_set_info_message_ptp_port_pd_hdl_get(handle, chained_class, failed, &err);
    ASSERT_NE(hdl, nullptr) << "payloads are static as well";
    EXPECT_EQ(hdl, ptp_port_pd_hdl_create_cr(handle));
    ptp_port_pd_hdl_hdl_set_value(handle, chained_class, hdl, 5, &handle->chained_err);
    EXPECT_EQ(ptp_port_data_set_info_message_len_cr(handle, failed), 0u);
    EXPECT_EQ(ptp_port_data_set_info_message_marshal_cr(handle, failed, buffer.data(), room_of_all), 0xFFFFFFFFu);
    expect_trace("ptp_port_data_set_info_message", BITLOG_DEBUG,
                 "Error present in call to message marshal: Cannot allocate memory");
    EXPECT_EQ(ptp_port_data_set_info_message_print_cr(handle, failed, reinterpret_cast<char *>(buffer.data()), 256),
              0xFFFFFFFFu);
    expect_trace("ptp_port_data_set_info_message", BITLOG_DEBUG,
                 "Already have error when printing ptp_port_data_set_info: Cannot allocate memory");
    EXPECT_EQ(ptp_port_data_set_info_message_toxml_cr(handle, failed, reinterpret_cast<char *>(buffer.data()), 256),
              0xFFFFFFFFu);
    expect_trace("ptp_port_data_set_info_message", BITLOG_DEBUG,
                 "Already have error when rendering XML for ptp_port_data_set_info: Cannot allocate memory");
    ptp_port_data_set_info_message_destroy_cr(handle, failed);
    EXPECT_EQ(handle->chained_err, u_int32{VELA_ENOMEM});
    handle->chained_err = 0;
    vela_clear_last_error(handle);

    auto *sound = ptp_port_data_set_info_message_create_cr(handle);
    EXPECT_NE(sound, failed);
    const u_int32 len = ptp_port_data_set_info_message_len_cr(handle, sound);
    EXPECT_EQ(ptp_port_data_set_info_message_marshal_cr(handle, sound, buffer.data(), room_of_all), len);
    EXPECT_EQ(ptp_port_data_set_info_message_is_valid_cr(handle), 1u);
    ptp_port_data_set_info_message_destroy_cr(handle, sound);
}

// ---- payloads -------------------------------------------------------------------------------------------------------

TEST_F(Message, AccessorsLendHandOverAndTake) {
    const auto one = make();
    const auto get = [&] { return payload(one.get()); };
    auto second = make_payload();
    auto third = make_payload();
    auto fourth = make_payload();
    watch(one.get(), 40);
    ptp_port_delete *first = get();
    EXPECT_EQ(get(), first);
    expect_untouched();

    const auto detached =
        own(ptp_port_delete_cmd_message_ptp_port_delete_get_detach(handle, test_class, one.get(), &err),
            ptp_port_delete_destroy);
    EXPECT_EQ(detached.get(), first);
    EXPECT_EQ(get(), nullptr);
    expect_notified(one.get(), {{32, 8}});

    ptp_port_delete_cmd_message_ptp_port_delete_set(handle, test_class, one.get(), second.get(), &err);
    expect_notified(one.get(), {{32, 8}});
    ptp_port_delete_cmd_message_ptp_port_delete_set(handle, test_class, one.get(), third.release(), &err);
    EXPECT_EQ(blocks_out(), 5u) << "the second payload is still its owner's";

    ptp_port_delete_cmd_message_ptp_port_delete_free_and_set(handle, test_class, one.get(), fourth.get(), &err);
    EXPECT_EQ(get(), fourth.get());
    EXPECT_EQ(blocks_out(), 4u);
    ptp_port_delete_cmd_message_ptp_port_delete_free_and_set(handle, test_class, one.get(), fourth.release(), &err);
    EXPECT_EQ(blocks_out(), 4u) << "setting what is there keeps it";
    ptp_port_delete_cmd_message_ptp_port_delete_free_and_set(handle, test_class, one.get(), nullptr, &err);
    EXPECT_EQ(get(), nullptr);
    EXPECT_EQ(blocks_out(), 3u);
}

TEST_F(Message, AccessorsTraceANullMessageAndAnEarlierError) {
    const auto one = make();
    const auto spare = make_payload();
    for (const u_int32 earlier : {0u, u_int32{VELA_ENOMEM}}) {
        message *of = earlier == 0 ? nullptr : one.get();
        const std::string why = earlier == 0 ? "Success" : "Cannot allocate memory";
        err = earlier;
        EXPECT_EQ(payload(of), nullptr);
        expect_trace(message_name, BITLOG_DEBUG, "Error present when getting value for ptp_port_delete: " + why);
        EXPECT_EQ(ptp_port_delete_cmd_message_ptp_port_delete_get_detach(handle, test_class, of, &err), nullptr);
        expect_trace(message_name, BITLOG_DEBUG,
                     "Error present getting detached ptp_port_delete value for ptp_port_delete_cmd: " + why);
        ptp_port_delete_cmd_message_ptp_port_delete_set(handle, test_class, of, spare.get(), &err);
        expect_trace(message_name, BITLOG_DEBUG, "Error present when setting value for ptp_port_delete: " + why);
        ptp_port_delete_cmd_message_ptp_port_delete_free_and_set(handle, test_class, of, spare.get(), &err);
        expect_trace(message_name, BITLOG_DEBUG,
                     "Error present when freeing and setting value for ptp_port_delete: " + why);
        EXPECT_EQ(err, earlier);
        err = 0;
    }
    EXPECT_NE(payload(one.get()), spare.get());
}

TEST_F(Message, PrimitivePayloadsHaveValues) {
    const auto one = own(ptp_1pps_input_state_message_create(handle, test_class), ptp_1pps_input_state_message_destroy);
    const auto get = [&](ptp_1pps_input_state_message *of) {
        return ptp_1pps_input_state_message_vela_boolean_get_value(handle, test_class, of, &err);
    };
    const auto set = [&](ptp_1pps_input_state_message *of, vela_boolean value) {
        ptp_1pps_input_state_message_vela_boolean_set_value(handle, test_class, of, value, &err);
    };
    const std::string type = "ptp_1pps_input_state_message";
    EXPECT_EQ(get(one.get()), 0u);
    set(one.get(), 1);
    EXPECT_EQ(get(one.get()), 1u);
    expect_ok();

    EXPECT_EQ(get(nullptr), 0u);
    expect_trace(type, BITLOG_DEBUG, "Error present when getting value for vela_boolean: Success");
    expect_error(VELA_ENOENT);
    err = VELA_ENOMEM;  // an earlier error gives way
    set(one.get(), 0);
    expect_trace(type, BITLOG_DEBUG, "Error present when setting value for vela_boolean: Cannot allocate memory");
    expect_error(VELA_ENOENT);
    EXPECT_EQ(get(one.get()), 1u);

    ptp_1pps_input_state_message_vela_boolean_free_and_set(handle, test_class, one.get(), nullptr, &err);
    EXPECT_EQ(get(one.get()), 0u);
    expect_error(VELA_ENOENT);
    set(one.get(), 1);
    expect_error(VELA_ENOENT);
    ptp_1pps_input_state_message_marshal(handle, test_class, buffer.data(), one.get(), room_of_all, &err);
    expect_error(VELA_EINVAL);  // there is no encoding of a primitive that is absent
    expect_trace(type, BITLOG_ERROR, "Message ptp_1pps_input_state failed to marshal: Invalid argument");
}

}  // namespace
}  // namespace ptp_cfg_test
