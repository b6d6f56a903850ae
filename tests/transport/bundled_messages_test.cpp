// Generated messages in bundles, through a channel, to the bundle handler of the module.
#include <cstring>

#include "channel_end.h"
#include "ptp_cfg/module.h"
#include "ptp_cfg/reflect.h"

namespace {

using test::channel_end;

ptp_cfg_type_description describe(const ptp_cfg_type *type) {
    ptp_cfg_type_description result = {};
    result.size = sizeof result;
    ptp_cfg_type_describe(type, &result);
    return result;
}

// The names of the messages that the handler read from bundles.
struct reader {
    std::vector<std::string> names;
    u_int32 faults = 0;
};

void read_bundle(vela_handle *handle, u_int32 mem_class, const u_int8 *bundle, u_int32 length, void *context) {
    reader &to = *static_cast<reader *>(context);
    u_int32 err = 0;
    vela_bundle_reader messages;
    vela_bundle_item item;
    vela_bundle_read(&messages, bundle, length, &err);
    while (vela_bundle_next(&messages, &item) != 0) {
        void *message = nullptr;
        const ptp_cfg_type *type = item.err == 0 ? ptp_cfg_message_identify(item.message, item.length) : nullptr;
        if (type == nullptr) {
            ++to.faults;
            continue;
        }
        ptp_cfg_type_description what = describe(type);
        u_int32 used = what.operations->unmarshal_only(handle, mem_class, &message, item.message, item.length, &err);
        EXPECT_EQ(err, 0u) << what.name;
        EXPECT_EQ(used, item.length) << what.name;
        what.operations->destroy(handle, mem_class, message);
        to.names.emplace_back(what.name);
    }
    EXPECT_EQ(err, 0u);
}

TEST(Messages, TravelInBundlesWithoutTheOnesThatTheDomainForbids) {
    test::handle_ptr handle = test::make_handle();
    vela_domain *domain = vela_domain_create("test");
    vela_domain_forbid_message(domain, "ptp_port_cfg_message");
    vela_handle_set_domain(handle.get(), domain);

    u_int32 err = 0;
    vela_bundle *bundle = vela_bundle_open(handle.get(), 1, 1024 * 1024, &err);
    ASSERT_NE(bundle, nullptr);
    std::vector<std::string> names;
    u_int32 forbidden = 0;
    for (u_int32 i = 0; i < ptp_cfg_type_count(); ++i) {
        ptp_cfg_type_description type = describe(ptp_cfg_type_at(i));
        if (type.kind != PTP_CFG_MESSAGE) {
            continue;
        }
        void *message = type.operations->create(handle.get(), 1);
        err = 0;
        if (vela_bundle_add(handle.get(), 1, type.operations->marshal, message, &err) != 0) {
            names.emplace_back(type.name);
        } else {
            EXPECT_EQ(err, static_cast<u_int32>(VELA_EDOMAIN)) << type.name;
            ++forbidden;
        }
        type.operations->destroy(handle.get(), 1, message);
    }
    EXPECT_EQ(forbidden, 1u);
    err = 0;
    const u_int8 *bytes = nullptr;
    u_int32 length = 0;
    EXPECT_EQ(vela_bundle_close(handle.get(), &bytes, &length, &err), names.size());

    channel_end server(&vela_channel_listen, "inproc:messages");
    channel_end client(&vela_channel_connect, "inproc:messages");
    ptp_cfg_bundle_handler_register(read_bundle);
    EXPECT_EQ(vela_channel_send(client.channel, bytes, length, &err), 1u);
    reader received;
    while (vela_channel_wait(server.channel, 0) != 0) {
        vela_channel_process(server.channel, handle.get(), 1, &received, 0, &err);
    }
    EXPECT_EQ(received.names, names);
    EXPECT_EQ(received.faults, 0u);
    ptp_cfg_bundle_handler_unregister();
    vela_bundle_destroy(bundle);
    vela_handle_set_domain(handle.get(), nullptr);
    vela_domain_destroy(domain);
}

}  // namespace
