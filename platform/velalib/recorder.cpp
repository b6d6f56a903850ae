// The stream that received messages are written to, and the count of those that do not fit.
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>

#include "velalib/runtime.h"

namespace {

// Read on every received message from any thread; the stream is stored first, so that a reader who sees the
// recorder on also sees its stream.
std::atomic<FILE *> record_stream{nullptr};
std::atomic<u_int32> record_state{0};
std::atomic<u_int32> suppress_messages{0};

/** Messages that were not recorded, by type; in order of their first time. Storage of its own: memory may be short. */
struct {
    std::mutex lock;
    std::array<velalib_msg_recorder_skipped, 256> rows{};
    u_int32 count = 0;
    u_int64 total = 0;
} skipped;

}  // namespace

u_int32 velalib_msg_recorder_get_state(void) { return record_state.load(std::memory_order_acquire); }

FILE *velalib_msg_recorder_get_handle(void) { return record_stream.load(std::memory_order_acquire); }

void velalib_msg_recorder_set(u_int32 state, FILE *stream) {
    record_stream.store(stream, std::memory_order_release);
    record_state.store(state, std::memory_order_release);
}

void velalib_msg_recorder_skip(const u_int8 *luid, const char *name, u_int32 err) {
    const std::lock_guard guard(skipped.lock);
    ++skipped.total;
    const auto end = skipped.rows.begin() + skipped.count;
    const auto row = std::find_if(skipped.rows.begin(), end, [luid](const velalib_msg_recorder_skipped &known) {
        return memcmp(known.luid, luid, sizeof known.luid) == 0;
    });
    if (row == skipped.rows.end()) {
        return;
    }
    if (row == end) {
        memcpy(row->luid, luid, sizeof row->luid);
        snprintf(row->name, sizeof row->name, "%s", name);
        ++skipped.count;
    }
    ++row->count;
    row->last_error = err;
}

u_int64 velalib_msg_recorder_skipped_total(void) {
    const std::lock_guard guard(skipped.lock);
    return skipped.total;
}

u_int32 velalib_msg_recorder_skipped_get(u_int32 index, velalib_msg_recorder_skipped *row) {
    const std::lock_guard guard(skipped.lock);
    if (index >= skipped.count) {
        return 0;
    }
    *row = skipped.rows[index];
    return 1;
}

void velalib_msg_recorder_skipped_clear(void) {
    const std::lock_guard guard(skipped.lock);
    skipped.rows = {};
    skipped.count = 0;
    skipped.total = 0;
}

u_int32 velalib_suppress_messages_enabled(void) { return suppress_messages.load(std::memory_order_relaxed); }

void velalib_suppress_messages_set(u_int32 enabled) { suppress_messages.store(enabled, std::memory_order_relaxed); }
