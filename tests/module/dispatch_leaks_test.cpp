// The calls that receive a message of whatever type leave nothing behind, whatever the bytes and whatever fails.

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>

#include "dispatch.h"
#include "ptp_cfg/receive.h"

namespace ptp_cfg_test {
namespace {

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

// ---- bytes -------------------------------------------------------------------------------------------------------------

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

}  // namespace
}  // namespace ptp_cfg_test
