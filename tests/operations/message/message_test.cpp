// Messages: their life and payloads, their bytes, domains and bundles.

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <map>

#include "records.h"
#include "vela_bundle.h"

/** Lets the bundle deny that it knows a message; otherwise the runtime's own. */
static bool bundle_forgets = false;
u_int32 bundle_message_increment_count(vela_handle *handle, const u_int8 *luid, u_int32 *err) {
    if (bundle_forgets) {
        *err = VELA_EINVAL;
        vela_store_err(handle, VELA_EINVAL);
        return 0;
    }
    static const auto own =
        reinterpret_cast<decltype(&bundle_message_increment_count)>(dlsym(RTLD_NEXT, "bundle_message_increment_count"));
    return own(handle, luid, err);
}

namespace ptp_cfg_test {
namespace {

constexpr u_int8 untouched = 0xA5;
constexpr u_int32 room_of_all = 256;
const char subject[] = "ptp_port_delete_cmd_message";

class Message : public family_test {
  protected:
    using message = ptp_port_delete_cmd_message;

    owned<message> make(u_int16 port_id = 0x1234) {
        auto result = own(ptp_port_delete_cmd_message_create(handle, test_class), ptp_port_delete_cmd_message_destroy);
        ptp_port_delete_port_id_set_value(handle, test_class, payload(result.get()), port_id, &err);
        return result;
    }
    ptp_port_delete *payload(message *of) {
        return ptp_port_delete_cmd_message_ptp_port_delete_get(handle, test_class, of, &err);
    }
    owned<ptp_port_delete> make_payload() {
        return own(ptp_port_delete_create(handle, test_class), ptp_port_delete_destroy);
    }
    u_int32 marshal(message *of, u_int32 room) {
        buffer.fill(untouched);
        return ptp_port_delete_cmd_message_marshal(handle, test_class, buffer.data(), of, room, &err);
    }
    octets written(size_t count) const { return {buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(count)}; }
    void expect_untouched_from(size_t offset) const {
        EXPECT_EQ(std::count(buffer.begin() + static_cast<std::ptrdiff_t>(offset), buffer.end(), untouched),
                  static_cast<std::ptrdiff_t>(buffer.size() - offset));
    }

