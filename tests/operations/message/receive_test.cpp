// The receive path: who gets a message, what is recorded of it, dispatch by identity.

#include <dlfcn.h>
#include <gmock/gmock.h>

#include <array>
#include <cstring>

#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/messages.h"
#include "ptp_cfg/receive.h"
#include "records.h"

// ---- what stands in for the application and for a piece of the runtime -----------------------------------------------

/** A call of callback or handler. */
struct delivered {
    vela_handle *handle;
    u_int32 what;
    void *context;
    void *message;
    bool operator==(const delivered &) const = default;
};
static std::vector<delivered> by_handler, by_callback;

void ptp_cfg_ptp_port_delete_cmd_message_handler(vela_handle *handle, u_int32 mem_class, void *context,
                                                 ptp_port_delete_cmd_message *message, u_int32 *err) {
    EXPECT_EQ(*err, 0u);
    by_handler.push_back({handle, mem_class, context, message});
}

void ptp_cfg_ptp_ipv4_streams_list_msg_message_handler(vela_handle *handle, u_int32 mem_class, void *context,
                                                       ptp_ipv4_streams_list_msg_message *message, u_int32 *) {
    by_handler.push_back({handle, mem_class, context, message});
}

/** Memory that the library asked of the runtime without a handle. */
static std::vector<size_t> mallocs;
static u_int32 frees = 0;
static bool malloc_fails = false;
void *velalib_malloc(vela_handle *handle, u_int32 mem_class, size_t size) {
    static const auto own = reinterpret_cast<decltype(&velalib_malloc)>(dlsym(RTLD_NEXT, "velalib_malloc"));
    if (handle == nullptr) {
        EXPECT_EQ(mem_class, ptp_cfg_test::test_class);
        mallocs.push_back(size);
    }
    return malloc_fails ? nullptr : own(handle, mem_class, size);
}
void velalib_free(vela_handle *handle, u_int32 mem_class, void *memory) {
    static const auto own = reinterpret_cast<decltype(&velalib_free)>(dlsym(RTLD_NEXT, "velalib_free"));
    frees += handle == nullptr ? 1 : 0;
    own(handle, mem_class, memory);
}

namespace ptp_cfg_test {
namespace {

const char subject[] = "ptp_port_delete_cmd_message";

class Receive : public family_test {
  protected:
    using message = ptp_port_delete_cmd_message;

    Receive() {
        by_handler.clear();
        by_callback.clear();
        mallocs.clear();
        frees = 0;
        bytes = bytes_of(subject);
    }
    void TearDown() override {
        velalib_msg_recorder_set(0, nullptr);
        velalib_msg_recorder_skipped_clear();
        family_test::TearDown();
    }

    octets bytes_of(const char *name) {
        const record_type type(name);
        const auto sent = create(type.type);
        fill(type, handle, sent.get(), filling::random);
        return type.marshal(handle, sent.get());
    }
    u_int32 receive(ptp_port_delete_cmd_message_callback callback) {
        return ptp_port_delete_cmd_message_unmarshal(handle, test_class, &context, &out, bytes.data(),
                                                     static_cast<u_int32>(bytes.size()), callback, &err);
    }
    /** Destroys the message that was received. */
    void take() {
        ASSERT_NE(out, nullptr);
        EXPECT_EQ(record_type(subject).marshal(handle, out), bytes);
        ptp_port_delete_cmd_message_destroy(handle, test_class, out);
        out = nullptr;
    }

    /** Expects that one message type was not recorded. */
    static void expect_skipped(const std::string &name, u_int32 last_error, u_int64 count) {
        velalib_msg_recorder_skipped row{};
        ASSERT_EQ(velalib_msg_recorder_skipped_get(0, &row), 1u);
        EXPECT_EQ(row.name, name);
        EXPECT_EQ(row.last_error, last_error);
        EXPECT_EQ(row.count, count);
        EXPECT_EQ(velalib_msg_recorder_skipped_get(1, &row), 0u);
        EXPECT_EQ(velalib_msg_recorder_skipped_total(), count);
    }

