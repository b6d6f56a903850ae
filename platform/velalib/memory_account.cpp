// Counts the blocks of a handle by memory class, and refuses those beyond its budget.
#include "memory_account.h"

#include <cstdlib>
#include <cstring>

#include "runtime_state.h"
#include "velalib/runtime.h"

namespace velalib {

namespace {

void add(vela_memory_use &use, size_t size) {
    ++use.blocks;
    use.bytes += size;
    if (use.bytes > use.peak_bytes) {
        use.peak_bytes = use.bytes;
    }
}

}  // namespace

memory_account::~memory_account() { std::free(classes_); }

void memory_account::start(u_int64 budget) {
    on_ = true;
    set_budget(budget);
}

bool memory_account::add_class(u_int32 mem_class, u_int32 *index) {
    if (class_count_ == class_capacity_) {
        const u_int32 wanted = class_capacity_ == 0 ? 4 : class_capacity_ * 2;
        void *grown = std::realloc(classes_, wanted * sizeof(vela_memory_class_use));
        if (grown == nullptr) {
            return false;
        }
        classes_ = static_cast<vela_memory_class_use *>(grown);
        class_capacity_ = wanted;
    }
    if (!class_indices_.insert(reinterpret_cast<const void *>(uintptr_t{mem_class} + 1), class_count_)) {
        return false;
    }
    classes_[class_count_] = {mem_class, {}};
    *index = class_count_++;
    return true;
}

/** The index of a class, which is added when it is new; false without memory. */
bool memory_account::find_class(u_int32 mem_class, u_int32 *index) {
    if (last_class_ < class_count_ && classes_[last_class_].mem_class == mem_class) {
        *index = last_class_;
        return true;
    }
    const u_int32 *known = class_indices_.find(reinterpret_cast<const void *>(uintptr_t{mem_class} + 1));
    if (known != nullptr) {
        *index = *known;
    } else if (!add_class(mem_class, index)) {
        return false;
    }
    last_class_ = *index;
    return true;
}

void *memory_account::allocate(u_int32 mem_class, size_t size) {
    u_int32 index = 0;
    if (!find_class(mem_class, &index)) {
        ++total_.refused;
        return nullptr;
    }
    counted_block *block = nullptr;
    const bool affordable = total_.bytes <= budget_ && size <= budget_ - total_.bytes;
    if (affordable && size <= UINT32_MAX) {
        block = static_cast<counted_block *>(memory_.allocate(sizeof(counted_block) + size));
    }
    if (block == nullptr) {
        ++total_.refused;
        ++classes_[index].use.refused;
        return nullptr;
    }
    *block = {newest_, &newest_, index, static_cast<u_int32>(size)};
    if (newest_ != nullptr) {
        newest_->link = &block->older;
    }
    newest_ = block;
    add(total_, size);
    add(classes_[index].use, size);
    return block + 1;
}

void memory_account::release(void *memory) {
    if (memory == nullptr) {
        return;
    }
    counted_block *block = static_cast<counted_block *>(memory) - 1;
    memory_.check_out(block);  // before anything that it says is believed
    const u_int32 size = block->size;
    vela_memory_use &use = classes_[block->class_index].use;
    *block->link = block->older;
    if (block->older != nullptr) {
        block->older->link = block->link;
    }
    memory_.release(block);
    --total_.blocks;
    total_.bytes -= size;
    --use.blocks;
    use.bytes -= size;
}

vela_memory_use memory_account::total() const {
    return on_ ? total_ : vela_memory_use{memory_.blocks(), memory_.bytes(), 0, 0};
}

}  // namespace velalib

u_int32 vela_handle_memory_use(const vela_handle *handle, vela_memory_use *total, vela_memory_class_use *classes,
                               u_int32 room) {
    const velalib::memory_account &account = handle->runtime->account;
    if (total != nullptr) {
        *total = account.total();
    }
    for (u_int32 i = 0; i < room && i < account.class_count(); ++i) {
        classes[i] = account.class_at(i);
    }
    return account.class_count();
}

u_int32 vela_handle_set_memory_budget(vela_handle *handle, u_int64 bytes) {
    velalib::memory_account &account = handle->runtime->account;
    if (!account.is_on()) {
        return VELA_EINVAL;
    }
    account.set_budget(bytes);
    return VELA_OK;
}
