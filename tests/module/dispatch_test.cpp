// The calls that receive a message of whatever type: whose it is afterwards, what is reported, and bundles.

#include <cstdio>

#include "dispatch.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/messages.h"
#include "vela_bundle.h"

ptp_cfg_test::handler_state ptp_cfg_test::clock_handler;

void ptp_cfg_ptp_clock_delete_cmd_message_handler(vela_handle *handle, u_int32 mem_class, void *context,
                                                  ptp_clock_delete_cmd_message *message, u_int32 *err) {
    using ptp_cfg_test::clock_handler;
    ++clock_handler.calls;
    clock_handler.context = context;
    clock_handler.recorded = clock_handler.record == nullptr ? 0 : ftell(clock_handler.record);
    ptp_clock_delete_cmd_message_destroy(handle, mem_class, message);
    *err = clock_handler.error;
}

namespace ptp_cfg_test {
namespace {

const char handled[] = "ptp_clock_delete_cmd_message";
const char unhandled[] = "ptp_stream_delete_cmd_message";

// ---- whose a message is ----------------------------------------------------------------------------------------------

TEST(ReceiveAny, TheMessageIsTheCallers) {
    const test_handle handle;
    for (const record_type &type : record_types(PTP_CFG_MESSAGE)) {
        SCOPED_TRACE(type.about.name);
        const octets sent = bytes_of(type.about.name);
        octets bytes = sent;
        bytes.insert(bytes.end(), 7, 0);  // what follows is not looked at
        const ptp_cfg_type *found = nullptr;
        u_int32 consumed = 0;
        u_int32 err = 0;
        void *message = ptp_cfg_receive(handle, test_class, &found, bytes.data(), size_of(bytes), &consumed, &err);
        EXPECT_EQ(err, 0u);
        EXPECT_EQ(found, type.type);
        EXPECT_EQ(consumed, sent.size());
        ASSERT_NE(message, nullptr);
        EXPECT_EQ(type.marshal(handle, message), sent);
        ptp_cfg_message_destroy(handle, test_class, found, message);
    }
    ptp_cfg_message_destroy(handle, test_class, nullptr, nullptr);
}

TEST(ReceiveAny, FailuresNameWhatTheyCan) {
    const test_handle handle;
    octets bytes = bytes_of(handled);
    const ptp_cfg_type *type = nullptr;
    u_int32 consumed = 1;
    const auto receive = [&](u_int32 length) {
        u_int32 err = 0;
        EXPECT_EQ(ptp_cfg_receive(handle, test_class, &type, bytes.data(), length, &consumed, &err), nullptr);
        return err;
    };
    EXPECT_EQ(receive(42), u_int32{VELA_EMSGSIZE});
    EXPECT_EQ(type, nullptr);
    EXPECT_EQ(consumed, 0u);
    EXPECT_EQ(receive(PTP_CFG_MESSAGE_PREFIX), u_int32{VELA_ENOMEM}) << "nothing is left for the payload";
    EXPECT_EQ(type, ptp_cfg_type_find(handled)) << "known, though it cannot be decoded";
    EXPECT_EQ(consumed, u_int32{PTP_CFG_MESSAGE_PREFIX});
    bytes[0] ^= 1;
    EXPECT_EQ(receive(size_of(bytes)), u_int32{VELA_EINVAL}) << "no message header";

    u_int32 err = VELA_EEPOCH;
    EXPECT_EQ(ptp_cfg_receive(handle, test_class, &type, bytes.data(), 99, &consumed, &err), nullptr);
    EXPECT_EQ(err, u_int32{VELA_EEPOCH});
    EXPECT_EQ(type, nullptr);
    EXPECT_EQ(consumed, 0u);
}

TEST(DispatchOne, TheMessageIsTheHandlersAlsoWithAnError) {
    const test_handle handle;
    clock_handler = {};
    const octets bytes = bytes_of(handled);
    int context = 0;
    void *message = nullptr;
    u_int32 err = 0;
    const auto dispatch = [&](const octets &from) {
        return ptp_cfg_dispatch(handle, test_class, &context, &message, nullptr, from.data(), size_of(from), &err);
    };
    EXPECT_EQ(dispatch(bytes), bytes.size());
    EXPECT_EQ(err, 0u);
    EXPECT_EQ(clock_handler.calls, 1u);
    EXPECT_EQ(clock_handler.context, &context);

    clock_handler.error = 99;
    EXPECT_EQ(dispatch(bytes), bytes.size());
    EXPECT_EQ(err, 99u);
    EXPECT_NE(message, nullptr) << "a handler was called: the error is its own";
    EXPECT_EQ(clock_handler.calls, 2u);

    err = 0;
    const octets nobodys = bytes_of(unhandled);
    EXPECT_EQ(dispatch(nobodys), nobodys.size());
    EXPECT_EQ(err, u_int32{VELA_ENOSYS});
    EXPECT_EQ(handle->last_error.code, u_int32{VELA_ENOSYS});
    EXPECT_EQ(message, nullptr);
}

TEST(DispatchOne, WhateverIsReceivedIsRecordedOnceAndFirst) {
    const test_handle handle;
    const octets bytes = bytes_of(handled);
    const octets nobodys = bytes_of(unhandled);
    clock_handler = {};
    clock_handler.record = tmpfile();
    ASSERT_NE(clock_handler.record, nullptr);
    velalib_msg_recorder_set(1, clock_handler.record);
    u_int32 err = 0;
    ptp_cfg_dispatch(handle, test_class, nullptr, nullptr, nullptr, bytes.data(), size_of(bytes), &err);
    const long one = ftell(clock_handler.record);
    EXPECT_GT(one, 0);
    EXPECT_EQ(clock_handler.recorded, one) << "before the handler is called, which may destroy it";

    const ptp_cfg_type *type = nullptr;
    void *message = ptp_cfg_receive(handle, test_class, &type, bytes.data(), size_of(bytes), nullptr, &err);
    ptp_cfg_message_destroy(handle, test_class, type, message);
    EXPECT_EQ(ftell(clock_handler.record), 2 * one);
    ptp_cfg_dispatch(handle, test_class, nullptr, nullptr, nullptr, nobodys.data(), size_of(nobodys), &err);
    EXPECT_GT(ftell(clock_handler.record), 2 * one);
    velalib_msg_recorder_set(0, nullptr);
    fclose(clock_handler.record);
    clock_handler = {};
}

// ---- bundles ---------------------------------------------------------------------------------------------------------

/** A bundle made by hand, so that what is in its places can be anything. */
octets bundle_of(const std::vector<octets> &places) {
    octets bundle = {'V', 'B', 'N', 'D', VELA_BUNDLE_VERSION, 0, 0, 0};
    const auto add_number = [&](u_int64 number) {
        for (int shift = 24; shift >= 0; shift -= 8) {
            bundle.push_back(static_cast<u_int8>(number >> shift));
        }
    };
    size_t length = VELA_BUNDLE_HEADER;
    for (const octets &place : places) {
        length += VELA_BUNDLE_PREFIX + place.size();
    }
    add_number(places.size());
    add_number(length);
    for (const octets &place : places) {
        add_number(place.size());
        bundle.insert(bundle.end(), place.begin(), place.end());
    }
    return bundle;
}

class DispatchBundle : public testing::Test {
  protected:
    DispatchBundle() { clock_handler = {}; }

