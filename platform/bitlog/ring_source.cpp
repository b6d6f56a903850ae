// Reads the bytes of a ring, from a file or from this process's own memory.
#include "ring_source.h"

#include <errno.h>
#include <fcntl.h>

#include <atomic>

#include "base/file_reading.h"
#include "base/guarded_file.h"
#include "ring.h"

namespace bitlog {

uint32_t ring_source::open(const char *path, const char *&reason) {
    if (path != nullptr) {
        return open_file(path, reason);
    }
    const ring_memory *ring = open_ring();
    if (ring == nullptr) {
        reason = "no ring is open in this process";
        return ENOENT;
    }
    memory_ = reinterpret_cast<const uint8_t *>(ring->header);
    size_ = ring->size;
    return 0;
}

uint32_t ring_source::open_file(const char *path, const char *&reason) {
    // It is only read, and nothing in it is trusted: it may be anybody's.
    base::opened_file opened = base::open_regular(path, O_RDONLY, base::allow_all);
    if (!opened) {
        reason = opened.refusal != nullptr ? "not a trace: no regular file" : "cannot open";
        return static_cast<uint32_t>(opened.code);
    }
    size_ = opened.size();
    file_ = std::move(opened.file);
    return 0;
}

void ring_source::close() { file_ = {}; }

bool ring_source::read(uint64_t offset, void *bytes, size_t length) const {
    if (offset > size_ || length > size_ - offset) {
        return false;
    }
    if (memory_ != nullptr) {
        auto *from = reinterpret_cast<uint64_t *>(const_cast<uint8_t *>(memory_ + offset));
        auto *to = static_cast<uint64_t *>(bytes);
        for (size_t word = 0; word < length / 8; ++word) {
            to[word] = std::atomic_ref<uint64_t>(from[word]).load(std::memory_order_acquire);
        }
        return true;
    }
    int ignored = 0;
    return base::read_all_at(file_.get(), bytes, length, offset, ignored);
}

}  // namespace bitlog
