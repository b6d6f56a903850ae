// The ends of accesses that fail, and fields set from instances and texts.
#include "operations/instance/field.h"

#include "operations/core/visit.h"

namespace ptp_cfg {

call_name accessor_name(const structure_descriptor &type, const field_descriptor &field, const char *operation) {
    call_name call{type.name, field.name, operation};
    if (strcmp(operation, "_set_mem") == 0) {
        call.chained = "_set_mem_cr";
    } else if (field.kind == field_kind::var_string && strcmp(operation, "_set") == 0) {
        call.chained = "_set_cr";
    }
    return call;
}

u_int64 refuse_access(const structure_descriptor &type, const field_descriptor &field, const char *operation,
                      vela_handle *handle, const void *instance, u_int32 *err) {
    const call_name call = accessor_name(type, field, operation);
    if (*err != 0) {
        trace_refused(type, call, handle, err);
        return 0;
    }
    fail_epoch(handle, instance, err, "the instance's variant does not have it");
    name_failure(call, handle, err);
    return 0;
}

u_int64 refuse_index(const structure_descriptor &type, const field_descriptor &field, const char *operation,
                     vela_handle *handle, u_int32 *err) {
    fail_in(accessor_name(type, field, operation), handle, VELA_ENOENT, err, "the index is beyond its elements");
    return 0;
}

void name_access(const structure_descriptor &type, const field_descriptor &field, const char *operation,
                 vela_handle *handle, const u_int32 *err) {
    name_failure(accessor_name(type, field, operation), handle, err);
}

void field_set(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class, void *instance,
               u_int32 element, const void *source, u_int32 *err) {
    const field_descriptor &field = type.fields[index];
    constexpr const char *operation = "_set";
    if (!begin_set(type, field, operation, handle, mem_class, instance, err) ||
        !within(type, field, operation, element, handle, err)) {
        return;
    }
    u_int8 *value = storage(field, instance, element);
    visit_kind(
        field, [&](const enumeration_descriptor &of) { enumeration_set(of, handle, mem_class, value, source, err); },
        [&](const structure_descriptor &of) { structure_set(of, handle, mem_class, value, source, err); },
        [](text_kind) {},  // text_set() has its own accessor
        [&](auto primitive) {
            using P = decltype(primitive);
            P::set(handle, mem_class, as<typename P::type>(value), static_cast<const typename P::type *>(source), err);
        });
    finish_set(type, field, operation, handle, mem_class, instance, element, err);
}

// ---- texts ---------------------------------------------------------------------------------------------------------

const char *text_get(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                     void *instance, u_int32 *err) {
    const void *text = field_get(type, index, handle, mem_class, instance, 0, err);
    if (text == nullptr) {
        return nullptr;
    }
    const char *characters = *static_cast<const var_string *>(text);
    return characters == nullptr ? "" : characters;
}

void text_set(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class, void *instance,
              const char *characters, u_int32 count, u_int32 *err) {
    const field_descriptor &field = type.fields[index];
    constexpr const char *operation = "_set";
    if (!begin_set(type, field, operation, handle, mem_class, instance, err)) {
        return;
    }
    const u_int8 kept = static_cast<u_int8>(count);
    var_string_set(handle, mem_class, as<var_string>(storage(field, instance)), characters, kept, err);
    if (*err == 0) {
        u_int8 *companion = at(instance, field.companion_offset);
        notify(handle, mem_class, companion, 1);
        *companion = kept;
    }
    finish_set(type, field, operation, handle, mem_class, instance, 0, err);
}

}  // namespace ptp_cfg
