// The allocator of a handle: size classes carved from chunks, large blocks apart, all freed with the handle.
#include "allocator.h"

#include <bit>
#include <cstdio>
#include <cstdlib>

#include "memory_watch.h"

namespace velalib {

namespace {

// Fields of eight bytes then lie within a cache line and within a page, also those behind an instance's header that
// are not aligned themselves: a store across two pages takes ten times as long.
constexpr size_t alignment = 32;
constexpr size_t header_size = 16;            // in front of each block, which begins behind it at an aligned address
constexpr size_t largest_fine_size = 528;     // up to here a class every 32 bytes: 16, 48, 80, ...
constexpr size_t largest_class_size = 16384;  // up to here four classes per doubling, above blocks of their own
constexpr uint32_t fine_classes = (largest_fine_size - header_size) / alignment + 1;
constexpr size_t largest_chunk_size = 256 * 1024;

constexpr uint16_t block_out = 0x5AFE;
constexpr uint16_t block_free = 0xF4EE;
constexpr uint16_t apart_class = 0xFFFF;

}  // namespace

struct block_allocator::block_header {
    block_allocator *owner;
    uint32_t size;  // as asked for
    uint16_t class_index;
    uint16_t state;
};

/** A block that is an allocation of its own; its block_header is part of it and stands last. */
struct block_allocator::apart_block {
    apart_block *next;
    apart_block **link;  // where the pointer to this block is kept
    block_header header;
};

struct block_allocator::free_block {
    free_block *next;
};

struct alignas(16) block_allocator::chunk {
    chunk *next;
};

block_allocator::block_allocator() : first_apart_size_(memory_is_watched() ? 0 : largest_class_size + 1) {}

block_allocator::~block_allocator() {
    while (apart_ != nullptr) {
        apart_block *next = apart_->next;
        std::free(apart_);
        apart_ = next;
    }
    while (chunks_ != nullptr) {
        chunk *next = chunks_->next;
        std::free(chunks_);
        chunks_ = next;
    }
}

uint32_t block_allocator::class_of(size_t size) {
    if (size <= largest_fine_size) {
        return static_cast<uint32_t>((size + header_size - 1) / alignment);
    }
    const uint32_t shift = static_cast<uint32_t>(std::bit_width(size - 1)) - 3;
    return fine_classes + (shift - 7) * 4 + static_cast<uint32_t>((size - 1) >> shift) - 4;
}

size_t block_allocator::class_size(uint32_t index) {
    if (index < fine_classes) {
        return index * alignment + header_size;
    }
    const uint32_t step = index - fine_classes;
    return size_t{step % 4 + 5} << (step / 4 + 7);
}

void *block_allocator::allocate(size_t size) {
    static_assert(sizeof(block_header) == header_size && sizeof(apart_block) % header_size == 0);
    if (size >= first_apart_size_) {
        return allocate_apart(size);
    }
    const uint32_t index = class_of(size);
    void *memory = free_[index];
    if (memory != nullptr) {
        free_[index] = free_[index]->next;
    } else {
        char *block = static_cast<char *>(carve(sizeof(block_header) + class_size(index)));
        if (block == nullptr) {
            return nullptr;
        }
        memory = block + sizeof(block_header);
    }
    static_cast<block_header *>(memory)[-1] = {this, static_cast<uint32_t>(size), static_cast<uint16_t>(index),
                                               block_out};
    ++blocks_;
    bytes_ += size;
    return memory;
}

[[gnu::always_inline]] inline bool block_allocator::is_out(const block_header &header) const {
    return header.owner == this && header.state == block_out;
}

void block_allocator::refuse(const void *memory) const {
    const block_header &header = static_cast<const block_header *>(memory)[-1];
    if (header.owner == this && header.state == block_free) {
        std::fprintf(stderr, "velalib: block %p of %u bytes was freed before\n", memory, header.size);
    } else {
        std::fprintf(stderr, "velalib: block %p is not allocated from this handle\n", memory);
    }
    std::abort();
}

void block_allocator::check_out(const void *memory) const {
    if (!is_out(static_cast<const block_header *>(memory)[-1])) {
        refuse(memory);
    }
}

void block_allocator::release(void *memory) {
    if (memory == nullptr) {
        return;
    }
    block_header &header = static_cast<block_header *>(memory)[-1];
    if (!is_out(header)) {
        refuse(memory);
    }
    --blocks_;
    bytes_ -= header.size;
    header.state = block_free;
    if (header.class_index == apart_class) {
        release_apart(reinterpret_cast<apart_block *>(static_cast<char *>(memory) - sizeof(apart_block)));
        return;
    }
    free_block *block = static_cast<free_block *>(memory);
    block->next = free_[header.class_index];
    free_[header.class_index] = block;
}

void *block_allocator::allocate_apart(size_t size) {
    if (size > UINT32_MAX - sizeof(apart_block)) {
        return nullptr;
    }
    apart_block *block = static_cast<apart_block *>(std::malloc(sizeof(apart_block) + size));
    if (block == nullptr) {
        return nullptr;
    }
    block->next = apart_;
    block->link = &apart_;
    block->header = {this, static_cast<uint32_t>(size), apart_class, block_out};
    if (apart_ != nullptr) {
        apart_->link = &block->next;
    }
    apart_ = block;
    ++blocks_;
    bytes_ += size;
    return block + 1;
}

void block_allocator::release_apart(apart_block *block) {
    *block->link = block->next;
    if (block->next != nullptr) {
        block->next->link = block->link;
    }
    std::free(block);
}

void *block_allocator::allocate_for_good(size_t size) { return carve(size); }

/** Takes the next `size` bytes or a few more from a chunk, from 16 bytes behind an aligned address on. */
void *block_allocator::carve(size_t size) {
    static_assert(sizeof(chunk) == header_size);
    size = (size + alignment - 1) / alignment * alignment;
    if (unused_size_ < size) {
        const size_t wanted = size + alignment;
        const size_t room = wanted > next_chunk_size_ ? wanted : next_chunk_size_;
        chunk *fresh = static_cast<chunk *>(std::aligned_alloc(alignment, room));
        if (fresh == nullptr) {
            return nullptr;
        }
        fresh->next = chunks_;
        chunks_ = fresh;
        unused_ = reinterpret_cast<char *>(fresh + 1);
        unused_size_ = room - sizeof(chunk);
        if (next_chunk_size_ < largest_chunk_size) {
            next_chunk_size_ *= 2;
        }
    }
    void *memory = unused_;
    unused_ += size;
    unused_size_ -= size;
    return memory;
}

}  // namespace velalib
