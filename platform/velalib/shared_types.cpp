// Use of shared types: entering, finding and counting. How the file comes into the process is shared_types_file.cpp's.
#include "shared_types.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "module_types.h"

namespace velalib {

namespace {

size_t table_size(const vela_variant_table &table) {
    return sizeof(vela_variant_table) + static_cast<size_t>(table.count) * sizeof(vela_variant_row);
}

/** A variant table with its rows behind it, and counters from 0. */
vela_variant_table *copy_table(const vela_variant_table &source, void *memory) {
    vela_variant_table *table = static_cast<vela_variant_table *>(memory);
    table->count = source.count;
    table->rows = reinterpret_cast<vela_variant_row *>(table + 1);
    for (int8 i = 0; i < source.count; ++i) {
        const vela_variant_row &row = source.rows[i];
        table->rows[i] = {row.variant, row.used_length, row.alloc_slop, 0, 0, row.reserved};
    }
    return table;
}

/** Whether a type_info can be found and counted in. */
bool is_complete(const vela_type_info &type_info) {
    return type_info.variant_table != nullptr && type_info.variant_table->count > 0 &&
           strnlen(type_info.luid_text, sizeof type_info.luid_text) == sizeof type_info.luid_text - 1;
}

}  // namespace

shared_types_lock::shared_types_lock(shared_types_file &file) : file_(file), held_(false) {
    constexpr time_t longest_wait = 5;  // entering all types of a module takes a millisecond
    timespec limit = {};
    clock_gettime(CLOCK_MONOTONIC, &limit);
    limit.tv_sec += longest_wait;
    const int result = pthread_mutex_clocklock(&file_.lock, CLOCK_MONOTONIC, &limit);
    // Who died with the lock may have lost the bytes that it took; what can be found is whole at every moment.
    if (result == EOWNERDEAD) {
        pthread_mutex_consistent(&file_.lock);
    }
    held_ = result == 0 || result == EOWNERDEAD;
}

shared_types_lock::~shared_types_lock() {
    if (held_) {
        pthread_mutex_unlock(&file_.lock);
    }
}

u_int64 shared_start(const vela_shared_types &types) {
    return types.is_copy ? types.file->address : reinterpret_cast<uintptr_t>(types.file);
}

const void *shared_place(const vela_shared_types &types, const void *address) {
    const u_int64 offset = reinterpret_cast<uintptr_t>(address) - shared_start(types);
    return reinterpret_cast<const char *>(types.file) + offset;
}

shared_types_user::~shared_types_user() { vela_shared_types_close(types_); }

// ---- entering; the lock is held ------------------------------------------------------------------------------------

/** The next bytes of the file; nullptr when it is full. */
void *shared_types_user::take(size_t size) {
    shared_types_file &file = *types_->file;
    const size_t used = file.used.load(std::memory_order_relaxed);
    const size_t wanted = (size + 7) / 8 * 8;
    if (!is_possible_use(static_cast<u_int32>(used), types_->size)) {
        return nullptr;  // another process wrote nonsense
    }
    if (wanted < size || wanted > types_->size - used) {
        return nullptr;
    }
    file.used.store(static_cast<u_int32>(used + wanted), std::memory_order_relaxed);
    return reinterpret_cast<char *>(&file) + used;
}

/** Appends a whole type_info to the directory. */
bool shared_types_user::publish(vela_type_info *type_info) {
    shared_types_file &file = *types_->file;
    const u_int32 count = file.count.load(std::memory_order_relaxed);
    if (count >= shared_types_limit) {
        return false;
    }
    file.directory[count] = static_cast<u_int32>(reinterpret_cast<char *>(type_info) - reinterpret_cast<char *>(&file));
    file.count.store(count + 1, std::memory_order_release);
    return catch_up();
}

/** Puts what the directory has gained into the index, and can be used; false without memory. */
bool shared_types_user::catch_up() {
    const u_int32 count = std::min(types_->file->count.load(std::memory_order_acquire), shared_types_limit);
    const u_int32 used = types_->file->used.load(std::memory_order_relaxed);
    for (; indexed_ < count; ++indexed_) {
        if (!is_possible_use(used, types_->size) ||
            !is_sound_record(*types_, types_->file->directory[indexed_], used)) {
            continue;
        }
        char *bytes = reinterpret_cast<char *>(types_->file) + types_->file->directory[indexed_];
        vela_type_info *info = reinterpret_cast<vela_type_info *>(bytes);
        if (!index_.insert(info->luid_text, info)) {
            return false;
        }
    }
    return true;
}

/** Copies a module's type_info into the file, unless it is there; its error code. */
u_int32 shared_types_user::enter(const vela_type_info *type_info) {
    if (!is_complete(*type_info)) {
        return VELA_OK;
    }
    const vela_variant_table *source = type_info->variant_table;
    const vela_type_info *known = index_.lookup(type_info->luid_text);
    if (known != nullptr) {
        // A module with more variants than the file's maker knew would count them in the wrong rows.
        return known->variant_table->count >= source->count ? VELA_OK : VELA_EINVAL;
    }
    char *memory = static_cast<char *>(take(sizeof(vela_type_info_copy) + table_size(*source)));
    if (memory == nullptr) {
        return VELA_ENOMEM;
    }
    vela_type_info_copy *copy = reinterpret_cast<vela_type_info_copy *>(memory);
    copy->info = *type_info;
    copy->info.shared = 1;
    copy->info.signed_word = -1;
    copy->info.variant_table = copy_table(*source, copy + 1);
    copy->word[0] = copy->word[1] = 0;
    return publish(&copy->info) ? VELA_OK : VELA_ENOMEM;
}

// ---- what a handle asks --------------------------------------------------------------------------------------------

u_int32 shared_types_user::start(vela_shared_types *types) {
    if (types->is_copy) {
        return VELA_EINVAL;
    }
    types->users.fetch_add(1);
    types_ = types;
    if (!is_still_whole(*types)) {
        return VELA_EINVAL;
    }
    const shared_types_lock lock(*types->file);
    if (!lock.is_held()) {
        return EAGAIN;
    }
    if (!catch_up()) {
        return VELA_ENOMEM;
    }
    u_int32 err = VELA_OK;
    find_type_if([&](const vela_type_info &each) {
        err = enter(&each);
        return err != 0;
    });
    return err;
}

void *shared_types_user::allocate(size_t size) {
    if (!is_still_whole(*types_)) {
        return nullptr;
    }
    const shared_types_lock lock(*types_->file);
    return lock.is_held() ? take(size) : nullptr;
}

void shared_types_user::insert(vela_type_info *type_info) {
    const char *first = reinterpret_cast<const char *>(types_->file);
    const char *place = reinterpret_cast<const char *>(type_info);
    if (place < first || place >= first + types_->size) {
        return;  // others could not read it
    }
    if (!is_still_whole(*types_) || !is_complete(*type_info)) {
        return;
    }
    const shared_types_lock lock(*types_->file);
    if (!lock.is_held() || !catch_up() || index_.lookup(type_info->luid_text) != nullptr) {
        return;
    }
    void *memory = take(table_size(*type_info->variant_table));
    if (memory == nullptr) {
        return;
    }
    type_info->shared = 1;
    type_info->variant_table = copy_table(*type_info->variant_table, memory);
    publish(type_info);
}

vela_type_info *shared_types_user::lookup(const char *luid_text) {
    vela_type_info *known = index_.lookup(luid_text);
    if (known == nullptr && !is_still_whole(*types_)) {
        return nullptr;
    }
    if (known != nullptr || indexed_ == types_->file->count.load(std::memory_order_acquire)) {
        return known;
    }
    catch_up();
    return index_.lookup(luid_text);
}

void *shared_types_alloc(void *cookie, u_int32, size_t size) {
    return static_cast<shared_types_user *>(cookie)->allocate(size);
}

void shared_types_insert(void *cookie, u_int32, const char *, vela_type_info *type_info) {
    static_cast<shared_types_user *>(cookie)->insert(type_info);
}

vela_type_info *shared_types_lookup(void *cookie, u_int32, const char *luid_text) {
    return static_cast<shared_types_user *>(cookie)->lookup(luid_text);
}

}  // namespace velalib

