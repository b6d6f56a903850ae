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

#include "guarded_file.h"
#include "shared_types.h"

using vela::transport::file_descriptor;
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
    /** The same for a call of the system, or what guards it. */
    bool fail_by_system(const char *what, const char *refusal = nullptr) const {
        const int code = errno;
        return fail(static_cast<u_int32>(code), "%s: %s", what, refusal != nullptr ? refusal : strerror(code));
    }
};

// ---- checks --------------------------------------------------------------------------------------------------------

/** Whether the head of a file of `size` bytes is one that this release can use. */
bool check_head(const shared_types_file &file, size_t size, const failure_report &report) {
    const u_int64 magic = file.magic.load(std::memory_order_acquire);
    if (magic == 0) {
        return report.fail(EAGAIN, "its maker has not finished it");
    }
    if (magic != velalib::shared_types_magic) {
        return report.fail(VELA_EINVAL, "this is no file of shared types");
    }
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
    if (!velalib::is_possible_use(file.used.load(std::memory_order_relaxed), size) ||
        file.count.load(std::memory_order_relaxed) > velalib::shared_types_limit) {
        return report.fail(VELA_EINVAL, "it is damaged: impossible lengths");
    }
    return true;
}

/** Whether everything that the directory names is whole. */
bool check_content(const vela_shared_types &types, const failure_report &report) {
    const u_int32 count = types.file->count.load(std::memory_order_relaxed);
    const u_int32 used = types.file->used.load(std::memory_order_relaxed);
    for (u_int32 i = 0; i < count; ++i) {
        if (!velalib::is_sound_record(types, types.file->directory[i], used)) {
            return report.fail(VELA_EINVAL, "it is damaged: record %u of %u is wrong", i + 1, count);
        }
    }
    return true;
}

// ---- mapping -------------------------------------------------------------------------------------------------------

vela_shared_types *new_types(void *memory, size_t size, bool is_copy, const failure_report &report) {
    vela_shared_types *types =
        new (std::nothrow) vela_shared_types{static_cast<shared_types_file *>(memory), size, is_copy, {}, {1}};
    if (types == nullptr) {
        report.fail(VELA_ENOMEM, "there is no memory");
    }
    return types;
}

/** Maps a file at exactly this address, and keeps it open; nullptr when something is there. */
vela_shared_types *map(file_descriptor fd, u_int64 address, size_t size, const failure_report &report) {
    void *const wanted = reinterpret_cast<void *>(address);
    void *memory = mmap(wanted, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED_NOREPLACE, fd.get(), 0);
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
    if (types == nullptr) {
        munmap(memory, size);
    } else {
        types->opened = std::move(fd);
    }
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

/** Opens a file that is there and finds its length; false with a report. */
bool open_file(const char *path, int flags, unsigned allowed, file_descriptor &fd, size_t *size,
               const failure_report &report) {
    if (path == nullptr) {
        return report.fail(VELA_EINVAL, "a path is needed");
    }
    const char *refusal = nullptr;
    fd = file_descriptor(guarded_file::open_regular(path, flags, 0, allowed, refusal));
    struct stat status = {};
    if (!fd || fstat(fd.get(), &status) != 0) {
        return report.fail_by_system("cannot open", refusal);
    }
    *size = static_cast<size_t>(status.st_size);
    if (*size < sizeof(shared_types_file)) {
        return report.fail(VELA_EINVAL, "this is no file of shared types");
    }
    if (*size > largest_size) {
        return report.fail(VELA_EINVAL, "it is too large for a file of shared types");
    }
    return true;
}

bool read_part(int fd, void *memory, size_t begin, size_t end, const failure_report &report) {
    for (size_t done = begin; done < end;) {
        const ssize_t count = pread(fd, static_cast<char *>(memory) + done, end - done, static_cast<off_t>(done));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return report.fail_by_system("cannot read");
        }
        if (count == 0) {
            return report.fail(VELA_EINVAL, "it is being cut");
        }
        done += static_cast<size_t>(count);
    }
    return true;
}

/**
 * A checked copy of a file of `size` bytes, as far as they are in use; nullptr with a report. Read, because a mapping of
 * a file that somebody cuts ends the process. The head is read first, so that what it counts is there when the rest is.
 */
