// How a file of shared types is made, mapped, read and checked.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "shared_types.h"

using velalib::shared_types_file;

namespace {

constexpr size_t page_size = 4096;
constexpr size_t largest_size = size_t{1} << 30;

/** Where a failure is told: the error word, and the caller's buffer for words. */
struct failure_report {
    u_int32 *err;
    char *reason;
    size_t room;

    /** Stores the code and the words; false, for the caller to pass on. */
    [[gnu::format(printf, 3, 4)]] bool fail(u_int32 code, const char *format, ...) const {
        *err = code;
        if (reason != nullptr && room > 0) {
            va_list arguments;
            va_start(arguments, format);
            vsnprintf(reason, room, format, arguments);
            va_end(arguments);
        }
        return false;
    }
    /** The same for a call of the system. */
    bool fail_by_system(const char *what) const {
        const int code = errno;
        return fail(static_cast<u_int32>(code), "%s: %s", what, strerror(code));
    }
};

class descriptor {
  public:
    explicit descriptor(int fd) : fd_(fd) {}
    ~descriptor() {
        if (fd_ >= 0) close(fd_);
    }
    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;
    operator int() const { return fd_; }

  private:
    int fd_;
};

// ---- checks --------------------------------------------------------------------------------------------------------

/** Whether the head of a file of `size` bytes is one that this release can use. */
bool check_head(const shared_types_file &file, size_t size, const failure_report &report) {
    const u_int64 magic = file.magic.load(std::memory_order_acquire);
    if (magic == 0) return report.fail(EAGAIN, "its maker has not finished it");
    if (magic != velalib::shared_types_magic) return report.fail(VELA_EINVAL, "this is no file of shared types");
    if (file.layout != velalib::shared_types_layout || file.header_size != sizeof file ||
        file.record_size != sizeof(vela_type_info_copy) || file.address_bits != 8 * sizeof(void *)) {
        return report.fail(VELA_EINVAL, "it was made by another release, or for another machine");
    }
    if (file.size != size) {
        return report.fail(VELA_EINVAL, "it is damaged: of %llu bytes there are %zu",
                           static_cast<unsigned long long>(file.size), size);
    }
    if (file.address == 0 || file.address % page_size != 0 || file.address > UINTPTR_MAX - size) {
        return report.fail(VELA_EINVAL, "it is damaged: no such address");
    }
    return true;
}

/** Whether `length` bytes at an address of the mapping lie in the part that has been handed out. */
bool lies_inside(const shared_types_file &file, const void *address, size_t length, u_int32 used) {
    const u_int64 place = reinterpret_cast<uintptr_t>(address);
    if (place % alignof(vela_variant_table) != 0 || place < file.address + sizeof file) return false;
    const u_int64 offset = place - file.address;
    return offset <= used && length <= used - offset;
}

bool is_text(const char *text, size_t room) { return memchr(text, '\0', room) != nullptr; }

bool check_record(const vela_shared_types &types, u_int32 offset, u_int32 used) {
    const shared_types_file &file = *types.file;
    const void *address = reinterpret_cast<const void *>(file.address + offset);
    if (!lies_inside(file, address, sizeof(vela_type_info_copy), used)) return false;
    const auto &record = *static_cast<const vela_type_info *>(velalib::shared_place(types, address));
    if (record.magic != VELA_TYPE_INFO_MAGIC || record.shared == 0 || strnlen(record.luid_text, 33) != 32 ||
        !is_text(record.type_name, sizeof record.type_name) ||
        !is_text(record.module_name, sizeof record.module_name) || !is_text(record.kind, sizeof record.kind)) {
        return false;
    }
    if (!lies_inside(file, record.variant_table, sizeof(vela_variant_table), used)) return false;
    const auto &table = *static_cast<const vela_variant_table *>(velalib::shared_place(types, record.variant_table));
    return table.count > 0 &&
           lies_inside(file, table.rows, static_cast<size_t>(table.count) * sizeof(vela_variant_row), used);
}

/** Whether everything that the directory names is whole. */
bool check_content(const vela_shared_types &types, const failure_report &report) {
    const u_int32 count = types.file->count.load(std::memory_order_acquire);
    const u_int32 used = types.file->used.load(std::memory_order_relaxed);
    if (used < sizeof(shared_types_file) || used > types.size || count > velalib::shared_types_limit) {
        return report.fail(VELA_EINVAL, "it is damaged: impossible lengths");
    }
    for (u_int32 i = 0; i < count; ++i) {
        if (!check_record(types, types.file->directory[i], used)) {
            return report.fail(VELA_EINVAL, "it is damaged: record %u of %u is wrong", i + 1, count);
        }
    }
    return true;
}

// ---- mapping -------------------------------------------------------------------------------------------------------

vela_shared_types *new_types(void *memory, size_t size, bool is_copy, const failure_report &report) {
    vela_shared_types *types =
        new (std::nothrow) vela_shared_types{static_cast<shared_types_file *>(memory), size, is_copy, {1}};
    if (types == nullptr) report.fail(VELA_ENOMEM, "there is no memory");
    return types;
}

/** Maps a file at exactly this address; nullptr when something is there. */
vela_shared_types *map(int fd, u_int64 address, size_t size, const failure_report &report) {
    void *const wanted = reinterpret_cast<void *>(address);
    void *memory = mmap(wanted, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED_NOREPLACE, fd, 0);
    if (memory != MAP_FAILED && memory != wanted) {  // an old kernel takes the address for a hint
        munmap(memory, size);
        memory = MAP_FAILED;
        errno = EEXIST;
    }
    if (memory == MAP_FAILED) {
        const int code = errno;
        report.fail(static_cast<u_int32>(code), "cannot map %zu bytes at %p: %s", size, wanted,
                    code == EEXIST ? "this process has something else there" : strerror(code));
        return nullptr;
    }
    vela_shared_types *types = new_types(memory, size, false, report);
    if (types == nullptr) munmap(memory, size);
    return types;
}

void initialize(shared_types_file &file, u_int64 address, size_t size) {
    file.layout = velalib::shared_types_layout;
    file.header_size = sizeof file;
    file.record_size = sizeof(vela_type_info_copy);
    file.address_bits = 8 * sizeof(void *);
    file.address = address;
    file.size = size;
    file.used.store((sizeof file + 7) / 8 * 8, std::memory_order_relaxed);
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(&file.lock, &attributes);
    pthread_mutexattr_destroy(&attributes);
    file.magic.store(velalib::shared_types_magic, std::memory_order_release);
}

/** Opens a file and finds its length; false with a report. */
bool measure(int fd, size_t *size, const failure_report &report) {
    struct stat status = {};
    if (fd < 0 || fstat(fd, &status) != 0) return report.fail_by_system("cannot open");
    if (!S_ISREG(status.st_mode)) return report.fail(VELA_EINVAL, "this is no file");
    *size = static_cast<size_t>(status.st_size);
    if (*size < sizeof(shared_types_file)) return report.fail(VELA_EINVAL, "this is no file of shared types");
    if (*size > largest_size) return report.fail(VELA_EINVAL, "it is too large for a file of shared types");
    return true;
}

bool read_all(int fd, void *memory, size_t size, const failure_report &report) {
    for (size_t done = 0; done < size;) {
        const ssize_t count = pread(fd, static_cast<char *>(memory) + done, size - done, static_cast<off_t>(done));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return report.fail_by_system("cannot read");
        if (count == 0) return report.fail(VELA_EINVAL, "it is being cut");
        done += static_cast<size_t>(count);
    }
    return true;
}

/** Bytes of a file in memory of this process's own; nullptr with a report. */
shared_types_file *read_copy(int fd, size_t length, const failure_report &report) {
    void *memory = length == 0 ? nullptr : std::malloc(length);
    if (memory == nullptr) {
        report.fail(VELA_ENOMEM, "there is no memory");
        return nullptr;
    }
    if (!read_all(fd, memory, length, report)) {
        std::free(memory);
        return nullptr;
    }
    return static_cast<shared_types_file *>(memory);
}

}  // namespace