    std::array<u_int8, room_of_all> buffer = {};
};

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
        expect_trace(subject, BITLOG_DEBUG, "Error present when getting value for ptp_port_delete: " + why);
        EXPECT_EQ(ptp_port_delete_cmd_message_ptp_port_delete_get_detach(handle, test_class, of, &err), nullptr);
        expect_trace(subject, BITLOG_DEBUG,
                     "Error present getting detached ptp_port_delete value for ptp_port_delete_cmd: " + why);
        ptp_port_delete_cmd_message_ptp_port_delete_set(handle, test_class, of, spare.get(), &err);
        expect_trace(subject, BITLOG_DEBUG, "Error present when setting value for ptp_port_delete: " + why);
        ptp_port_delete_cmd_message_ptp_port_delete_free_and_set(handle, test_class, of, spare.get(), &err);
        expect_trace(subject, BITLOG_DEBUG, "Error present when freeing and setting value for ptp_port_delete: " + why);
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

// ---- bytes ----------------------------------------------------------------------------------------------------------

const char wire_payload[] = "00 00 00000006 1234";

TEST_F(Message, BytesAreHeaderIdentityAndPayload) {
    const auto one = make();
    handle->msg_header_word = 0x01020304;
    EXPECT_EQ(ptp_port_delete_cmd_message_len(handle, test_class, one.get()), 51u);
    EXPECT_EQ(ptp_port_delete_cmd_message_len_unsafe(handle, test_class, one.get()), 51u);
    watch(one.get(), 40);
    EXPECT_EQ(marshal(one.get(), 51), 51u);
    expect_notified(one.get(), {{24, 4}, {20, 4}});
    EXPECT_EQ(written(51), from_hex(std::string("BC FFFFFFFFFFFF 00 01020304 00000033 0000000000000000000000"
                                                "17f2f0c6c6356e5c08961210abd5767d") +
                                    wire_payload));
    expect_untouched_from(51);

    handle->msg_header_word = 7;
    buffer.fill(untouched);
    EXPECT_EQ(ptp_port_delete_cmd_message_marshal_unsafe(handle, test_class, buffer.data(), one.get(), 51, &err), 51u);
    EXPECT_EQ(octets(&buffer[8], &buffer[12]), from_hex("00000007"));

    message *read = nullptr;
    EXPECT_EQ(ptp_port_delete_cmd_message_unmarshal_only(handle, test_class, &read, buffer.data(), 51, &err), 51u);
    const auto owner = own(read, ptp_port_delete_cmd_message_destroy);
    EXPECT_EQ(octets(&byte_at(read, 12), &byte_at(read, 28)), octets(&byte_at(one.get(), 12), &byte_at(one.get(), 28)));
    EXPECT_EQ(ptp_port_delete_compare(payload(one.get()), payload(read)), 0);
    notified_elsewhere = 0;
}

TEST_F(Message, TrackingShowsInTheHeader) {
    open(VELA_STTR_ON);
    const auto one = make();
    EXPECT_EQ(marshal(one.get(), room_of_all), 52u);
    EXPECT_EQ(buffer[7], 1);
    EXPECT_EQ(octets(&buffer[43], &buffer[52]), from_hex("00 08 00000007 1234 02"));
    set_mode(VELA_STTR_OFF);
    message *read = nullptr;
    ptp_port_delete_cmd_message_unmarshal_only(handle, test_class, &read, buffer.data(), 52, &err);
    EXPECT_EQ(byte_at(read, 19), 1) << "as the sender says";
    EXPECT_EQ(header(read).flags, 0);
    ptp_port_delete_cmd_message_destroy(handle, test_class, read);
    set_mode(VELA_STTR_ON);
}

TEST_F(Message, MarshalInEveryRoom) {
    const auto one = make();
    for (u_int32 room = 0; room < 51; ++room) {
        SCOPED_TRACE(room);
        velalib_suppress_messages_set(room % 2);
        const u_int32 count = marshal(one.get(), room);
        if (room < VELA_WIRE_MESSAGE_HEADER) {
            EXPECT_EQ(count, 0u);
            expect_untouched_from(0);
        } else {
            EXPECT_LE(count, room);
            EXPECT_EQ(written(27), octets(27, 0)) << "the header is written last";
            expect_untouched_from(room < PTP_CFG_MESSAGE_PREFIX ? 27 : room);
        }
        expect_error(room == PTP_CFG_MESSAGE_PREFIX ? VELA_ENOMEM : VELA_EMSGSIZE);
        expect_trace(subject, room % 2 == 0 ? BITLOG_ERROR : BITLOG_DEBUG,
                     std::string("Message ptp_port_delete_cmd failed to marshal: ") +
                         (room == PTP_CFG_MESSAGE_PREFIX ? "Cannot allocate memory" : "Message too long"));
    }
    velalib_suppress_messages_set(0);
    err = VELA_ENOENT;
    EXPECT_EQ(marshal(one.get(), 51), 0u);
    expect_untouched_from(0);
    expect_trace(subject, BITLOG_DEBUG, "Error present in call to message marshal: No such file or directory");
    err = 0;
    EXPECT_EQ(marshal(nullptr, 51), 0u);
    expect_error(VELA_EINVAL);
}

TEST_F(Message, AnAbsentPayloadTravelsAsNone) {
    const auto one =
        own(ptp_port_delete_cmd_message_create_shallow(handle, test_class), ptp_port_delete_cmd_message_destroy);
    EXPECT_EQ(ptp_port_delete_cmd_message_len(handle, test_class, one.get()), 49u);
    EXPECT_EQ(marshal(one.get(), 49), 49u);
    EXPECT_EQ(octets(&buffer[43], &buffer[49]), from_hex("FF 00 00000004"));
    message *read = nullptr;
    EXPECT_EQ(ptp_port_delete_cmd_message_unmarshal_only(handle, test_class, &read, buffer.data(), 49, &err), 49u);
    const auto owner = own(read, ptp_port_delete_cmd_message_destroy);
    EXPECT_EQ(header(payload(read)).variant, -1);
}

// ---- reading --------------------------------------------------------------------------------------------------------

class MessageBytes : public family_test {
  protected:
    using message = ptp_port_runtime_state_msg_message;

