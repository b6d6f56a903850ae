/**
 * What a handle's own allocator has given out: totals, shares of the memory classes, a budget, and what was left.
 *
 * All of it is for handles without an allocator of the application. It is off until an option of the handle asks for
 * it (memory_accounting, memory_budget or left_behind), and costs nothing before; then each block has 32 bytes in
 * front that its size does not count.
 *
 * Counted is what is allocated through the handle: instances, texts, payloads, velalib_malloc(). Not counted is what
 * the runtime keeps for itself: type-information copies, the work buffer, references and state-tracking offsets.
 */
#ifndef VELALIB_MEMORY_USE_H
#define VELALIB_MEMORY_USE_H

#include "velalib/types.h"

VELA_BEGIN_C

struct vela_handle;

/** Blocks that a handle, or one memory class of it, has out. Sizes are those that were asked for. */
typedef struct vela_memory_use {
    u_int64 blocks;     /**< out now */
    u_int64 bytes;      /**< out now */
    u_int64 peak_bytes; /**< most that were out at once; 0 without accounting */
    u_int64 refused;    /**< allocations that the budget or the system refused; 0 without accounting */
} vela_memory_use;

/** The share of a memory class. A block stays with the class it was allocated in, whichever it is freed in. */
typedef struct vela_memory_class_use {
    u_int32 mem_class;
    vela_memory_use use;
} vela_memory_class_use;

/** A block that was out when its handle was destroyed. */
typedef struct vela_left_block {
    const void *address;
    u_int64 size;
    u_int32 mem_class;     /**< the class it was allocated in */
    const char *type_name; /**< when it begins as an instance of a loaded module's type, else NULL */
} vela_left_block;

/** Told of a block that is left, newest first, while its content is still there. It must not use the handle. */
typedef void (*vela_left_behind_fn)(void *cookie, const vela_left_block *block);

/**
 * Reads the accounts of a handle.
 * @param total    NULL, or receives all classes together. Without accounting: blocks and bytes only; with an allocator
 *                 of the application: zeros
 * @param classes  receives at most `room` classes, in the order of their first use; may be NULL when `room` is 0
 * @return the number of classes, which may be more than `room`; 0 without accounting
 */
VELA_API u_int32 vela_handle_memory_use(const struct vela_handle *handle, vela_memory_use *total,
                                        vela_memory_class_use *classes, u_int32 room);

/**
 * Changes the budget. Below what is out now it takes nothing away: nothing more is given until enough has been freed.
 * @param bytes  that may be out at once; 0: no limit
 * @return 0, or VELA_EINVAL when the handle keeps no accounts
 */
VELA_API u_int32 vela_handle_set_memory_budget(struct vela_handle *handle, u_int64 bytes);

VELA_END_C

#endif
