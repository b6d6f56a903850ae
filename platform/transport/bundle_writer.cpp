// Packing marshalled messages into a bundle.
#include <string.h>

#include "frame.h"

using namespace vela::transport;

// A message goes through three steps: it is offered before it is marshalled, counted after, and committed with its
// length. Only the commit moves `used`, so that a message which fails in between leaves no trace.
struct vela_bundle {
    vela_handle *handle;
    u_int32 mem_class;
    u_int32 capacity;
    u_int32 used;
    u_int32 count;
    enum { nothing, offered, counted } step;
    u_int8 luid[VELA_WIRE_LUID];  // of the message in progress
    u_int8 *bytes;
};

namespace {

u_int32 fail(vela_handle *handle, u_int32 code, u_int32 *err) {
    *err = code;
    if (handle != nullptr) {
        vela_store_err(handle, code);
    }
    return 0;
}

u_int32 room_of(const vela_bundle &bundle) {
    u_int32 left = bundle.capacity - bundle.used;
    return left > VELA_BUNDLE_PREFIX ? left - VELA_BUNDLE_PREFIX : 0;
}

void empty(vela_bundle &bundle) {
    bundle.used = VELA_BUNDLE_HEADER;
    bundle.count = 0;
    bundle.step = vela_bundle::nothing;
}

}  // namespace

vela_bundle *vela_bundle_open(vela_handle *handle, u_int32 mem_class, u_int32 capacity_bytes, u_int32 *err) {
    if (*err != 0) {
        return nullptr;
    }
    constexpr u_int32 least = VELA_BUNDLE_HEADER + VELA_BUNDLE_PREFIX + VELA_BUNDLE_LEAST_MESSAGE;
    if (handle == nullptr || handle->bundle_open != nullptr || capacity_bytes < least) {
        fail(handle, VELA_EINVAL, err);
        return nullptr;
    }
    const size_t spare = 1;  // marshalling state flags may store one byte behind a full buffer
    void *memory = velalib_malloc(handle, mem_class, sizeof(vela_bundle) + capacity_bytes + spare);
    if (memory == nullptr) {
        fail(handle, VELA_ENOMEM, err);
        return nullptr;
    }
    vela_bundle *bundle = static_cast<vela_bundle *>(memory);
    *bundle = vela_bundle{};
    bundle->handle = handle;
    bundle->mem_class = mem_class;
    bundle->capacity = capacity_bytes;
    bundle->bytes = static_cast<u_int8 *>(memory) + sizeof(vela_bundle);
    empty(*bundle);
    handle->bundle_open = bundle;
    return bundle;
}

void vela_bundle_reopen(vela_handle *handle, vela_bundle *bundle, u_int32 *err) {
    if (*err != 0) {
        return;
    }
    if (handle->bundle_open != nullptr || bundle->handle != handle) {
        fail(handle, VELA_EINVAL, err);
        return;
    }
    empty(*bundle);
    handle->bundle_open = bundle;
}

u_int8 *vela_bundle_space(vela_handle *handle, u_int32 *room) {
    vela_bundle *bundle = handle->bundle_open;
    if (room != nullptr) {
        *room = bundle != nullptr ? room_of(*bundle) : 0;
    }
    if (bundle == nullptr) {
        return nullptr;
    }
    bundle->step = vela_bundle::nothing;
    return bundle->bytes + bundle->used + (room_of(*bundle) > 0 ? VELA_BUNDLE_PREFIX : 0);
}

u_int32 vela_bundle_commit(vela_handle *handle, u_int32 length, u_int32 *err) {
    vela_bundle *bundle = handle->bundle_open;
    auto step = vela_bundle::nothing;
    if (bundle != nullptr) {
        step = bundle->step;
        bundle->step = vela_bundle::nothing;
    }
    if (*err != 0) {
        return 0;
    }
    if (bundle == nullptr || step == vela_bundle::offered) {
        return fail(handle, VELA_EINVAL, err);
    }
    if (length > room_of(*bundle)) {
        return fail(handle, VELA_EMSGSIZE, err);
    }
    u_int8 *place = bundle->bytes + bundle->used;
    const u_int8 *message = place + VELA_BUNDLE_PREFIX;
    bool expected =
        message_fault(message, length) == nullptr &&
        (step != vela_bundle::counted || memcmp(message + message_luid_offset, bundle->luid, sizeof bundle->luid) == 0);
    if (!expected) {
        return fail(handle, VELA_EINVAL, err);
    }
    store_u32(place, length);
    bundle->used += VELA_BUNDLE_PREFIX + length;
    return ++bundle->count;
}

u_int32 vela_bundle_add(vela_handle *handle, u_int32 mem_class, vela_bundle_marshal_fn marshal, const void *message,
                        u_int32 *err) {
    u_int32 room = 0;
    u_int8 *space = vela_bundle_space(handle, &room);
    if (*err != 0) {
        return 0;
    }
    if (space == nullptr) {
        return fail(handle, VELA_EINVAL, err);
    }
    u_int32 length = marshal(handle, mem_class, space, message, room, err);
    return vela_bundle_commit(handle, length, err);
}

u_int32 vela_bundle_close(vela_handle *handle, const u_int8 **bytes, u_int32 *length, u_int32 *err) {
    vela_bundle *bundle = handle->bundle_open;
    if (bundle == nullptr) {
        *bytes = nullptr;
        *length = 0;
        return *err != 0 ? 0 : fail(handle, VELA_EINVAL, err);
    }
    handle->bundle_open = nullptr;
    u_int8 *header = bundle->bytes;
    memset(header, 0, VELA_BUNDLE_HEADER);
    store_u32(header, VELA_BUNDLE_MAGIC);
    header[4] = VELA_BUNDLE_VERSION;
    store_u32(header + 8, bundle->count);
    store_u32(header + 12, bundle->used);
    *bytes = bundle->bytes;
    *length = bundle->used;
    return bundle->count;
}

void vela_bundle_abort(vela_handle *handle) {
    if (handle->bundle_open != nullptr) {
        empty(*handle->bundle_open);
        handle->bundle_open = nullptr;
    }
}

void vela_bundle_destroy(vela_bundle *bundle) {
    if (bundle == nullptr) {
        return;
    }
    if (bundle->handle->bundle_open == bundle) {
        bundle->handle->bundle_open = nullptr;
    }
    velalib_free(bundle->handle, bundle->mem_class, bundle);
}

u_int32 bundle_message_validate_add(vela_handle *handle, u_int32, const u_int8 *luid, const char *, u_int32 *err) {
    if (*err != 0) {
        return 0;
    }
    vela_bundle *bundle = handle->bundle_open;
    if (bundle == nullptr || luid == nullptr) {
        return fail(handle, VELA_EINVAL, err);
    }
    if (room_of(*bundle) < VELA_BUNDLE_LEAST_MESSAGE) {
        return fail(handle, VELA_EMSGSIZE, err);
    }
    memcpy(bundle->luid, luid, sizeof bundle->luid);
    bundle->step = vela_bundle::offered;
    return 1;
}

u_int32 bundle_message_increment_count(vela_handle *handle, const u_int8 *luid, u_int32 *err) {
    if (*err != 0) {
        return 0;
    }
    vela_bundle *bundle = handle->bundle_open;
    bool known = bundle != nullptr && luid != nullptr && bundle->step == vela_bundle::offered &&
                 memcmp(bundle->luid, luid, sizeof bundle->luid) == 0;
    if (!known) {
        return fail(handle, VELA_EINVAL, err);
    }
    bundle->step = vela_bundle::counted;
    return 1;
}
