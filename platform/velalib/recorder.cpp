#include <atomic>

#include "velalib/runtime.h"

namespace {

// Read on every received message from any thread; the stream is stored first, so that a reader who sees the
// recorder on also sees its stream.
std::atomic<FILE *> record_stream{nullptr};
std::atomic<u_int32> record_state{0};
std::atomic<u_int32> suppress_messages{0};

}  // namespace

u_int32 velalib_msg_recorder_get_state(void) { return record_state.load(std::memory_order_acquire); }

FILE *velalib_msg_recorder_get_handle(void) { return record_stream.load(std::memory_order_acquire); }

void velalib_msg_recorder_set(u_int32 state, FILE *stream) {
    record_stream.store(stream, std::memory_order_release);
    record_state.store(state, std::memory_order_release);
}

u_int32 velalib_suppress_messages_enabled(void) { return suppress_messages.load(std::memory_order_relaxed); }

void velalib_suppress_messages_set(u_int32 enabled) { suppress_messages.store(enabled, std::memory_order_relaxed); }
