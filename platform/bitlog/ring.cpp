// Writing the ring: no locks, no system calls but the clock, which most systems answer without one.
#include "ring.h"

#include <errno.h>
#include <pthread.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

#include "base/clocks.h"
#include "base/guarded_file.h"
#include "modules.h"
#include "ring_record.h"

namespace bitlog {
namespace {

ring_memory own_ring;
std::atomic<ring_memory *> ring_in_use;

// Kept, because asking costs a system call. In the first words of the thread's own storage: no call either.
__thread uint32_t own_thread __attribute__((tls_model("initial-exec")));

void forget_thread() { own_thread = 0; }

uint32_t thread_number() {
    if (own_thread == 0) {
        own_thread = static_cast<uint32_t>(gettid());
    }
    return own_thread;
}

/** Takes a slot for one position. A thread that was overtaken by a whole turn, or met one that was, gives up. */
bool take_slot(ring_record &slot, uint64_t position) {
    std::atomic_ref<uint64_t> sequence(slot.sequence);
    uint64_t found = sequence.load(std::memory_order_relaxed);
    return found % 2 == 0 && found <= 2 * position &&
           sequence.compare_exchange_strong(found, 2 * position + 1, std::memory_order_acquire,
                                            std::memory_order_relaxed);
}

/** Copies all but the sequence, as words that readers can load while they change. */
void store(ring_record &slot, const ring_record &record, size_t used) {
    auto *to = reinterpret_cast<uint64_t *>(&slot);
    auto *from = reinterpret_cast<const uint64_t *>(&record);
    for (size_t word = 1; word < used / 8; ++word) {
        std::atomic_ref<uint64_t>(to[word]).store(from[word], std::memory_order_relaxed);
    }
}

}  // namespace

void write_to_ring(const bitlog_record &message) {
    ring_memory *ring = ring_in_use.load(std::memory_order_acquire);
    if (ring == nullptr) {
        return;
    }
    ring_record record;
    const size_t used = pack(message, record);
    record.thread = thread_number();
    record.time_ns = base::clock_ns(CLOCK_MONOTONIC);
    const uint64_t position = std::atomic_ref<uint64_t>(ring->header->claimed).fetch_add(1, std::memory_order_relaxed);
    ring_record &slot = ring->records[position & ring->mask];
    if (!take_slot(slot, position)) {
        std::atomic_ref<uint64_t>(ring->header->dropped).fetch_add(1, std::memory_order_relaxed);
        return;
    }
    std::atomic_thread_fence(std::memory_order_release);
    store(slot, record, used);
    std::atomic_ref<uint64_t>(slot.sequence).store(2 * position + 2, std::memory_order_release);
}

const ring_memory *open_ring() { return ring_in_use.load(std::memory_order_acquire); }

void use_ring(ring_memory *ring) { ring_in_use.store(ring, std::memory_order_release); }

}  // namespace bitlog

using namespace bitlog;

uint32_t bitlog_ring_open(const char *path, uint32_t capacity) {
    const bitlog_ring_options options = {sizeof options, capacity, 0};
    return bitlog_ring_open_with(path, &options);
}

uint32_t bitlog_ring_open_with(const char *path, const bitlog_ring_options *options) {
    if (open_ring() != nullptr) {
        return EBUSY;
    }
    if (options->size != sizeof *options || options->capacity > BITLOG_MOST_CAPACITY) {
        return EINVAL;
    }
    const uint32_t wanted = options->capacity != 0 ? options->capacity : uint32_t{BITLOG_DEFAULT_CAPACITY};
    uint32_t records = 1;
    while (records < wanted) {
        records *= 2;
    }
    static bool prepared;
    if (!prepared) {
        prepared = pthread_atfork(nullptr, nullptr, forget_thread) == 0;
    }
    const unsigned allowed = base::allowed_by(options->allow_other_users, 0);
    const uint32_t status = map_ring(path, records, allowed, own_ring);
    if (status == 0) {
        start_ring(&own_ring);
        set_ring_listens(true);
    }
    return status;
}

void bitlog_ring_close(void) {
    if (open_ring() != nullptr) {
        set_ring_listens(false);
        start_ring(nullptr);
        munmap(own_ring.header, own_ring.size);
    }
}
