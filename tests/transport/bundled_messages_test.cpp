// Generated messages in bundles, through a channel, to the bundle handler of the module.
#include <cstdlib>
#include <cstring>
#include <map>

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

// An allocator that looks behind its blocks for what was stored beyond their end.
class fenced_memory {
  public:
    static void *allocate(void *cookie, u_int32, size_t size) {
        u_int8 *block = static_cast<u_int8 *>(std::malloc(size + sizeof fence));
        std::memcpy(block + size, fence, sizeof fence);
        static_cast<fenced_memory *>(cookie)->sizes_[block] = size;
        return block;
    }
    static void free(void *cookie, u_int32, void *memory) {
        fenced_memory &of = *static_cast<fenced_memory *>(cookie);
        u_int8 *block = static_cast<u_int8 *>(memory);
        of.is_intact &= std::memcmp(block + of.sizes_[block], fence, sizeof fence) == 0;
        of.sizes_.erase(block);
        std::free(block);
    }
    bool is_intact = true;

  private:
    static constexpr u_int8 fence[] = {0xA5, 0x5A, 0xA5, 0x5A};
    std::map<u_int8 *, size_t> sizes_;
};

TEST(Messages, StayWithinABundleThatIsTooSmallForTheirStateFlags) {
    fenced_memory memory;
    vela_handle_options options = {};
    options.size = sizeof options;
    options.alloc = fenced_memory::allocate;
    options.free = fenced_memory::free;
    options.cookie = &memory;
    options.tracking = VELA_STTR_ON;
    u_int32 err = 0;
    test::handle_ptr handle(vela_handle_create(&options, &err));
    const ptp_cfg_type_description type = describe(ptp_cfg_type_find("ptp_utc_offset_cmd"));
    void *message = type.operations->create(handle.get(), 1);
    u_int32 capacity = VELA_BUNDLE_HEADER + VELA_BUNDLE_PREFIX + VELA_BUNDLE_LEAST_MESSAGE;
    for (u_int32 packed = 0; packed == 0 && memory.is_intact; ++capacity) {
        err = 0;
        vela_bundle *bundle = vela_bundle_open(handle.get(), 1, capacity, &err);
        ASSERT_NE(bundle, nullptr);
        packed = vela_bundle_add(handle.get(), 1, type.operations->marshal, message, &err);
        EXPECT_EQ(err == 0, packed == 1);
        vela_bundle_destroy(bundle);
    }
    EXPECT_TRUE(memory.is_intact) << "in a bundle of " << capacity - 1 << " bytes";
    type.operations->destroy(handle.get(), 1, message);
}

TEST(MessageRole, IsKnownOfEveryMessageByItsBytes) {
    std::map<vela_message_role, u_int32> count;
    for (u_int32 index = 0; index < ptp_cfg_type_count(); ++index) {
        const ptp_cfg_type_description type = describe(ptp_cfg_type_at(index));
        test::bytes message = test::make_message(0, 0);
        std::memcpy(message.data() + VELA_WIRE_MESSAGE_HEADER, type.luid, VELA_WIRE_LUID);
        const char *name = "";
        const vela_message_role role = ptp_cfg_message_describe(message.data(), VELA_BUNDLE_LEAST_MESSAGE, &name);
        if (type.kind != PTP_CFG_MESSAGE) {
            EXPECT_EQ(role, VELA_MESSAGE_UNKNOWN) << type.name;
            EXPECT_EQ(name, nullptr) << type.name;
            continue;
        }
        EXPECT_STREQ(name, type.short_name);
        const std::string text = type.short_name;
        EXPECT_TRUE(!text.ends_with("_cmd") || role == VELA_MESSAGE_COMMAND) << text;
        EXPECT_TRUE(!text.ends_with("_event") || role == VELA_MESSAGE_EVENT) << text;
        EXPECT_TRUE(text.find("_state_msg") == text.npos || role == VELA_MESSAGE_REPORT) << text;
        EXPECT_EQ(ptp_cfg_message_describe(message.data(), VELA_BUNDLE_LEAST_MESSAGE - 1, &name), VELA_MESSAGE_UNKNOWN);
        ++count[role];
    }
    EXPECT_EQ(count[VELA_MESSAGE_UNKNOWN], 0u);
    EXPECT_GT(count[VELA_MESSAGE_COMMAND], 0u);
    EXPECT_GT(count[VELA_MESSAGE_REPORT], 0u);
}

}  // namespace
