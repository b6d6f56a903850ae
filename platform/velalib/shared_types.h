// Type-information records in a file that several processes map at one address.
#pragma once

#include <pthread.h>

#include <atomic>

#include "base/file_descriptor.h"
#include "type_table.h"
#include "velalib/shared_types.h"

namespace velalib {

/** First word of the file, written when everything else is in place. */
constexpr u_int64 shared_types_magic = UINT64_C(0x3130797461687376);
/** Changes with everything that another release could not read. */
constexpr u_int32 shared_types_layout = 1;
constexpr u_int32 shared_types_limit = 2000;

/** The file begins with it; records and variant tables follow, never moved and never taken back. */
struct shared_types_file {
    std::atomic<u_int64> magic;
    u_int32 layout;
    u_int32 header_size;   // of this, and
    u_int32 record_size;   // of a type_info: a program of another data model cannot use them
    u_int32 address_bits;  // likewise
    u_int64 address;
    u_int64 size;
    pthread_mutex_t lock;                   // held by whoever enters types
    std::atomic<u_int32> used;              // bytes from the start of the file
    std::atomic<u_int32> count;             // of the directory's entries that are in place
    u_int32 directory[shared_types_limit];  // where the records are, in the order they were entered
};
static_assert(std::atomic<u_int64>::is_always_lock_free && std::atomic<u_int32>::is_always_lock_free);

}  // namespace velalib

struct vela_shared_types {
    velalib::shared_types_file *file;
    size_t size;
    bool is_copy;                  // read as far as it is in use, not mapped: pointers in it are those of another place
    base::file_descriptor opened;  // of what is mapped
    std::atomic<u_int32> users;
};

namespace velalib {

/** Where the mapping begins that pointers in the file are made for. */
u_int64 shared_start(const vela_shared_types &types);
/** Where content of the file lies in this process; `address` is in that mapping. */
const void *shared_place(const vela_shared_types &types, const void *address);

/** Whether `used`, from a file of `size` bytes, can be what it says. */
bool is_possible_use(u_int32 used, size_t size);
/** Whether the type_info at an offset is one that can be found and counted in, within the first `used` bytes. */
bool is_sound_record(const vela_shared_types &types, u_int32 offset, u_int32 used);
/** Whether the file still has all bytes that are mapped, so that looking at them does not end the process. */
bool is_still_whole(const vela_shared_types &types);

/** Holds the lock between processes for a scope. */
class shared_types_lock {
  public:
    explicit shared_types_lock(shared_types_file &file);
    ~shared_types_lock();
    shared_types_lock(const shared_types_lock &) = delete;
    shared_types_lock &operator=(const shared_types_lock &) = delete;
    /** False when who has the lock does not go on. */
    bool is_held() const { return held_; }

  private:
    shared_types_file &file_;
    bool held_;
};

/** A handle's use of shared types: an index of its own over the file's directory. */
class shared_types_user {
  public:
    shared_types_user() = default;
    ~shared_types_user();
    shared_types_user(const shared_types_user &) = delete;
    shared_types_user &operator=(const shared_types_user &) = delete;

    /** Takes the types into use and enters those of all loaded modules; 0, 11, 12, or 22 for a module of other variants. */
    u_int32 start(vela_shared_types *types);
    bool is_on() const { return types_ != nullptr; }

    void *allocate(size_t size);
    /** Completes a type_info that allocate() gave, and lets everybody find it, unless another was faster. */
    void insert(vela_type_info *type_info);
    vela_type_info *lookup(const char *luid_text);

  private:
    void *take(size_t size);
    bool publish(vela_type_info *type_info);
    bool catch_up();
    u_int32 enter(const vela_type_info *type_info);

    vela_shared_types *types_ = nullptr;
    type_table index_;
    u_int32 indexed_ = 0;  // entries of the directory that the index has
};

/** The callbacks of a handle with shared types; the cookies are its shared_types_user. */
void *shared_types_alloc(void *cookie, u_int32 mem_class, size_t size);
void shared_types_insert(void *cookie, u_int32 mem_class, const char *luid_text, vela_type_info *type_info);
vela_type_info *shared_types_lookup(void *cookie, u_int32 mem_class, const char *luid_text);

}  // namespace velalib
