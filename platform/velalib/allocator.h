// The default memory of a handle: size-class free lists over chunks, all of it returned with the handle.
#pragma once

#include <cstddef>
#include <cstdint>

namespace velalib {

/**
 * Blocks are aligned to 32 bytes, large ones to 16, and never moved. A chunk is only returned with the whole allocator.
 *
 * When memcheck or an address sanitizer watches the process, each block is an allocation of its own, so that they see
 * overruns and what is used after it was freed.
 */
class block_allocator {
  public:
    block_allocator();
    ~block_allocator();
    block_allocator(const block_allocator &) = delete;
    block_allocator &operator=(const block_allocator &) = delete;

    /** Uninitialised memory, or nullptr. */
    void *allocate(size_t size);
    /** Takes back what allocate() gave; a block that is not out, or another allocator's, aborts the process. */
    void release(void *memory);
    /** Aborts the process as release() would; changes nothing. */
    void check_out(const void *memory) const;
    /** Memory that stays until the allocator goes and is not counted, or nullptr. */
    void *allocate_for_good(size_t size);

    /** Blocks and bytes that are out. */
    uint64_t blocks() const { return blocks_; }
    uint64_t bytes() const { return bytes_; }

  private:
    struct block_header;
    struct apart_block;
    struct free_block;
    struct chunk;

    static constexpr uint32_t class_count = 37;

    bool is_out(const block_header &header) const;
    [[noreturn, gnu::cold]] void refuse(const void *memory) const;
    static uint32_t class_of(size_t size);
    static size_t class_size(uint32_t index);
    void *allocate_apart(size_t size);
    void release_apart(apart_block *block);
    void *carve(size_t size);

    free_block *free_[class_count] = {};
    char *unused_ = nullptr;  // rest of the newest chunk
    size_t unused_size_ = 0;
    size_t next_chunk_size_ = 8 * 1024;
    chunk *chunks_ = nullptr;
    size_t first_apart_size_;  // from here on blocks are allocations of their own
    apart_block *apart_ = nullptr;
    uint64_t blocks_ = 0;
    uint64_t bytes_ = 0;
};

}  // namespace velalib
