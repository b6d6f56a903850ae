// Finds and stores state flags, one at a time and by array.
#include "operations/instance/state_flags.h"

#include "operations/instance/field.h"

namespace ptp_cfg {

static void store_flag(vela_handle *handle, u_int32 mem_class, u_int8 *byte, u_int8 flag) {
    notify(handle, mem_class, byte, 1);
    *byte = flag;
}

static void refuse(const structure_descriptor &type, trace::entry text, vela_handle *handle, u_int32 *err) {
    fail(handle, VELA_EINVAL, err, "the instance is not state tracked");
    emit(type.trace, text);
}

bool mark_tracked(const structure_descriptor &type, const field_descriptor &field, vela_handle *handle,
                  u_int32 mem_class, void *instance, u_int32 element, u_int32 *err) {
    if (tracking_of(handle, type) != tracking::on) {
        return true;
    }
    u_int8 *block = state_block(handle, mem_class, type, instance);
    if (block == nullptr) {
        refuse(type, trace::structure::not_tracked, handle, err);
        return false;
    }
    store_flag(handle, mem_class, block + field.flag_position, flag_set);
    if (field.is_array && element != whole_array) {
        store_flag(handle, mem_class, block + field.flag_position + 1 + element, flag_set);
    }
    return true;
}

/** The block for a flag operation, or nullptr with error 22. */
static u_int8 *block_for(const structure_descriptor &type, trace::entry untracked, vela_handle *handle,
                         u_int32 mem_class, void *instance, u_int32 *err) {
    if (tracking_of(handle, type) == tracking::off) {
        fail(handle, VELA_EINVAL, err, "the handle does not track state");
        return nullptr;
    }
    u_int8 *block = state_block(handle, mem_class, type, instance);
    if (block == nullptr) {
        refuse(type, untracked, handle, err);
    }
    return block;
}

enum class flag_access : u_int8 { get, set };

/** Opens an access by the function {type}_{field}{operation}: its block, or nullptr when it ends here. */
static u_int8 *open_block(const structure_descriptor &type, const field_descriptor &field, const char *operation,
                          flag_access access, vela_handle *handle, u_int32 mem_class, void *instance, u_int32 *err) {
    u_int8 *block = nullptr;
    if (*err == 0) {
        clear_last_error(handle);
        const bool is_set = access == flag_access::set;
        const trace::entry untracked = is_set ? trace::structure::not_tracked : trace::structure::non_tracked;
        block = block_for(type, untracked, handle, mem_class, instance, err);
        if (block == nullptr) {
            name_access(type, field, operation, handle, err);
            return nullptr;
        }
        if (is_set) {
            adjust(handle, mem_class, instance, type.latest, err);
        }
    }
    if (block == nullptr || !has_field(field, instance)) {
        refuse_access(type, field, operation, handle, instance, err);
        return nullptr;
    }
    return block;
}

/** The flag byte of a field, or of an element of an array; nullptr with error 2 beyond the capacity. */
static u_int8 *flag_byte(const structure_descriptor &type, const field_descriptor &field, const char *operation,
                         u_int8 *block, u_int32 element, vela_handle *handle, u_int32 *err) {
    u_int8 *first = block + field.flag_position;
    if (!field.is_array) {
        return first;
    }
    return within(type, field, operation, element, handle, err) ? first + 1 + element : nullptr;
}

u_int8 state_flag_get(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                      const void *instance, u_int32 element, u_int32 *err) {
    const field_descriptor &field = type.fields[index];
    constexpr const char *operation = "_state_flag_get";
    u_int8 *block =
        open_block(type, field, operation, flag_access::get, handle, mem_class, const_cast<void *>(instance), err);
    const u_int8 *byte = block == nullptr ? nullptr : flag_byte(type, field, operation, block, element, handle, err);
    return byte == nullptr ? 0 : *byte;
}

void state_flag_set(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                    void *instance, u_int32 element, u_int8 flag, u_int32 *err) {
    const field_descriptor &field = type.fields[index];
    constexpr const char *operation = "_state_flag_set";
    u_int8 *block = open_block(type, field, operation, flag_access::set, handle, mem_class, instance, err);
    u_int8 *byte = block == nullptr ? nullptr : flag_byte(type, field, operation, block, element, handle, err);
    if (byte != nullptr) {
        store_flag(handle, mem_class, byte, flag);
    }
}

u_int8 state_flag_whole_get(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                            const void *instance, u_int32 *err) {
    const field_descriptor &field = type.fields[index];
    const u_int8 *block = open_block(type, field, "_state_flag_whole_get", flag_access::get, handle, mem_class,
                                     const_cast<void *>(instance), err);
    return block == nullptr ? 0 : block[field.flag_position];
}

void state_flag_whole_set(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                          void *instance, u_int8 flag, u_int32 *err) {
    const field_descriptor &field = type.fields[index];
    u_int8 *block =
        open_block(type, field, "_state_flag_whole_set", flag_access::set, handle, mem_class, instance, err);
    if (block != nullptr) {
        store_flag(handle, mem_class, block + field.flag_position, flag);
    }
}

void state_flag_get_arr(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                        void *instance, u_int8 **flags, u_int32 *err) {
    const field_descriptor &field = type.fields[index];
    u_int8 *block = open_block(type, field, "_state_flag_get_arr", flag_access::get, handle, mem_class, instance, err);
    if (block != nullptr) {
        *flags = block + field.flag_position + 1;
    }
}

void state_flag_set_arr(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                        void *instance, const u_int8 *flags, u_int32 count, u_int32 *err) {
    const field_descriptor &field = type.fields[index];
    u_int8 *block = open_block(type, field, "_state_flag_set_arr", flag_access::set, handle, mem_class, instance, err);
    if (block == nullptr) {
        return;
    }
    if (count != field.capacity) {
        fail_in({type.name, field.name, "_state_flag_set_arr"}, handle, VELA_ENOENT, err,
                "the count is not that of its elements");
        return;
    }
    memcpy(block + field.flag_position, flags, field.capacity);  // without notice, nor shifted: see the header
}

void set_all_state_flags(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance,
                         u_int8 flag) {
    if (tracking_of(handle, type) != tracking::on) {
        return;
    }
    u_int8 *block = state_block(handle, mem_class, type, instance);
    if (block != nullptr) {
        memset(block, flag, type.block_length);
    }
}

}  // namespace ptp_cfg
