// The accounts of a handle's own allocator, for handles that ask for them.
#pragma once

#include "allocator.h"
#include "pointer_map.h"
#include "velalib/memory_use.h"

namespace velalib {

/** Stands between a handle and its allocator: counts each block in its class, and holds all of them to a budget. */
class memory_account {
  public:
    explicit memory_account(block_allocator &memory) : memory_(memory) {}
    ~memory_account();
    memory_account(const memory_account &) = delete;
    memory_account &operator=(const memory_account &) = delete;

    /** Switches accounting on; a budget of 0 is no limit. To be called before the first allocation. */
    void start(u_int64 budget);
    bool is_on() const { return on_; }
    void set_budget(u_int64 bytes) { budget_ = bytes == 0 ? UINT64_MAX : bytes; }

    /** As the allocator's own; nullptr also beyond the budget. */
    void *allocate(u_int32 mem_class, size_t size);
    void release(void *memory);

    vela_memory_use total() const;
    u_int32 class_count() const { return class_count_; }
    const vela_memory_class_use &class_at(u_int32 index) const { return classes_[index]; }

    /** Calls visit(address, size, memory class) for each block that is out, newest first. */
    template <typename Visit>
    void for_each_block(Visit visit) const {
        for (const counted_block *block = newest_; block != nullptr; block = block->older) {
            visit(block + 1, block->size, classes_[block->class_index].mem_class);
        }
    }

  private:
    /** In front of each block. */
    struct alignas(16) counted_block {
        counted_block *older;
        counted_block **link;  // where the pointer to this block is kept
        u_int32 class_index;
        u_int32 size;
    };

    bool find_class(u_int32 mem_class, u_int32 *index);
    bool add_class(u_int32 mem_class, u_int32 *index);

    block_allocator &memory_;
    bool on_ = false;
    u_int64 budget_ = UINT64_MAX;
    vela_memory_use total_ = {};
    counted_block *newest_ = nullptr;
    vela_memory_class_use *classes_ = nullptr;
    u_int32 class_count_ = 0;
    u_int32 class_capacity_ = 0;
    u_int32 last_class_ = 0;              // index that was asked for last: most callers have one class
    pointer_map<u_int32> class_indices_;  // by class + 1, for there is no address 0
};

}  // namespace velalib