    MessageBytes() {
        const auto sent = create(type.type);
        fill(type, handle, sent.get(), filling::random);
        bytes = type.marshal(handle, sent.get());
    }
    message *read(u_int32 length, u_int32 expected_count_at_most) {
        const guarded_memory memory(length);
        std::copy_n(bytes.begin(), length, memory.last(length));
        message *result = nullptr;
        const u_int32 count = ptp_port_runtime_state_msg_message_unmarshal_only(handle, test_class, &result,
                                                                                memory.last(length), length, &err);
        EXPECT_LE(count, expected_count_at_most);
        return result;
    }
    ptp_port_pd_hdl *first(message *of) {
        u_int32 ok = 0;
        return ptp_port_runtime_state_msg_message_ptp_port_pd_hdl_get(handle, test_class, of, &ok);
    }
    ptp_port_runtime_state *second(message *of) {
        u_int32 ok = 0;
        return ptp_port_runtime_state_msg_message_ptp_port_runtime_state_get(handle, test_class, of, &ok);
    }

    const record_type type{"ptp_port_runtime_state_msg_message"};
    octets bytes;
};

TEST_F(MessageBytes, APrefixGivesAPartlyFilledMessageAndAnError) {
    const u_int32 second_begins = 43 + 8;
    const auto default_hdl = own(ptp_port_pd_hdl_create(handle, test_class), ptp_port_pd_hdl_destroy);
    const auto default_state = own(ptp_port_runtime_state_create(handle, test_class), ptp_port_runtime_state_destroy);
    for (u_int32 length = 0; length < bytes.size(); ++length) {
        SCOPED_TRACE(length);
        message *partly = read(length, length);
        const auto owner = own(partly, ptp_port_runtime_state_msg_message_destroy);
        EXPECT_NE(err, 0u);
        EXPECT_EQ(handle->last_error.code, err);
        if (length < PTP_CFG_MESSAGE_PREFIX) {
            EXPECT_EQ(err, u_int32{length < VELA_WIRE_MESSAGE_HEADER ? VELA_EMSGSIZE : VELA_ENOMEM});
        }
        EXPECT_EQ(ptp_port_pd_hdl_compare(first(partly), default_hdl.get()) != 0, length >= second_begins);
        if (length <= second_begins) {
            EXPECT_EQ(ptp_port_runtime_state_compare(second(partly), default_state.get()), 0);
        }
        err = 0;
        vela_clear_last_error(handle);
        traces.clear();  // of jumps that lead past the end
    }
    const auto whole = own(read(static_cast<u_int32>(bytes.size()), ~0u), ptp_port_runtime_state_msg_message_destroy);
    EXPECT_EQ(type.marshal(handle, whole.get()), bytes);
}

TEST_F(MessageBytes, AnotherTagIsNoMessage) {
    bytes[0] = 0xBD;
    const auto refused =
        own(read(static_cast<u_int32>(bytes.size()), VELA_WIRE_LUID), ptp_port_runtime_state_msg_message_destroy);
    expect_error(VELA_EINVAL);
    EXPECT_EQ(byte_at(refused.get(), 12), 0xBC);
    EXPECT_NE(second(refused.get()), nullptr);
    err = VELA_ENOMEM;
    EXPECT_EQ(read(static_cast<u_int32>(bytes.size()), 0), nullptr);
    expect_trace(type.about.name, BITLOG_DEBUG,
                 "Error present in call to ptp_port_runtime_state_msg unmarshal: Cannot allocate memory");
    err = 0;
}

TEST_F(MessageBytes, WithoutMemoryForAPayloadTheOthersAreStillThere) {
    const u_int32 length = static_cast<u_int32>(bytes.size());
    fail_allocation(1);
    EXPECT_EQ(read(length, 0), nullptr);
    expect_error(VELA_ENOMEM);
    for (int failing = 2; failing <= 3; ++failing) {
        fail_allocation(failing);
        const auto partly = own(read(length, length), ptp_port_runtime_state_msg_message_destroy);
        expect_error(VELA_ENOMEM);
        EXPECT_EQ(first(partly.get()) == nullptr, failing == 2);
        EXPECT_EQ(second(partly.get()) == nullptr, failing == 3);
    }
}

TEST_F(MessageBytes, TheIdentityIsNotCompared) {
    const record_type sending("ptp_virtual_port_cfg_message");
    const record_type receiving("ptp_v_port_status_update_message");
    const auto sent = create(sending.type);
    fill(sending, handle, sent.get(), filling::random);
    octets sent_bytes = sending.marshal(handle, sent.get());
    octets read_bytes = receiving.marshal(handle, receiving.unmarshal(handle, sent_bytes).get());
    EXPECT_EQ(octets(&read_bytes[27], &read_bytes[43]), from_hex(message_ptp_v_port_status_update_luid_text));
    sent_bytes.erase(sent_bytes.begin() + 27, sent_bytes.begin() + 43);
    read_bytes.erase(read_bytes.begin() + 27, read_bytes.begin() + 43);
    EXPECT_EQ(sent_bytes, read_bytes);
}

// ---- domains and bundles --------------------------------------------------------------------------------------------

TEST_F(Message, AForbiddenOneIsNotMarshalled) {
    const auto one = make();
    const std::unique_ptr<vela_domain, decltype(&vela_domain_destroy)> strict(vela_domain_create("strict"),
                                                                              &vela_domain_destroy);
    vela_domain_forbid_message(strict.get(), subject);
    vela_handle_set_domain(handle, strict.get());
    EXPECT_EQ(marshal(one.get(), room_of_all), 0u);
    expect_untouched_from(0);
    expect_error(VELA_EDOMAIN, true);
    const std::string text =
        "domainfail: Message ptp_port_delete_cmd (17f2f0c6c6356e5c08961210abd5767d) is not allowed for the current "
        "domain (strict)";
    expect_trace(subject, BITLOG_ERROR, text);
    chain();
    EXPECT_EQ(ptp_port_delete_cmd_message_is_valid_cr(handle), 0u);
    EXPECT_EQ(handle->chained_err, 0u);
    EXPECT_EQ(ptp_port_delete_cmd_message_marshal_cr(handle, one.get(), buffer.data(), room_of_all), 0xFFFFFFFFu);
    expect_chained_error(VELA_EDOMAIN);
    expect_trace(subject, BITLOG_ERROR, text);
    expected_class = test_class;
    vela_handle_set_domain(handle, nullptr);
}

TEST_F(Message, BundlesMayRefuseIt) {
    const auto one = make();
    const auto marshal_any = record_type(subject).operations->marshal;
    vela_bundle *bundle = vela_bundle_open(handle, test_class, 16 + 4 + 51 + 4 + 20, &err);
    EXPECT_EQ(vela_bundle_add(handle, test_class, marshal_any, one.get(), &err), 1u);
    EXPECT_EQ(marshal(one.get(), room_of_all), 0u);
    expect_untouched_from(0);
    expect_error(VELA_EMSGSIZE);
    expect_trace(subject, BITLOG_ERROR, "Message ptp_port_delete_cmd is not valid for bundle: Message too long");

    const u_int8 *bytes = nullptr;
    u_int32 length = 0;
    EXPECT_EQ(vela_bundle_close(handle, &bytes, &length, &err), 1u);
    EXPECT_EQ(length, 16u + 4 + 51);
    EXPECT_EQ(octets(bytes + 47, bytes + 63), from_hex(message_ptp_port_delete_cmd_luid_text));

    vela_bundle_reopen(handle, bundle, &err);
    bundle_forgets = true;
    EXPECT_EQ(marshal(one.get(), room_of_all), 51u);
    bundle_forgets = false;
    EXPECT_EQ(written(27), octets(27, 0)) << "without a header";
    expect_error(VELA_EINVAL);
    expect_trace(subject, BITLOG_ERROR,
                 "Message ptp_port_delete_cmd instance is not present in bundle Invalid argument");
    vela_bundle_destroy(bundle);
    EXPECT_STREQ(message_ptp_port_delete_cmd_name, "message ptp_port_delete_cmd");
}

TEST_F(Message, ACorruptHandleAborts) {
    testing::GTEST_FLAG(death_test_style) = "fast";
    open(VELA_STTR_OFF);
    set_mode(0x1234);
    EXPECT_DEATH(ptp_port_delete_cmd_message_create_shallow(handle, test_class), "Corrupted VELA Handle");
    set_mode(VELA_STTR_OFF);
    const auto one = make();
    const vela_type_info *record = header(one.get()).type_info;
    header(one.get()).type_info = nullptr;
    EXPECT_DEATH(ptp_port_delete_cmd_message_destroy(handle, test_class, one.get()), "tinfo is null or corrupted");
    header(one.get()).type_info = record;
}

}  // namespace
}  // namespace ptp_cfg_test