    octets bytes;
    message *out = nullptr;
    int context = 0;
};

// ---- delivery -------------------------------------------------------------------------------------------------------

TEST_F(Receive, ACallbackComesBeforeTheHandler) {
    EXPECT_EQ(receive([](vela_handle *handle, u_int32 mem_class, void *context, message *received, u_int32 *err) {
                  by_callback.push_back({handle, mem_class, context, received});
                  *err = 99;
              }),
              bytes.size());
    EXPECT_EQ(by_callback, (std::vector<delivered>{{handle, test_class, &context, out}}));
    EXPECT_TRUE(by_handler.empty());
    EXPECT_EQ(err, 99u) << "what the callback reports";
    err = 0;
    take();

    EXPECT_EQ(receive(nullptr), bytes.size());
    EXPECT_EQ(by_handler, (std::vector<delivered>{{handle, test_class, &context, out}}));
    EXPECT_EQ(by_callback.size(), 1u);
    take();
}

TEST_F(Receive, TheCallersPointerIsSetBeforeDelivery) {
    struct receiver {
        message *out;
        message *seen;
    } it = {};
    const auto callback = [](vela_handle *handle, u_int32 mem_class, void *context, message *received, u_int32 *) {
        receiver &mine = *static_cast<receiver *>(context);
        mine.seen = mine.out;
        ptp_port_delete_cmd_message_destroy(handle, mem_class, received);
        mine.out = nullptr;
    };
    ptp_port_delete_cmd_message_unmarshal(handle, test_class, &it, &it.out, bytes.data(),
                                          static_cast<u_int32>(bytes.size()), callback, &err);
    EXPECT_NE(it.seen, nullptr);
    EXPECT_EQ(it.out, nullptr) << "what the receiver left there";
}

TEST_F(Receive, WithoutReceiverItIsError38) {
    const octets other = bytes_of("ptp_stream_delete_cmd_message");
    ptp_stream_delete_cmd_message *received = nullptr;
    EXPECT_EQ(ptp_stream_delete_cmd_message_unmarshal(handle, test_class, nullptr, &received, other.data(),
                                                      static_cast<u_int32>(other.size()), nullptr, &err),
              other.size());
    expect_error(VELA_ENOSYS);
    expect_trace("ptp_stream_delete_cmd_message", BITLOG_INFORMATIONAL,
                 "default ptp_cfg_ptp_stream_delete_cmd_message handler called");
    ASSERT_NE(received, nullptr) << "it is the caller's";
    ptp_stream_delete_cmd_message_destroy(handle, test_class, received);

    test_handle owner;
    ptp_stream_delete_cmd_message_unmarshal(owner, test_class, nullptr, nullptr, other.data(),
                                            static_cast<u_int32>(other.size()), nullptr, &err);
    owner.expect_blocks_left(2);  // nobody's: message and payload go with the handle
    traces.clear();
    err = 0;
}

TEST_F(Receive, AFailureIsNotDelivered) {
    message *const before = reinterpret_cast<message *>(&context);
    out = before;
    err = VELA_ENOMEM;
    EXPECT_EQ(receive(nullptr), 0u);
    EXPECT_EQ(out, before) << "nothing happens";
    EXPECT_EQ(err, u_int32{VELA_ENOMEM});
    expect_trace(subject, BITLOG_DEBUG,
                 "Error present in call to ptp_port_delete_cmd message unmarshal: Cannot allocate memory");

    velalib_msg_recorder_set(1, stderr);
    err = 0;
    test_handle owner;
    EXPECT_LE(ptp_port_delete_cmd_message_unmarshal(owner, test_class, nullptr, &out, bytes.data(), 47, nullptr, &err),
              47u);
    EXPECT_EQ(err, u_int32{VELA_EMSGSIZE});
    EXPECT_EQ(owner->last_error.code, u_int32{VELA_EMSGSIZE});
    EXPECT_EQ(out, nullptr);
    owner.expect_blocks_left(2);  // partly built, and given to nobody
    EXPECT_TRUE(by_handler.empty());
    EXPECT_TRUE(mallocs.empty());
    err = 0;
}

// ---- recording ------------------------------------------------------------------------------------------------------

/** A stream that keeps each write apart. */
class write_log {
  public:
    write_log() : stream_(fopencookie(this, "w", {nullptr, &keep, nullptr, nullptr})) {
        setvbuf(stream_, nullptr, _IONBF, 0);
        velalib_msg_recorder_set(1, stream_);
    }
    write_log(const write_log &) = delete;
    write_log &operator=(const write_log &) = delete;
    ~write_log() {
        velalib_msg_recorder_set(0, nullptr);
        fclose(stream_);
    }
    std::vector<std::string> writes;

