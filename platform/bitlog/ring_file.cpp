// Memory for a ring, of its own or of a file.
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

#include "ring.h"

namespace bitlog {
namespace {

enum class file_kind { none, empty, ring, other };

/** Follows no link: what is there may be renamed. What cannot be looked at fails when it is created. */
file_kind kind_of(const char *path) {
    struct stat status;
    if (lstat(path, &status) != 0) {
        return file_kind::none;
    }
    if (!S_ISREG(status.st_mode)) {
        return file_kind::other;
    }
    if (status.st_size == 0) {
        return file_kind::empty;
    }
    char magic[sizeof ring_magic] = {};
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    const bool whole = fd >= 0 && read(fd, magic, sizeof magic) == static_cast<ssize_t>(sizeof magic);
    if (fd >= 0) {
        close(fd);
    }
    return whole && memcmp(magic, ring_magic, sizeof magic) == 0 ? file_kind::ring : file_kind::other;
}

/** Renames the ring of the process before. */
uint32_t keep_old_ring(const char *path) {
    char *old = nullptr;
    if (asprintf(&old, "%s.old", path) < 0) {
        return ENOMEM;
    }
    uint32_t status = 0;
    if (kind_of(old) == file_kind::other) {
        status = EEXIST;
    } else if (rename(path, old) != 0) {
        status = static_cast<uint32_t>(errno);
    }
    free(old);
    return status;
}

uint32_t make_way(const char *path) {
    switch (kind_of(path)) {
        case file_kind::none:
            return 0;
        case file_kind::empty:
            return unlink(path) == 0 ? 0 : static_cast<uint32_t>(errno);
        case file_kind::ring:
            return keep_old_ring(path);
        default:
            return EEXIST;
    }
}

uint32_t map_file(const char *path, size_t size, void *&memory) {
    const int fd = open(path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0640);
    if (fd < 0) {
        return static_cast<uint32_t>(errno);
    }
    // Room that is missing shows here; later it would be a signal.
    int status = posix_fallocate(fd, 0, static_cast<off_t>(size));
    if (status == 0) {
        memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        status = memory == MAP_FAILED ? errno : 0;
    }
    if (status != 0) {
        unlink(path);
    }
    close(fd);
    return static_cast<uint32_t>(status);
}

uint32_t map_memory(size_t size, void *&memory) {
    memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return memory == MAP_FAILED ? ENOMEM : 0;
}

uint64_t nanoseconds(clockid_t clock) {
    timespec time;
    clock_gettime(clock, &time);
    return static_cast<uint64_t>(time.tv_sec) * 1000000000 + static_cast<uint64_t>(time.tv_nsec);
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
    header.wall_ns = static_cast<int64_t>(nanoseconds(CLOCK_REALTIME));
    header.monotonic_ns = nanoseconds(CLOCK_MONOTONIC);
    header.process_id = static_cast<uint32_t>(getpid());
    snprintf(header.program, sizeof header.program, "%s", program_invocation_short_name);
    std::atomic_thread_fence(std::memory_order_release);
    memcpy(header.magic, ring_magic, sizeof ring_magic);
}

}  // namespace

uint32_t map_ring(const char *path, uint32_t capacity, ring_memory &ring) {
    const size_t size = ring_size(capacity);
    void *memory = nullptr;
    uint32_t status = path != nullptr ? make_way(path) : 0;
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
