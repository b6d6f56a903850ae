// How a file of shared types is made, mapped, read and checked.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "base/failure.h"
#include "base/file_reading.h"
#include "base/guarded_file.h"
#include "base/interruption.h"
#include "shared_types.h"

using base::failure;
using base::file_descriptor;
using velalib::shared_types_file;

namespace {

constexpr size_t page_size = 4096;
constexpr size_t largest_size = size_t{1} << 30;
constexpr char no_memory[] = "there is no memory";

bool fail(failure &why, u_int32 code, std::string text) {
    why = {code, std::move(text)};
    return false;
}

std::string hexadecimal(u_int64 number) {
    char text[24];
    snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(number));
    return text;
}

/** For types that nobody uses any more. */
struct release_types {
    void operator()(vela_shared_types *types) const {
        if (types->is_copy) {
            std::free(types->file);
        } else {
            munmap(types->file, types->size);
        }
        delete types;
    }
};
using owned_types = std::unique_ptr<vela_shared_types, release_types>;

// ---- checks --------------------------------------------------------------------------------------------------------

/** Whether the head of a file of `size` bytes is one that this release can use. */
bool check_head(const shared_types_file &file, size_t size, failure &why) {
    const u_int64 magic = file.magic.load(std::memory_order_acquire);
    if (magic == 0) {
        return fail(why, EAGAIN, "its maker has not finished it");
    }
    if (magic != velalib::shared_types_magic) {
        return fail(why, VELA_EINVAL, "this is no file of shared types");
    }
    if (file.layout != velalib::shared_types_layout || file.header_size != sizeof file ||
        file.record_size != sizeof(vela_type_info_copy) || file.address_bits != 8 * sizeof(void *)) {
        return fail(why, VELA_EINVAL, "it was made by another release, or for another machine");
    }
    if (file.size != size) {
        return fail(why, VELA_EINVAL,
                    "it is damaged: of " + std::to_string(file.size) + " bytes there are " + std::to_string(size));
    }
    if (file.address == 0 || file.address % page_size != 0 || file.address > UINTPTR_MAX - size) {
        return fail(why, VELA_EINVAL, "it is damaged: no such address");
    }
    if (!velalib::is_possible_use(file.used.load(std::memory_order_relaxed), size) ||
        file.count.load(std::memory_order_relaxed) > velalib::shared_types_limit) {
        return fail(why, VELA_EINVAL, "it is damaged: impossible lengths");
    }
    return true;
}

/** Whether everything that the directory names is whole. */
bool check_content(const vela_shared_types &types, failure &why) {
    const u_int32 count = types.file->count.load(std::memory_order_relaxed);
    const u_int32 used = types.file->used.load(std::memory_order_relaxed);
    for (u_int32 i = 0; i < count; ++i) {
        if (!velalib::is_sound_record(types, types.file->directory[i], used)) {
            return fail(
                why, VELA_EINVAL,
                "it is damaged: record " + std::to_string(i + 1) + " of " + std::to_string(count) + " is wrong");
        }
    }
    return true;
}

// ---- mapping -------------------------------------------------------------------------------------------------------

/** Without content, which is to be allocated memory unless `is_copy` is cleared. */
owned_types new_types(size_t size) { return owned_types(new vela_shared_types{nullptr, size, true, {}, {1}}); }

