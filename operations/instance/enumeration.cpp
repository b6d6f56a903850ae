// Life of enumerations, and which values a variant admits.
#include "operations/instance/enumeration.h"

#include "operations/core/counting.h"
#include "operations/core/operation_call.h"

namespace ptp_cfg {

void *enumeration_create(const enumeration_descriptor &type, vela_handle *handle, u_int32 mem_class) {
    void *instance = allocate(type.name, type.error_instance, enumeration_size, handle, mem_class);
    if (instance == nullptr || instance == type.error_instance) {
        return instance;
    }
    u_int32 err = 0;
    const int8 variant = domain_variant(handle, type.type_info, &err);
    store_header(handle, mem_class, instance, {type.type_info, variant, 0, true});
    if (err != 0) {
        emit(type.trace, trace::enumeration::create_error, strerror(static_cast<int>(err)));
    }
    const vela_type_info *type_info = header_of(instance)->type_info;
    const vela_variant_table *table = table_at_create(type_info, variant, type.trace, enumeration_header_traces);
    count_instance(handle, mem_class, type_info, &row_of(*table, variant)->created);
    return instance;
}

void *enumeration_create_cr(const enumeration_descriptor &type, vela_handle *handle) {
    handle->chained_mode = 1;
    void *instance = enumeration_create(type, handle, handle->chained_mem_class);
    handle->chained_mode = 0;
    return instance;
}

void enumeration_initialize(const enumeration_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance,
                            const vela_type_info *type_info, bool hooks, u_int8 flags, u_int32 *err) {
    if (*err != 0) {
        return;
    }
    clear_last_error(handle);
    if (instance == nullptr) {
        fail_in({type.name, nullptr, "initialize"}, handle, VELA_EINVAL, err, "the instance is null");
        return;
    }
    // The variant is the domain's own, also above the latest: such an instance admits values beyond this release.
    const int8 variant = domain_variant(handle, type_info, err);
    store_header(handle, mem_class, instance, {type_info, variant, flags, hooks});
}

void enumeration_set_embedded(const enumeration_descriptor &type, vela_handle *handle, u_int32 mem_class,
                              void *instance) {
    if (instance == nullptr) {
        emit(type.trace, trace::enumeration::embedded_null);
        return;
    }
    add_flags(handle, mem_class, instance, VELA_FLAG_EMBEDDED, true);
}

void enumeration_destroy(const enumeration_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance,
                         u_int32 free) {
    if (instance == nullptr || instance == type.error_instance || free == 0) {
        return;
    }
    vela_instance_header *header = header_of(instance);
    const vela_type_info *type_info = header->type_info;
    const vela_variant_table *table =
        table_at_destroy(type_info, header->variant, type.trace, enumeration_header_traces);
    count_instance(handle, mem_class, type_info, &row_of(*table, header->variant)->destroyed);
    header->type_info = nullptr;  // no notice: the memory goes back at once
    handle->free(handle->cookie, mem_class, instance);
}

void refuse_value(const enumeration_descriptor &type, vela_handle *handle, const void *instance, u_int32 *err) {
    fail_epoch(handle, instance, err, "the instance's variant does not have this value");
    name_failure({type.name, nullptr, "set_value"}, handle, err);
}

void refuse_set_value(const enumeration_descriptor &type, vela_handle *handle, u_int32 *err) {
    const call_name call{type.name, nullptr, "set_value"};
    if (*err != 0) {
        trace_refused(type, call, handle, err);
    } else {
        fail_in(call, handle, VELA_EINVAL, err, "an instance is null");
    }
}

u_int32 enumeration_get_value(const enumeration_descriptor &type, vela_handle *handle, const void *instance,
                              u_int32 *err) {
    operation_call call({type.name, nullptr, "get_value"}, handle, err);
    return call.open(type) && call.require(instance != nullptr, "an instance is null") ? *value_of(instance) : 0;
}

void enumeration_set(const enumeration_descriptor &type, vela_handle *handle, u_int32 mem_class, void *destination,
                     const void *source, u_int32 *err) {
    operation_call call({type.name, nullptr, "set"}, handle, err);
    if (!call.open(type) || !call.require(destination != nullptr && source != nullptr, "an instance is null") ||
        !enumeration_admits(type, handle, mem_class, destination, *value_of(source), err)) {
        return;
    }
    notify(handle, mem_class, destination, enumeration_size);
    copy_header(handle, mem_class, header_of(destination), header_of(source), type.type_info, false);
    *value_of(destination) = *value_of(source);
}

u_int32 enumeration_is_valid(const enumeration_descriptor &type, vela_handle *handle, u_int32 value) {
    const int8 variant = domain_variant(handle, type.type_info, &handle->chained_err);
    return variant_needed(type.thresholds, type.latest, value) > variant ? 0 : 1;
}

const char *enumeration_literal(const enumeration_descriptor &type, u_int32 value) {
    // Values ascend without gaps from 0, which the generator checks.
    return value < type.value_count ? type.values[value].literal : nullptr;
}

}  // namespace ptp_cfg