// ---- counts --------------------------------------------------------------------------------------------------------

namespace {

void visit_rows(const vela_type_info &type_info, int8 count, const vela_variant_row *rows, vela_type_counts_fn visit,
                void *cookie) {
    for (int8 i = 0; i < count; ++i) {
        const vela_type_counts counts = {type_info.type_name,
                                         type_info.module_name,
                                         type_info.kind,
                                         rows[i].variant,
                                         __atomic_load_n(&rows[i].created, __ATOMIC_RELAXED),
                                         __atomic_load_n(&rows[i].destroyed, __ATOMIC_RELAXED)};
        visit(cookie, &counts);
    }
}

}  // namespace

void vela_type_counts_each(const vela_shared_types *types, vela_type_counts_fn visit, void *cookie) {
    if (types != nullptr) {
        if (!velalib::is_still_whole(*types)) {
            return;
        }
        const u_int32 count = std::min(types->file->count.load(std::memory_order_acquire), velalib::shared_types_limit);
        const u_int32 used = types->file->used.load(std::memory_order_relaxed);
        for (u_int32 i = 0; i < count && velalib::is_possible_use(used, types->size); ++i) {
            if (!velalib::is_sound_record(*types, types->file->directory[i], used)) {
                continue;
            }
            const char *place = reinterpret_cast<const char *>(types->file) + types->file->directory[i];
            const vela_type_info &type_info = *reinterpret_cast<const vela_type_info *>(place);
            const auto *table =
                static_cast<const vela_variant_table *>(velalib::shared_place(*types, type_info.variant_table));
            const auto *rows = static_cast<const vela_variant_row *>(velalib::shared_place(*types, table->rows));
            visit_rows(type_info, table->count, rows, visit, cookie);
        }
        return;
    }
    velalib::find_type_if([&](const vela_type_info &each) {
        if (each.variant_table != nullptr) {
            visit_rows(each, each.variant_table->count, each.variant_table->rows, visit, cookie);
        }
        return false;
    });
}
