// Reads and writes what instance headers hold.
#include "operations/instance/header.h"

namespace ptp_cfg {

const header_traces enumeration_header_traces = {
    trace::enumeration::embedded_null,    trace::enumeration::oid_count_error, trace::enumeration::oid_count_null,
    trace::enumeration::references_error, trace::enumeration::references_null, trace::enumeration::destroy_tinfo,
    trace::enumeration::destroy_varinfo,  trace::enumeration::destroy_variant, trace::enumeration::create_varinfo,
    trace::enumeration::create_variant};

const header_traces structure_header_traces = {trace::structure::embedded_null,   trace::structure::oid_count_error,
                                               trace::structure::oid_count_null,  trace::structure::references_error,
                                               trace::structure::references_null, trace::structure::destroy_tinfo,
                                               trace::structure::destroy_varinfo, trace::structure::destroy_variant,
                                               trace::structure::create_varinfo,  trace::structure::create_variant};

// Messages hold no header operations but create and destroy.
const header_traces message_header_traces = {{},
                                             {},
                                             {},
                                             {},
                                             {},
                                             trace::message::destroy_tinfo,
                                             trace::message::destroy_varinfo,
                                             trace::message::destroy_variant,
                                             trace::message::create_varinfo,
                                             trace::message::create_variant};

void *allocate(const char *type, void *error_instance, u_int32 size, vela_handle *handle, u_int32 mem_class) {
    const bool chained = handle->chained_mode != 0;
    if (chained && handle->chained_err != 0) {
        return error_instance;
    }
    void *instance = handle->alloc(handle->cookie, mem_class, size);
    if (instance != nullptr) {
        return memset(instance, 0, size);
    }
    if (chained) {
        fail_in({type, nullptr, "create_cr"}, handle, VELA_ENOMEM, &handle->chained_err);
        return error_instance;
    }
    return nullptr;
}

void add_flags(vela_handle *handle, u_int32 mem_class, void *instance, u_int8 flags, bool hooks) {
    u_int8 *byte = &header_of(instance)->flags;
    if (hooks) {
        notify(handle, mem_class, byte, 1);
    }
    *byte = static_cast<u_int8>(*byte | flags);
}

void store_header(vela_handle *handle, u_int32 mem_class, void *instance, const header_values &values) {
    vela_instance_header *header = header_of(instance);
    if (values.hooks) {
        notify(handle, mem_class, &header->allocated_variant, 1);
    }
    header->allocated_variant = values.variant;
    if (values.hooks) {
        notify(handle, mem_class, &header->variant, 1);
    }
    header->variant = values.variant;
    const vela_type_info **pointer = VELA_CALL(vela_get_manifested_type_info_ptr_mem)(instance);
    const vela_type_info *type_info = type_info_for(handle, mem_class, values.type_info);
    if (values.hooks) {
        notify(handle, mem_class, pointer, sizeof *pointer);
    }
    *pointer = type_info;
    add_flags(handle, mem_class, instance, values.flags, values.hooks);
}

void copy_header(vela_handle *handle, u_int32 mem_class, vela_instance_header *destination,
                 const vela_instance_header *source, const vela_type_info *type_info, bool nested) {
    constexpr u_int8 of_memory = VELA_FLAG_OID | VELA_FLAG_TRACKED | VELA_FLAG_STTR_OFFSET | VELA_FLAG_OWNED_BLOCK;
    constexpr u_int8 of_nested = of_memory | VELA_FLAG_EMBEDDED | VELA_FLAG_NESTED;
    const u_int8 own = destination->flags;
    const bool is_there = destination->type_info != nullptr;  // else memory that holds no instance yet
    const u_int8 kept = is_there && (nested || (own & VELA_FLAG_NESTED) != 0) ? of_nested : of_memory;
    if ((own & VELA_FLAG_OWNED_BLOCK) == 0) {  // else the pointer is what the instance frees
        destination->type_info = type_info_for(handle, mem_class, type_info);
    }
    destination->variant = source->variant;
    destination->allocated_variant = source->allocated_variant;
    destination->flags = static_cast<u_int8>((source->flags & ~kept) | (own & kept));
}

static vela_variant_table *checked_table(const vela_type_info *type_info, int8 variant,
                                         const bitlog_trace_points &points, trace::entry varinfo, trace::entry beyond) {
    vela_variant_table *table = type_info->variant_table;
    if (table == nullptr) {
        fatal(points, varinfo);
    }
    if (table->count < variant) {
        emit(points, beyond, static_cast<u_int32>(variant), static_cast<u_int32>(table->count));
    }
    return table;
}

vela_variant_table *table_at_create(const vela_type_info *type_info, int8 variant, const bitlog_trace_points &points,
                                    const header_traces &traces) {
    return checked_table(type_info, variant, points, traces.create_varinfo, traces.create_variant);
}

vela_variant_table *table_at_destroy(const vela_type_info *type_info, int8 variant, const bitlog_trace_points &points,
                                     const header_traces &traces) {
    if (type_info == nullptr || type_info->magic != VELA_TYPE_INFO_MAGIC) {
        fatal(points, traces.destroy_tinfo);
    }
    return checked_table(type_info, variant, points, traces.destroy_varinfo, traces.destroy_variant);
}

u_int32 oid_count(const bitlog_trace_points &points, const header_traces &traces, vela_handle *handle,
                  const void *instance, u_int32 *err) {
    if (*err != 0) {
        emit(points, traces.oid_count_error);
        return 0;
    }
    clear_last_error(handle);
    if (instance == nullptr) {
        emit(points, traces.oid_count_null);
        fail_in({points.subject, nullptr, "get_oid_count"}, handle, VELA_EINVAL, err, "the instance is null");
    }
    return 0;
}

void object_references(const bitlog_trace_points &points, const header_traces &traces, vela_handle *handle,
                       const void *instance, u_int32 *err) {
    if (*err != 0) {
        emit(points, traces.references_error);
        return;
    }
    clear_last_error(handle);
    if (instance == nullptr) {
        emit(points, traces.references_null);
        fail_in({points.subject, nullptr, "get_object_references"}, handle, VELA_EINVAL, err, "the instance is null");
    }
}

}  // namespace ptp_cfg
