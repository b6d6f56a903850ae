// Messages: their bytes, what is read of them, domains and bundles.
#include <dlfcn.h>

#include "message_test.h"
#include "ptp_cfg/data_sets.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/messages.h"
#include "ptp_cfg/port_stream.h"
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
        expect_trace(message_name, room % 2 == 0 ? BITLOG_ERROR : BITLOG_DEBUG,
                     std::string("Message ptp_port_delete_cmd failed to marshal: ") +
                         (room == PTP_CFG_MESSAGE_PREFIX ? "Cannot allocate memory" : "Message too long"));
    }
    velalib_suppress_messages_set(0);
    err = VELA_ENOENT;
    EXPECT_EQ(marshal(one.get(), 51), 0u);
    expect_untouched_from(0);
    expect_trace(message_name, BITLOG_DEBUG, "Error present in call to message marshal: No such file or directory");
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
    vela_domain_forbid_message(strict.get(), message_name);
    vela_handle_set_domain(handle, strict.get());
    EXPECT_EQ(marshal(one.get(), room_of_all), 0u);
    expect_untouched_from(0);
    expect_error(VELA_EDOMAIN, true);
    const std::string text =
        "domainfail: Message ptp_port_delete_cmd (17f2f0c6c6356e5c08961210abd5767d) is not allowed for the current "
        "domain (strict)";
    expect_trace(message_name, BITLOG_ERROR, text);
    chain();
    EXPECT_EQ(ptp_port_delete_cmd_message_is_valid_cr(handle), 0u);
    EXPECT_EQ(handle->chained_err, 0u);
    EXPECT_EQ(ptp_port_delete_cmd_message_marshal_cr(handle, one.get(), buffer.data(), room_of_all), 0xFFFFFFFFu);
    expect_chained_error(VELA_EDOMAIN);
    expect_trace(message_name, BITLOG_ERROR, text);
    expected_class = test_class;
    vela_handle_set_domain(handle, nullptr);
}

TEST_F(Message, BundlesMayRefuseIt) {
    const auto one = make();
    const auto marshal_any = record_type(message_name).operations->marshal;
    vela_bundle *bundle = vela_bundle_open(handle, test_class, 16 + 4 + 51 + 4 + 20, &err);
    EXPECT_EQ(vela_bundle_add(handle, test_class, marshal_any, one.get(), &err), 1u);
    EXPECT_EQ(marshal(one.get(), room_of_all), 0u);
    expect_untouched_from(0);
    expect_error(VELA_EMSGSIZE);
    expect_trace(message_name, BITLOG_ERROR, "Message ptp_port_delete_cmd is not valid for bundle: Message too long");

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
    expect_trace(message_name, BITLOG_ERROR,
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
