// The calls that receive a message of whatever type: whose it is afterwards, and what failures leave behind (nothing).

#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>

#include "records.h"
#include "vela_bundle.h"

/** What the application's handler of delete commands for clocks does; it destroys the message, as a handler shall. */
static struct {
    u_int32 calls = 0;
    u_int32 error = 0;  // what it reports
    void *context = nullptr;
    FILE *record = nullptr;  // the recorder's stream, if any
    long recorded = 0;       // what was in it when the handler was called
} clock_handler;

void ptp_cfg_ptp_clock_delete_cmd_message_handler(vela_handle *handle, u_int32 mem_class, void *context,
                                                  ptp_clock_delete_cmd_message *message, u_int32 *err) {
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

// ---- handles ---------------------------------------------------------------------------------------------------------

/** What a handle is made with; the ways of destroying a half-built message differ in each. */
struct variation {
    const char *name;
    u_int32 tracking = 0;
    u_int32 shared_type_info = 0;
    bool own_allocator = false;
    bool announces = false;
    bool accounting = false;
};
std::ostream &operator<<(std::ostream &out, const variation &which) { return out << which.name; }

/** A handle whose blocks are counted, by an allocator of the application or by its own accounts. */
class counted_handle {
  public:
    explicit counted_handle(const variation &which, u_int64 budget = 0) {
        vela_handle_options options = {};
        options.size = sizeof options;
        options.tracking = which.tracking;
        options.shared_type_info = which.shared_type_info;
        options.cookie = this;
        if (which.own_allocator) {
            options.alloc = allocate;
            options.free = release;
        } else {
            options.memory_budget = budget;
            options.memory_accounting = which.accounting ? 1 : 0;
        }
        if (which.announces) {
            options.pre_write = [](void *, void *address, size_t length, u_int32) {
                const volatile u_int8 *bytes = static_cast<u_int8 *>(address);
                for (size_t i = 0; i < length; ++i) {
                    (void)bytes[i];  // a fault where the bytes are no longer there
                }
            };
        }
        u_int32 err = 0;
        handle_ = vela_handle_create(&options, &err);
        EXPECT_EQ(err, 0u);
    }
    counted_handle(const counted_handle &) = delete;
    counted_handle &operator=(const counted_handle &) = delete;
    ~counted_handle() {
        EXPECT_EQ(blocks(), 0u);
        vela_handle_destroy(handle_, nullptr);
    }
    operator vela_handle *() const { return handle_; }
    vela_handle *operator->() const { return handle_; }

    u_int64 blocks() const {
        vela_memory_use use = {};
        vela_handle_memory_use(handle_, &use, nullptr, 0);
        return use.blocks + sizes_.size();
    }
    u_int64 peak() const {
        vela_memory_use use = {};
        vela_handle_memory_use(handle_, &use, nullptr, 0);
        return use.peak_bytes;
    }
    /** Lets the n-th allocation of the application's allocator from now fail, from 1; 0: none. */
    void fail_allocation(u_int32 n) { until_failure_ = n; }
    bool failed() const { return failed_; }

  private:
    static void *allocate(void *cookie, u_int32, size_t size) {
        counted_handle &self = *static_cast<counted_handle *>(cookie);
        if (self.until_failure_ != 0 && --self.until_failure_ == 0) {
            self.failed_ = true;
            return nullptr;
        }
        void *memory = std::malloc(size);
        self.sizes_[memory] = size;
        return memory;
    }
    static void release(void *cookie, u_int32, void *memory) {
        EXPECT_EQ(static_cast<counted_handle *>(cookie)->sizes_.erase(memory), memory == nullptr ? 0u : 1u);
        std::free(memory);
    }

    vela_handle *handle_ = nullptr;
    std::map<void *, size_t> sizes_;
    u_int32 until_failure_ = 0;
    bool failed_ = false;
};

// ---- bytes -----------------------------------------------------------------------------------------------------------

octets bytes_of(const char *name, u_int32 tracking = 0) {
    const record_type type(name);
    const test_handle sender({.tracking = tracking});
    const auto message = type.create(sender);
    fill(type, sender, message.get(), filling::random);
    return type.marshal(sender, message.get());
}

std::vector<octets> every_message(u_int32 tracking) {
    std::vector<octets> result;
    for (const record_type &type : record_types(PTP_CFG_MESSAGE)) {
        result.push_back(bytes_of(type.about.name, tracking));
    }
    return result;
}

/** Bytes such as a peer might send that means ill, or that is broken. */
class hostile_bytes {
  public:
    hostile_bytes() {
        for (const u_int32 tracking : {0u, u_int32{VELA_STTR_ON}}) {
            for (octets &bytes : every_message(tracking)) {
                sound_.push_back(std::move(bytes));
            }
        }
    }
    const octets &next() {
        bytes_ = sound_[below(sound_.size())];
        switch (below(6)) {
            case 0:  // nobody may be there to take it
                break;
            case 1:
                bytes_.resize(below(bytes_.size()));
                break;
            case 2:
                bytes_.resize(PTP_CFG_MESSAGE_PREFIX);
                break;
            case 3: {  // another message's payload
                const octets &other = sound_[below(sound_.size())];
                std::copy_n(other.begin() + VELA_WIRE_MESSAGE_HEADER, VELA_WIRE_LUID,
                            bytes_.begin() + VELA_WIRE_MESSAGE_HEADER);
                break;
            }
            case 4:
                bytes_[below(PTP_CFG_MESSAGE_PREFIX)] = byte();
                break;
            default:
                for (size_t count = 1 + below(8); count > 0; --count) {
                    bytes_[PTP_CFG_MESSAGE_PREFIX + below(bytes_.size() - PTP_CFG_MESSAGE_PREFIX)] = byte();
                }
        }
        return bytes_;
    }

  private:
    size_t below(size_t limit) { return random_() % limit; }
    u_int8 byte() { return random_() % 2 == 0 ? u_int8{0xFF} : static_cast<u_int8>(random_()); }

    std::vector<octets> sound_;
    octets bytes_;
    std::mt19937_64 random_;
};

u_int32 size_of(const octets &bytes) { return static_cast<u_int32>(bytes.size()); }

void destroy_it(vela_handle *handle, u_int32 mem_class, void *, const ptp_cfg_type *type, void *message, u_int32 *) {
    ptp_cfg_message_destroy(handle, mem_class, type, message);
}

/** Receives bytes in each way there is; each time the last error is the one reported, and nothing is left. */
void receive_in_every_way(const counted_handle &handle, const octets &bytes) {
    const ptp_cfg_type *type = nullptr;
    void *message = nullptr;
    u_int32 consumed = 0;
    u_int32 err = 0;
    message = ptp_cfg_receive(handle, test_class, &type, bytes.data(), size_of(bytes), &consumed, &err);
    ASSERT_EQ(message == nullptr, err != 0);
    ASSERT_EQ(handle->last_error.code, err);
    ASSERT_LE(consumed, bytes.size());
    ptp_cfg_message_destroy(handle, test_class, type, message);
    ASSERT_EQ(handle.blocks(), 0u);

    const u_int32 received = err;
    err = 0;
    ASSERT_EQ(ptp_cfg_dispatch(handle, test_class, nullptr, nullptr, nullptr, bytes.data(), size_of(bytes), &err),
              consumed);
    ASSERT_EQ(handle.blocks(), 0u);
    ASSERT_TRUE(err == received || (received == 0 && err == VELA_ENOSYS)) << err << " but " << received;

    for (const ptp_cfg_receiver receiver : {ptp_cfg_receiver{nullptr}, ptp_cfg_receiver{&destroy_it}}) {
        err = 0;
        ptp_cfg_bundle_report report;
        ptp_cfg_dispatch_bundle(handle, test_class, receiver, nullptr, bytes.data(), size_of(bytes), &report, &err);
        ASSERT_EQ(handle.blocks(), 0u);
        ASSERT_EQ(report.failed != 0, err != 0);
        ASSERT_EQ(handle->last_error.code, err);
    }
}

// ---- what is left behind ---------------------------------------------------------------------------------------------

class Dispatch : public testing::TestWithParam<variation> {
  protected:
    Dispatch() { clock_handler = {}; }
};

TEST_P(Dispatch, HostileBytesLeaveNothing) {
    const counted_handle handle(GetParam());
    hostile_bytes hostile;
    for (int i = 0; i < 4000; ++i) {
        SCOPED_TRACE(i);
        ASSERT_NO_FATAL_FAILURE(receive_in_every_way(handle, hostile.next()));
    }
    EXPECT_GT(clock_handler.calls, 0u);
}

TEST_P(Dispatch, EveryCutLeavesNothing) {
    const counted_handle handle(GetParam());
    for (const octets &whole : every_message(GetParam().tracking)) {
        // Long messages repeat themselves: their beginning and some places are enough.
        for (size_t length = 0; length < whole.size(); length += length < 200 ? 1 : 97) {
            SCOPED_TRACE(length);
            ASSERT_NO_FATAL_FAILURE(receive_in_every_way(handle, octets(whole.data(), whole.data() + length)));
        }
    }
}

TEST_P(Dispatch, LackOfMemoryAtAnyPointLeavesNothing) {
    variation starved = GetParam();
    starved.own_allocator = true;
    for (const octets &bytes : every_message(GetParam().tracking)) {
        counted_handle handle(starved);
        u_int32 n = 0;
        u_int32 err = 0;
        do {
            err = 0;
            handle.fail_allocation(++n);
            ptp_cfg_dispatch_bundle(handle, test_class, destroy_it, nullptr, bytes.data(), size_of(bytes), nullptr,
                                    &err);
            ASSERT_TRUE(err == 0 || err == VELA_ENOMEM) << err;
            ASSERT_EQ(handle->last_error.code, err);
            ASSERT_EQ(handle.blocks(), 0u) << "the allocation that failed: " << n;
        } while (err != 0);
        EXPECT_GT(n, 2u) << "message and payload";
    }
}

/** Bytes that the process has out of its heap; 0 under tools that bring a heap of their own. */
u_int64 heap_in_use() {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

// One handle, as in a daemon that runs for months. PTP_CFG_HOSTILE_DISPATCHES: another number of messages.
TEST_P(Dispatch, MemoryDoesNotGrow) {
    const char *wanted = std::getenv("PTP_CFG_HOSTILE_DISPATCHES");
    const u_int64 count = wanted == nullptr ? 25000 : std::strtoull(wanted, nullptr, 10);
    const counted_handle handle(GetParam());
    hostile_bytes hostile;
    const auto dispatch = [&](u_int64 times) {
        for (u_int64 i = 0; i < times; ++i) {
            const octets &bytes = hostile.next();
            u_int32 err = 0;
            ptp_cfg_dispatch(handle, test_class, nullptr, nullptr, nullptr, bytes.data(), size_of(bytes), &err);
        }
    };
    dispatch(5000);  // whatever is needed once
    const u_int64 before = heap_in_use();
    dispatch(count);
    const u_int64 after = heap_in_use();
    EXPECT_EQ(handle.blocks(), 0u);
    EXPECT_LT(after, before + (1u << 20)) << "bytes in use after " << count << " messages, and 1 MiB more than before";
    RecordProperty("heap_before", std::to_string(before));
    RecordProperty("heap_after", std::to_string(after));
}

INSTANTIATE_TEST_SUITE_P(Handles, Dispatch,
                         testing::Values(variation{"Plain"}, variation{"Untracked", VELA_STTR_OFF},
                                         variation{"Tracked", VELA_STTR_ON}, variation{"SharedTypes", 0, 1},
                                         variation{"OwnAllocator", 0, 0, true},
                                         variation{"EverythingAtOnce", VELA_STTR_ON, 1, true, true}),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(DispatchUnderBudget, HostileBytesDoNotUseItUp) {
    const octets list = bytes_of("ptp_ipv4_streams_list_msg_message");
    const auto takes = [&](const counted_handle &handle) {
        u_int32 err = 0;
        return ptp_cfg_dispatch_bundle(handle, test_class, destroy_it, nullptr, list.data(), size_of(list), nullptr,
                                       &err) == 1 &&
               err == 0;
    };
    u_int64 needed = 0;
    {
        const counted_handle unlimited({.name = "unlimited", .accounting = true});
        ASSERT_TRUE(takes(unlimited));
        needed = unlimited.peak();
    }
    const counted_handle handle({.name = "budget"}, needed);
    hostile_bytes hostile;
    for (int i = 0; i < 1000; ++i) {
        ASSERT_NO_FATAL_FAILURE(receive_in_every_way(handle, hostile.next()));
        ASSERT_TRUE(takes(handle)) << i;
    }
}

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
