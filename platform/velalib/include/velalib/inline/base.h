/** What all inline forms use: forced inlining, the failure path and the notice of a store. */
#ifndef VELALIB_INLINE_BASE_H
#define VELALIB_INLINE_BASE_H

#include <string.h>

#include "velalib/handle.h"
#include "velalib/object_reference.h"
#include "velalib/runtime.h"

/** Marks a form that must melt into its caller. */
#define VELA_INLINE __attribute__((always_inline)) inline

namespace vela_inline {

/** The part of the runtime's state that inline forms look at; it stands first in it. */
struct runtime_front {
    u_int32 address_references; /**< number of `en_address` fields that hold references */
    int32 work_buffer_room;     /**< bytes of the handle's work buffer, 0 before it is first asked for */
};

/** Stores a failure in *err and in the handle; returns 0 for the caller to pass on. */
[[gnu::cold, gnu::noinline]] inline u_int32 fail(vela_handle *handle, u_int32 *err, u_int32 code) {
    handle->last_error.code = code;
    handle->last_error.epoch = 0;
    *err = code;
    vela_note_failure(handle, code, nullptr);
    return 0;
}

/** Tells the handle's owner which bytes are about to change. */
VELA_INLINE void notify(const vela_handle *handle, u_int32 mem_class, void *address, size_t length) {
    if (handle->pre_write != nullptr) [[unlikely]] {
        handle->pre_write(handle->cookie, address, length, mem_class);
    }
}

VELA_INLINE void notify_counter(vela_handle *handle, u_int32 mem_class, void *address) {
    if (handle->pre_write_counter != nullptr) [[unlikely]] {
        handle->pre_write_counter(handle->cookie, address, 1, mem_class);
    }
}

}  // namespace vela_inline

#endif