/** Maps a file at exactly this address, and keeps it open; nullptr when something is there. */
owned_types map(file_descriptor fd, u_int64 address, size_t size, failure &why) {
    void *const wanted = reinterpret_cast<void *>(address);
    owned_types types = new_types(size);
    void *memory = mmap(wanted, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED_NOREPLACE, fd.get(), 0);
    int code = memory == MAP_FAILED ? errno : 0;
    if (code == 0 && memory != wanted) {  // an old kernel takes the address for a hint
        munmap(memory, size);
        code = EEXIST;
    }
    if (code != 0) {
        const char *reason = code == EEXIST ? "this process has something else there" : strerror(code);
        why = {static_cast<u_int32>(code),
               "cannot map " + std::to_string(size) + " bytes at " + hexadecimal(address) + ": " + reason};
        return nullptr;
    }
    types->file = static_cast<shared_types_file *>(memory);
    types->is_copy = false;
    types->opened = std::move(fd);
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

/** Opens a file that is there; false with the reason. */
bool open_file(const char *path, int flags, unsigned allowed, base::opened_file &opened, failure &why) {
    if (path == nullptr) {
        return fail(why, VELA_EINVAL, "a path is needed");
    }
    opened = base::open_regular(path, flags, allowed);
    if (!opened) {
        return fail(why, static_cast<u_int32>(opened.code), std::string("cannot open: ") + opened.reason());
    }
    if (opened.size() < sizeof(shared_types_file)) {
        return fail(why, VELA_EINVAL, "this is no file of shared types");
    }
    return opened.size() <= largest_size || fail(why, VELA_EINVAL, "it is too large for a file of shared types");
}

bool read_part(int fd, void *memory, size_t begin, size_t end, failure &why) {
    int error = 0;
    if (base::read_all_at(fd, static_cast<char *>(memory) + begin, end - begin, begin, error)) {
        return true;
    }
    why = error != 0 ? base::system_failure(error, "cannot read") : failure{VELA_EINVAL, "it is being cut"};
    return false;
}

/**
 * A checked copy of a file, as far as it is in use; nullptr with the reason. Read, because a mapping of a file that
 * somebody cuts ends the process. The head is read first, so that what it counts is there when the rest is.
 */
owned_types read_copy(const base::opened_file &opened, failure &why) {
    const int fd = opened.file.get();
    owned_types types = new_types(opened.size());
    types->file = static_cast<shared_types_file *>(std::malloc(sizeof(shared_types_file)));
    if (types->file == nullptr) {
        throw std::bad_alloc();
    }
    if (!read_part(fd, types->file, 0, sizeof(shared_types_file), why) ||
        !check_head(*types->file, opened.size(), why)) {
        return nullptr;
    }
    const u_int32 used = types->file->used.load(std::memory_order_relaxed);
    void *whole = std::realloc(types->file, used);
    if (whole == nullptr) {
        throw std::bad_alloc();
    }
    types->file = static_cast<shared_types_file *>(whole);
    if (!read_part(fd, whole, sizeof(shared_types_file), used, why) || !check_content(*types, why)) {
        return nullptr;
    }
    return types;
}

/** Removes a file unless it is kept, also when memory is short. */
class file_in_making {
  public:
    explicit file_in_making(const char *path) : path_(path) {}
    ~file_in_making() {
        if (path_ != nullptr) {
            unlink(path_);
        }
    }
    file_in_making(const file_in_making &) = delete;
    file_in_making &operator=(const file_in_making &) = delete;
    void keep() { path_ = nullptr; }

  private:
    const char *path_;
};

/** Makes and maps a file; what was made of it is removed after a failure. */
owned_types create(const char *path, u_int64 address, size_t size, failure &why) {
    if (path == nullptr || address == 0 || address % page_size != 0) {
        why = {VELA_EINVAL, "a path and an address of whole pages are needed"};
        return nullptr;
    }
    if (size < sizeof(shared_types_file) || size > largest_size) {
        why = {VELA_EINVAL,
               "the size must be between " + std::to_string(sizeof(shared_types_file)) + " bytes and 1 GiB"};
        return nullptr;
    }
    size = (size + page_size - 1) / page_size * page_size;
    // What O_EXCL makes is this process's own, whatever user some file systems write down for it.
    base::opened_file opened = base::open_regular(path, O_RDWR | O_CREAT | O_EXCL, base::allow_other_users, 0660);
    if (!opened) {
        why = {static_cast<u_int32>(opened.code), std::string("cannot make it: ") + opened.reason()};
        return nullptr;
    }
    file_in_making made(path);
    // All of it at once: a file system that is full must not show as a SIGBUS later.
    if (const int code = base::reserve(opened.file.get(), static_cast<off_t>(size)); code != 0) {
        why = base::system_failure(code, "cannot make it");
        return nullptr;
    }
    owned_types types = map(std::move(opened.file), address, size, why);
    if (types == nullptr) {
        return nullptr;
    }
    made.keep();
    initialize(*types->file, address, size);
    return types;
}

/** Checks a copy of a file, then maps it where its content belongs. */
owned_types open(const char *path, const vela_shared_types_options &wanted, failure &why) {
    if (wanted.size != sizeof wanted) {
        why = {VELA_EINVAL, "the options have another size than in this release"};
        return nullptr;
    }
    base::opened_file opened = {};
    if (!open_file(path, O_RDWR, base::allowed_by(wanted.allow_other_users, wanted.allow_links), opened, why)) {
        return nullptr;
    }
    const owned_types copy = read_copy(opened, why);
    if (copy == nullptr) {
        return nullptr;
    }
    const u_int64 address = copy->file->address;
    if (wanted.address != nullptr && reinterpret_cast<uintptr_t>(wanted.address) != address) {
        why = {VELA_EINVAL, "its address is " + hexadecimal(address) + ", not " +
                                hexadecimal(reinterpret_cast<uintptr_t>(wanted.address))};
        return nullptr;
    }
    return map(std::move(opened.file), address, opened.size(), why);
}

}  // namespace

vela_shared_types *vela_shared_types_create(const char *path, void *address, size_t size, u_int32 *err, char *reason,
                                            size_t room) {
    return base::make_or_fail(err, reason, room, no_memory, [=](failure &why) {
        return create(path, reinterpret_cast<uintptr_t>(address), size, why);
    });
}

vela_shared_types *vela_shared_types_open(const char *path, void *address, u_int32 *err, char *reason, size_t room) {
    const vela_shared_types_options options = {sizeof options, address, 0, 0};
    return vela_shared_types_open_with(path, &options, err, reason, room);
}

vela_shared_types *vela_shared_types_open_with(const char *path, const vela_shared_types_options *options, u_int32 *err,
                                               char *reason, size_t room) {
    return base::make_or_fail(err, reason, room, no_memory, [=](failure &why) {
        return open(path, options != nullptr ? *options : vela_shared_types_options{sizeof *options, nullptr, 0, 0},
                    why);
    });
}

vela_shared_types *vela_shared_types_read(const char *path, u_int32 *err, char *reason, size_t room) {
    return base::make_or_fail(err, reason, room, no_memory, [=](failure &why) -> owned_types {
        base::opened_file opened = {};
        // Nothing of it is trusted, so it may be anybody's.
        if (!open_file(path, O_RDONLY, base::allow_all, opened, why)) {
            return nullptr;
        }
        return read_copy(opened, why);
    });
}

void vela_shared_types_close(vela_shared_types *types) {
    if (types != nullptr && types->users.fetch_sub(1) == 1) {
        release_types()(types);
    }
}