vela_shared_types *vela_shared_types_create(const char *path, void *address, size_t size, u_int32 *err, char *reason,
                                            size_t room) {
    if (*err != 0) return nullptr;
    const failure_report report = {err, reason, room};
    const u_int64 place = reinterpret_cast<uintptr_t>(address);
    if (path == nullptr || place == 0 || place % page_size != 0) {
        report.fail(VELA_EINVAL, "a path and an address of whole pages are needed");
        return nullptr;
    }
    if (size < sizeof(shared_types_file) || size > largest_size) {
        report.fail(VELA_EINVAL, "the size must be between %zu bytes and 1 GiB", sizeof(shared_types_file));
        return nullptr;
    }
    size = (size + page_size - 1) / page_size * page_size;
    const descriptor fd(open(path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0660));
    if (fd < 0) {
        report.fail_by_system("cannot make it");
        return nullptr;
    }
    vela_shared_types *types = nullptr;
    // All of it at once: a file system that is full must not show as a SIGBUS later.
    errno = posix_fallocate(fd, 0, static_cast<off_t>(size));
    if (errno != 0) {
        report.fail_by_system("cannot make it");
    } else {
        types = map(fd, place, size, report);
    }
    if (types == nullptr) {
        unlink(path);
        return nullptr;
    }
    initialize(*types->file, place, size);
    return types;
}