    u_int32 dispatch(const octets &bundle, ptp_cfg_receiver receiver = nullptr, void *context = nullptr) {
        err = 0;
        return ptp_cfg_dispatch_bundle(handle, test_class, receiver, context, bundle.data(), size_of(bundle), &report,
                                       &err);
    }
    void expect_report(u_int32 messages, u_int32 taken, u_int32 failed) const {
        EXPECT_EQ(report.messages, messages);
        EXPECT_EQ(report.taken, taken);
        EXPECT_EQ(report.failed, failed);
        EXPECT_EQ(report.first.err, err);
        EXPECT_EQ(handle->last_error.code, err);
        EXPECT_EQ(report.first.reason == nullptr, failed == 0);
    }

    const test_handle handle;
    const octets good = bytes_of(handled);
    ptp_cfg_bundle_report report = {};
    u_int32 err = 0;
};

TEST_F(DispatchBundle, AMessageThatFailsDoesNotStopTheOthers) {
    octets unknown = good;
    unknown[VELA_WIRE_MESSAGE_HEADER] ^= 1;
    const octets cut(good.begin(), good.end() - 1);
    const octets nobodys = bytes_of(unhandled);
    const octets no_message = {1, 2, 3};

    struct expectation {
        const octets &bad;
        u_int32 err;
        const ptp_cfg_type *type;
        const char *reason;
    };
    for (const expectation &it :
         {expectation{unknown, VELA_EINVAL, nullptr, "the identity is that of no known message"},
          expectation{cut, VELA_EINVAL, nullptr, nullptr},
          expectation{nobodys, VELA_ENOSYS, ptp_cfg_type_find(unhandled), "the program has no handler of this message"},
          expectation{no_message, VELA_EMSGSIZE, nullptr, nullptr}}) {
        clock_handler = {};
        EXPECT_EQ(dispatch(bundle_of({good, it.bad, no_message, good})), 2u);
        EXPECT_EQ(clock_handler.calls, 2u);
        EXPECT_EQ(err, it.err);
        expect_report(4, 2, 2);
        EXPECT_EQ(report.first.index, 1u);
        EXPECT_EQ(report.first.offset, VELA_BUNDLE_HEADER + VELA_BUNDLE_PREFIX + good.size());
        EXPECT_EQ(report.first.type, it.type);
        if (it.reason != nullptr) {
            EXPECT_STREQ(report.first.reason, it.reason);
        }
    }
}

TEST_F(DispatchBundle, WrongLengthsEndIt) {
    octets bundle = bundle_of({good, good, good});
    bundle[VELA_BUNDLE_HEADER + VELA_BUNDLE_PREFIX + good.size()] = 0xFF;  // the second message's length
    EXPECT_EQ(dispatch(bundle), 1u);
    EXPECT_EQ(err, u_int32{VELA_EMSGSIZE});
    expect_report(2, 1, 1);
    EXPECT_EQ(report.first.index, 1u);

    for (const auto &[bytes, error] : {std::pair{octets{}, VELA_EMSGSIZE},
                                       {octets(bundle.begin(), bundle.end() - 1), VELA_EMSGSIZE},
                                       {octets(100, 7), VELA_EINVAL}}) {
        EXPECT_EQ(dispatch(bytes), 0u);
        EXPECT_EQ(err, u_int32{error});
        expect_report(0, 0, 1);
    }
    EXPECT_EQ(clock_handler.calls, 1u);
}

TEST_F(DispatchBundle, ASingleMessageIsABundleOfOne) {
    EXPECT_EQ(dispatch(good, nullptr, this), 1u);
    EXPECT_EQ(err, 0u);
    expect_report(1, 1, 0);
    EXPECT_EQ(clock_handler.context, this);
    EXPECT_EQ(dispatch(bundle_of({})), 0u);
    expect_report(0, 0, 0);

    clock_handler.error = 99;
    EXPECT_EQ(dispatch(bundle_of({good, good})), 2u);
    EXPECT_EQ(err, 99u);
    expect_report(2, 2, 2);

    u_int32 before = VELA_ENOMEM;
    EXPECT_EQ(
        ptp_cfg_dispatch_bundle(handle, test_class, nullptr, nullptr, good.data(), size_of(good), nullptr, &before),
        0u);
    EXPECT_EQ(before, u_int32{VELA_ENOMEM});
    EXPECT_EQ(clock_handler.calls, 3u);
}

TEST_F(DispatchBundle, AReceiverIsGivenEveryMessage) {
    std::vector<octets> sent = every_message(0);
    std::vector<octets> got;
    const auto keep = [](vela_handle *handle, u_int32 mem_class, void *context, const ptp_cfg_type *type, void *message,
                         u_int32 *err) {
        EXPECT_EQ(*err, 0u);
        EXPECT_EQ(mem_class, test_class);
        auto &list = *static_cast<std::vector<octets> *>(context);
        list.push_back(record_type::of(type).marshal(handle, message));
        ptp_cfg_message_destroy(handle, mem_class, type, message);
        *err = list.size() == 3 ? 99 : 0;
    };
    EXPECT_EQ(dispatch(bundle_of(sent), keep, &got), sent.size());
    EXPECT_EQ(got, sent);
    EXPECT_EQ(err, 99u) << "what the receiver said of the third";
    expect_report(size_of(octets(sent.size())), size_of(octets(sent.size())), 1);
    EXPECT_EQ(report.first.index, 2u);
    EXPECT_EQ(clock_handler.calls, 0u);
}

}  // namespace
}  // namespace ptp_cfg_test