vela_shared_types *read_copy(int fd, size_t size, const failure_report &report) {
    void *head = std::malloc(sizeof(shared_types_file));
    vela_shared_types *types = head == nullptr ? nullptr : new_types(head, size, true, report);
    if (types == nullptr) {
        std::free(head);
        report.fail(VELA_ENOMEM, "there is no memory");
        return nullptr;
    }
    bool usable = read_part(fd, head, 0, sizeof(shared_types_file), report) && check_head(*types->file, size, report);
    if (usable) {
        const u_int32 used = types->file->used.load(std::memory_order_relaxed);
        void *whole = std::realloc(head, used);
        types->file = static_cast<shared_types_file *>(whole != nullptr ? whole : head);
        usable = whole != nullptr
                     ? read_part(fd, whole, sizeof(shared_types_file), used, report) && check_content(*types, report)
                     : report.fail(VELA_ENOMEM, "there is no memory");
    }
    if (usable) {
        return types;
    }
    vela_shared_types_close(types);
    return nullptr;
}

}  // namespace

vela_shared_types *vela_shared_types_create(const char *path, void *address, size_t size, u_int32 *err, char *reason,
                                            size_t room) {
    if (*err != 0) {
        return nullptr;
    }
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
    const char *refusal = nullptr;
    // What O_EXCL makes is this process's own, whatever user some file systems write down for it.
    file_descriptor fd(
        guarded_file::open_regular(path, O_RDWR | O_CREAT | O_EXCL, 0660, guarded_file::allow_other_users, refusal));
    if (!fd) {
        report.fail_by_system("cannot make it", refusal);
        return nullptr;
    }
    vela_shared_types *types = nullptr;
    // All of it at once: a file system that is full must not show as a SIGBUS later.
    errno = posix_fallocate(fd.get(), 0, static_cast<off_t>(size));
    if (errno != 0) {
        report.fail_by_system("cannot make it");
    } else {
        types = map(std::move(fd), place, size, report);
    }
    if (types == nullptr) {
        unlink(path);
        return nullptr;
    }
    initialize(*types->file, place, size);
    return types;
}

vela_shared_types *vela_shared_types_open(const char *path, void *address, u_int32 *err, char *reason, size_t room) {
    const vela_shared_types_options options = {sizeof options, address, 0, 0};
    return vela_shared_types_open_with(path, &options, err, reason, room);
}

vela_shared_types *vela_shared_types_open_with(const char *path, const vela_shared_types_options *options, u_int32 *err,
                                               char *reason, size_t room) {
    if (*err != 0) {
        return nullptr;
    }
    const failure_report report = {err, reason, room};
    const vela_shared_types_options wanted =
        options != nullptr ? *options : vela_shared_types_options{sizeof wanted, nullptr, 0, 0};
    if (wanted.size != sizeof wanted) {
        report.fail(VELA_EINVAL, "the options have another size than in this release");
        return nullptr;
    }
    const unsigned allowed = (wanted.allow_other_users != 0 ? guarded_file::allow_other_users : 0u) |
                             (wanted.allow_links != 0 ? guarded_file::allow_links : 0u);
    file_descriptor fd;
    size_t size = 0;
    if (!open_file(path, O_RDWR, allowed, fd, &size, report)) {
        return nullptr;
    }
    vela_shared_types *copy = read_copy(fd.get(), size, report);
    if (copy == nullptr) {
        return nullptr;
    }
    const u_int64 place = copy->file->address;
    vela_shared_types_close(copy);
    if (wanted.address != nullptr && reinterpret_cast<uintptr_t>(wanted.address) != place) {
        report.fail(VELA_EINVAL, "its address is 0x%llx, not %p", static_cast<unsigned long long>(place),
                    wanted.address);
        return nullptr;
    }
    return map(std::move(fd), place, size, report);
}

vela_shared_types *vela_shared_types_read(const char *path, u_int32 *err, char *reason, size_t room) {
    if (*err != 0) {
        return nullptr;
    }
    const failure_report report = {err, reason, room};
    file_descriptor fd;
    size_t size = 0;
    // Nothing of it is trusted, so it may be anybody's.
    if (!open_file(path, O_RDONLY, guarded_file::allow_all, fd, &size, report)) {
        return nullptr;
    }
    return read_copy(fd.get(), size, report);
}

void vela_shared_types_close(vela_shared_types *types) {
    if (types == nullptr || types->users.fetch_sub(1) != 1) {
        return;
    }
    if (types->is_copy) {
        std::free(types->file);
    } else {
        munmap(types->file, types->size);
    }
    delete types;
}