vela_shared_types *vela_shared_types_open(const char *path, void *address, u_int32 *err, char *reason, size_t room) {
    if (*err != 0) return nullptr;
    const failure_report report = {err, reason, room};
    if (path == nullptr) {
        report.fail(VELA_EINVAL, "a path is needed");
        return nullptr;
    }
    const descriptor fd(open(path, O_RDWR | O_CLOEXEC));
    size_t size = 0;
    if (!measure(fd, &size, report)) return nullptr;
    shared_types_file *head = read_copy(fd, sizeof(shared_types_file), report);
    if (head == nullptr) return nullptr;
    bool usable = check_head(*head, size, report);
    const u_int64 place = head->address;
    if (usable && address != nullptr && reinterpret_cast<uintptr_t>(address) != place) {
        usable =
            report.fail(VELA_EINVAL, "its address is 0x%llx, not %p", static_cast<unsigned long long>(place), address);
    }
    std::free(head);
    vela_shared_types *types = usable ? map(fd, place, size, report) : nullptr;
    if (types != nullptr && !check_content(*types, report)) {
        vela_shared_types_close(types);
        return nullptr;
    }
    return types;
}

vela_shared_types *vela_shared_types_read(const char *path, u_int32 *err, char *reason, size_t room) {
    if (*err != 0) return nullptr;
    const failure_report report = {err, reason, room};
    if (path == nullptr) {
        report.fail(VELA_EINVAL, "a path is needed");
        return nullptr;
    }
    const descriptor fd(open(path, O_RDONLY | O_CLOEXEC));
    size_t size = 0;
    if (!measure(fd, &size, report)) return nullptr;
    shared_types_file *copy = read_copy(fd, size, report);
    if (copy == nullptr) return nullptr;
    vela_shared_types *types = new_types(copy, size, true, report);
    if (types == nullptr) {
        std::free(copy);
        return nullptr;
    }
    if (!check_head(*copy, size, report) || !check_content(*types, report)) {
        vela_shared_types_close(types);
        return nullptr;
    }
    return types;
}

void vela_shared_types_close(vela_shared_types *types) {
    if (types == nullptr || types->users.fetch_sub(1) != 1) return;
    if (types->is_copy) {
        std::free(types->file);
    } else {
        munmap(types->file, types->size);
    }
    delete types;
}
