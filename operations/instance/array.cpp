// Access to elements and to the whole of array fields.
#include "operations/instance/array.h"

namespace ptp_cfg {

[[gnu::cold, gnu::noinline]] static void refuse_length(const structure_descriptor &type, const field_descriptor &field,
                                                       const char *operation, vela_handle *handle, u_int32 *err) {
    fail_in(accessor_name(type, field, operation), handle, VELA_EINVAL, err, "the length is not one that it can have");
}

static bool length_fits(const structure_descriptor &type, const field_descriptor &field, const char *operation,
                        int32 length, vela_handle *handle, u_int32 *err) {
    if (length >= 0 && length <= static_cast<int32>(field.capacity)) [[likely]] {
        return true;
    }
    refuse_length(type, field, operation, handle, err);
    return false;
}

void array_get_mem(const structure_descriptor &type, u_int32 index, vela_handle *handle, const void *instance,
                   void *destination, int32 length, u_int32 *err) {
    const field_descriptor &field = type.fields[index];
    constexpr const char *operation = "_get_mem";
    if (begin_get(type, field, operation, handle, instance, err) &&
        length_fits(type, field, operation, length, handle, err)) {
        memcpy(destination, storage(field, instance), static_cast<size_t>(length));
    }
}

void array_set_mem(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                   void *instance, const void *source, int32 length, u_int32 *err) {
    const field_descriptor &field = type.fields[index];
    constexpr const char *operation = "_set_mem";
    if (!begin_set(type, field, operation, handle, mem_class, instance, err) ||
        !length_fits(type, field, operation, length, handle, err)) {
        return;
    }
    if (length > 0) {
        notify(handle, mem_class, storage(field, instance), static_cast<size_t>(length));
        memmove(storage(field, instance), source, static_cast<size_t>(length));
    }
    finish_set(type, field, operation, handle, mem_class, instance, whole_array, err);
}

void array_set_element(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                       void *instance, u_int32 element, const void *source, u_int32 *err) {
    const field_descriptor &field = type.fields[index];
    constexpr const char *operation = "_set";
    if (!begin_set(type, field, operation, handle, mem_class, instance, err) || source == nullptr) {
        return;
    }
    structure_set(*field.structure, handle, mem_class, storage(field, instance, element), source, err);
    if (*err != 0) {
        name_access(type, field, operation, handle, err);
        return;
    }
    if (tracking_of(handle, type) != tracking::on) {
        return;
    }
    if ((VELA_CALL(vela_get_instance_obj_flag)(source) & VELA_FLAG_TRACKED) == 0) {
        fail_in(accessor_name(type, field, operation), handle, VELA_EINVAL, err, "the source is not state tracked");
        emit(type.trace, trace::structure::not_tracked);
        return;
    }
    finish_set(type, field, operation, handle, mem_class, instance, element, err);
}

}  // namespace ptp_cfg