  private:
    static ssize_t keep(void *cookie, const char *data, size_t size) {
        static_cast<write_log *>(cookie)->writes.emplace_back(data, size);
        return static_cast<ssize_t>(size);
    }
    FILE *stream_;
};

TEST_F(Receive, ARecordReadsBack) {
    const record_type type(subject);
    const write_log log;
    receive(nullptr);
    ASSERT_EQ(log.writes.size(), 1u) << "a record is one write";
    EXPECT_EQ(log.writes[0].rfind("<ptp_cfg time=\"", 0), 0u) << log.writes[0];
    EXPECT_EQ(mallocs, std::vector<size_t>{4096});
    EXPECT_EQ(frees, 1u);

    const document recorded = parse_xml(log.writes[0]);
    const auto read = own(type.operations->from_document(handle, test_class, recorded.get(), &err, nullptr, 0),
                          type.operations->destroy);
    EXPECT_EQ(type.marshal(handle, read.get()), bytes);
    take();
    receive(nullptr);
    EXPECT_EQ(log.writes.size(), 2u);
    EXPECT_EQ(velalib_msg_recorder_skipped_total(), 0u);
    take();
}

TEST_F(Receive, ARecordIsWrittenBeforeTheReceiverHasTheMessage) {
    static const write_log *seen;
    static size_t writes_at_delivery;
    const write_log log;
    seen = &log;
    writes_at_delivery = 0;
    receive([](vela_handle *handle, u_int32 mem_class, void *, message *received, u_int32 *) {
        writes_at_delivery = seen->writes.size();
        ptp_port_delete_cmd_message_destroy(handle, mem_class, received);  // it is the receiver's now
    });
    EXPECT_EQ(writes_at_delivery, 1u);
    EXPECT_EQ(log.writes.size(), 1u);
    out = nullptr;
}

TEST_F(Receive, WithoutRecordingNothingIsAllocatedForIt) {
    receive(nullptr);
    EXPECT_TRUE(mallocs.empty());
    EXPECT_EQ(frees, 0u);
    take();
}

TEST_F(Receive, WithoutStreamItIsTracedAndDelivered) {
    velalib_msg_recorder_set(1, nullptr);
    receive(nullptr);
    expect_trace(subject, BITLOG_ERROR, "VELA record - NULL file handle for message ptp_port_delete_cmd");
    expect_skipped("ptp_port_delete_cmd", VELA_ENOENT, 1);
    EXPECT_EQ(frees, 1u);
    EXPECT_EQ(by_handler.size(), 1u);
    take();
}

TEST_F(Receive, WhatDoesNotFitIsNotRecordedButDelivered) {
    const octets list = bytes_of("ptp_ipv4_streams_list_msg_message");
    const write_log log;
    ptp_ipv4_streams_list_msg_message *received = nullptr;
    EXPECT_EQ(ptp_ipv4_streams_list_msg_message_unmarshal(handle, test_class, &context, &received, list.data(),
                                                          static_cast<u_int32>(list.size()), nullptr, &err),
              list.size());
    EXPECT_EQ(err, 0u) << "recording has an error word of its own";
    ASSERT_EQ(traces.size(), 2u);
    EXPECT_THAT(traces[0].text,
                testing::MatchesRegex("Error 90 ptp_ipv4_streams_list_msg message not recorded, xml len [34][0-9]{3}"));
    EXPECT_EQ(traces[0].level, u_int32{BITLOG_ERROR});
    traces.erase(traces.begin());
    expect_trace("ptp_ipv4_streams_list_msg_message", BITLOG_ERROR,
                 "Error 90 in recording ptp_ipv4_streams_list_msg message");
    EXPECT_TRUE(log.writes.empty());
    EXPECT_EQ(frees, 1u);
    EXPECT_EQ(by_handler, (std::vector<delivered>{{handle, test_class, &context, received}}));
    EXPECT_EQ(handle->last_error.code, 0u) << "receiving succeeded";
    ptp_ipv4_streams_list_msg_message_destroy(handle, test_class, received);
    expect_skipped("ptp_ipv4_streams_list_msg", VELA_EMSGSIZE, 1);
}

TEST_F(Receive, WhatIsNotRecordedIsCountedByMessage) {
    FILE *full = fopen("/dev/full", "w");
    ASSERT_NE(full, nullptr);
    setvbuf(full, nullptr, _IONBF, 0);
    velalib_msg_recorder_set(1, full);
    u_int32 too_long = 0, unwritten = 0;
    for (const record_type &each : record_types(PTP_CFG_MESSAGE)) {
        const auto sent = create(each.type);
        fill(each, handle, sent.get(), filling::maximum);
        const octets wide = each.marshal(handle, sent.get());
        for (u_int32 time = 1; time <= 2; ++time) {
            void *received = nullptr;
            ptp_cfg_dispatch(handle, test_class, &context, &received, nullptr, wide.data(),
                             static_cast<u_int32>(wide.size()), &err);
            err = 0;
            each.operations->destroy(handle, test_class, received);
        }
        velalib_msg_recorder_skipped row;
        ASSERT_EQ(velalib_msg_recorder_skipped_get(too_long + unwritten, &row), 1u) << each.about.name;
        EXPECT_STREQ(row.name, each.about.short_name);
        EXPECT_EQ(memcmp(row.luid, each.about.luid, sizeof row.luid), 0);
        EXPECT_EQ(row.count, 2u);
        ++(row.last_error == VELA_EMSGSIZE ? too_long : unwritten);
        EXPECT_TRUE(row.last_error == VELA_EMSGSIZE || row.last_error == VELA_ENOSPC) << row.last_error;
    }
    EXPECT_EQ(too_long, 4u) << "at full width";
    const u_int32 messages = static_cast<u_int32>(record_types(PTP_CFG_MESSAGE).size());
    EXPECT_EQ(too_long + unwritten, messages);
    EXPECT_EQ(velalib_msg_recorder_skipped_total(), 2 * messages);
    velalib_msg_recorder_skipped_clear();
    EXPECT_EQ(velalib_msg_recorder_skipped_total(), 0u);
    traces.clear();
    vela_clear_last_error(handle);
    fclose(full);
}

TEST_F(Receive, WithoutMemoryForARecordTheProcessEnds) {
    const write_log log;
    malloc_fails = true;
    EXPECT_DEATH(receive(nullptr), "VELA record - malloc failed");
    malloc_fails = false;
}

// ---- dispatch and bundle handlers -----------------------------------------------------------------------------------

TEST_F(Receive, DispatchFindsTheMessageByItsIdentity) {
    const auto dispatch = [&](const octets &from, void **received, const ptp_cfg_type **type) {
        return ptp_cfg_dispatch(handle, test_class, &context, received, type, from.data(),
                                static_cast<u_int32>(from.size()), &err);
    };
    void *received = nullptr;
    const ptp_cfg_type *type = nullptr;
    EXPECT_EQ(dispatch(bytes, &received, &type), bytes.size());
    EXPECT_EQ(type, ptp_cfg_type_find(subject));
    EXPECT_EQ(by_handler, (std::vector<delivered>{{handle, test_class, &context, received}}));
    out = static_cast<message *>(received);
    take();

    EXPECT_EQ(dispatch(octets(bytes.begin(), bytes.begin() + 42), &received, &type), 0u);
    expect_error(VELA_EMSGSIZE);
    EXPECT_EQ(received, nullptr);
    EXPECT_EQ(type, nullptr);

    octets unknown = bytes;
    unknown[27] ^= 1;
    EXPECT_EQ(ptp_cfg_message_identify(unknown.data(), 51), nullptr);
    EXPECT_EQ(dispatch(unknown, &received, &type), 0u);
    expect_error(VELA_EINVAL);
    // A structure has an identity too, but is no message.
    std::copy_n(record_type("ptp_clock").about.luid, 16, unknown.begin() + 27);
    EXPECT_EQ(dispatch(unknown, nullptr, nullptr), 0u);
    expect_error(VELA_EINVAL);
    EXPECT_EQ(by_handler.size(), 1u);

    for (const record_type &each : record_types(PTP_CFG_MESSAGE)) {
        const octets all = bytes_of(each.about.name);
        EXPECT_EQ(ptp_cfg_message_identify(all.data(), static_cast<u_int32>(all.size())), each.type);
    }
}

}  // namespace
}  // namespace ptp_cfg_test
