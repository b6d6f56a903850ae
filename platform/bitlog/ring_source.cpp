// Reads the bytes of a ring, from a file or from this process's own memory.
#include "ring_source.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>

#include "guarded_file.h"
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
    const char *refusal = nullptr;
    // It is only read, and nothing in it is trusted: it may be anybody's.
    fd_ = guarded_file::open_regular(path, O_RDONLY, 0, guarded_file::allow_all, refusal);
    struct stat status;
    if (fd_ < 0 || fstat(fd_, &status) != 0) {
        reason = refusal != nullptr ? "not a trace: no regular file" : "cannot open";
        return static_cast<uint32_t>(errno);
    }
    size_ = static_cast<uint64_t>(status.st_size);
    return 0;
}

void ring_source::close() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
    fd_ = -1;
}

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
    for (size_t done = 0; done < length;) {
        const ssize_t count =
            pread(fd_, static_cast<uint8_t *>(bytes) + done, length - done, static_cast<off_t>(offset + done));
        if (count == 0 || (count < 0 && errno != EINTR)) {
            return false;
        }
        done += count > 0 ? static_cast<size_t>(count) : 0;
    }
    return true;
}

}  // namespace bitlog
