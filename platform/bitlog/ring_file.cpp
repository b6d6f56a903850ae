// Memory for a ring, of its own or of a file.
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

#include "base/clocks.h"
#include "base/file_reading.h"
#include "base/guarded_file.h"
#include "base/interruption.h"
#include "ring.h"

namespace bitlog {
namespace {

enum class file_kind { none, empty, ring, other, unusable };

/** What is there, which may be renamed: no link is followed. errno of the last kind. */
file_kind kind_of(const char *path, unsigned allowed) {
    const base::opened_file opened = base::open_regular(path, O_RDONLY, allowed);
    if (!opened) {
        errno = opened.code;
        return errno == ENOENT                     ? file_kind::none
               : errno == ELOOP || errno == EINVAL ? file_kind::other
                                                   : file_kind::unusable;
    }
    char magic[sizeof ring_magic];
    int error = 0;
    const size_t count = base::read_at(opened.file.get(), magic, sizeof magic, 0, error);
    if (error != 0) {
        errno = error;
        return file_kind::unusable;
    }
    const bool is_ring = count == sizeof magic && memcmp(magic, ring_magic, sizeof magic) == 0;
    return count == 0 ? file_kind::empty : is_ring ? file_kind::ring : file_kind::other;
}

/** Renames the ring of the process before. */
uint32_t keep_old_ring(const char *path, unsigned allowed) {
    char *old = nullptr;
    if (asprintf(&old, "%s.old", path) < 0) {
        return ENOMEM;
    }
    uint32_t status = 0;
    const file_kind kind = kind_of(old, allowed);
    if (kind == file_kind::other) {
        status = EEXIST;
    } else if (kind == file_kind::unusable || rename(path, old) != 0) {
        status = static_cast<uint32_t>(errno);
    }
    free(old);
    return status;
}

uint32_t make_way(const char *path, unsigned allowed) {
    switch (kind_of(path, allowed)) {
        case file_kind::none:
            return 0;
        case file_kind::empty:
            return unlink(path) == 0 ? 0 : static_cast<uint32_t>(errno);
        case file_kind::ring:
            return keep_old_ring(path, allowed);
        case file_kind::unusable:
            return static_cast<uint32_t>(errno);
        default:
            return EEXIST;
    }
}

uint32_t map_file(const char *path, size_t size, void *&memory) {
    // What O_EXCL makes is this process's own, whatever user some file systems write down for it.
    const base::opened_file opened = base::open_regular(path, O_RDWR | O_CREAT | O_EXCL, base::allow_other_users, 0640);
    if (!opened) {
        return static_cast<uint32_t>(opened.code);
    }
    // Room that is missing shows here; later it would be a signal.
    int status = base::reserve(opened.file.get(), static_cast<off_t>(size));
    if (status == 0) {
        memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, opened.file.get(), 0);
        status = memory == MAP_FAILED ? errno : 0;
    }
    if (status != 0) {
        unlink(path);
    }
    return static_cast<uint32_t>(status);
}

uint32_t map_memory(size_t size, void *&memory) {
    memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return memory == MAP_FAILED ? ENOMEM : 0;
}

void fill(ring_header &header, uint32_t capacity) {
    header.version = ring_version;
    header.byte_order = ring_byte_order;
    header.module_size = sizeof(ring_module);
    header.module_room = most_modules;
    header.record_size = sizeof(ring_record);
    header.capacity = capacity;
    header.module_offset = ring_module_offset;
    header.record_offset = ring_record_offset;
    header.wall_ns = static_cast<int64_t>(base::clock_ns(CLOCK_REALTIME));
    header.monotonic_ns = base::clock_ns(CLOCK_MONOTONIC);
    header.process_id = static_cast<uint32_t>(getpid());
    snprintf(header.program, sizeof header.program, "%s", program_invocation_short_name);
    std::atomic_thread_fence(std::memory_order_release);
    memcpy(header.magic, ring_magic, sizeof ring_magic);
}

}  // namespace

uint32_t map_ring(const char *path, uint32_t capacity, unsigned allowed, ring_memory &ring) {
    const size_t size = ring_size(capacity);
    void *memory = nullptr;
    uint32_t status = path != nullptr ? make_way(path, allowed) : 0;
    if (status == 0) {
        status = path != nullptr ? map_file(path, size, memory) : map_memory(size, memory);
    }
    if (status != 0) {
        return status;
    }
    auto *bytes = static_cast<uint8_t *>(memory);
    ring = {static_cast<ring_header *>(memory), reinterpret_cast<ring_module *>(bytes + ring_module_offset),
            reinterpret_cast<ring_record *>(bytes + ring_record_offset), uint64_t{capacity} - 1, size};
    fill(*ring.header, capacity);
    return 0;
}

}  // namespace bitlog
