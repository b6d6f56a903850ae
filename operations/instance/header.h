// Operations that touch only the instance header, and are the same for every kind of type.
#pragma once

#include "operations/core/errors.h"
#include "operations/core/instances.h"

namespace ptp_cfg {

/** Message texts of the header operations; each kind of type has its own numbers for them. */
struct header_traces {
    trace::entry embedded_null;
    trace::entry oid_count_error;
    trace::entry oid_count_null;
    trace::entry references_error;
    trace::entry references_null;
    trace::entry destroy_tinfo;
    trace::entry destroy_varinfo;
    trace::entry destroy_variant;
    trace::entry create_varinfo;
    trace::entry create_variant;
};

extern const header_traces enumeration_header_traces;
extern const header_traces structure_header_traces;
extern const header_traces message_header_traces;

/**
 * Zeroed memory for an instance; nullptr when there is none. A chain that has failed, or fails at this, goes on with the
 * type's error instance.
 */
void *allocate(const char *type, void *error_instance, u_int32 size, vela_handle *handle, u_int32 mem_class);

/** How initialise stores the header of an instance. */
struct header_values {
    const vela_type_info *type_info;  // the static one of the type
    int8 variant;
    u_int8 flags;  // ORed into the flag byte
    bool hooks;    // notify of each store
};

/** Stores allocated variant, variant, type pointer and flag bits, in this order. */
void store_header(vela_handle *handle, u_int32 mem_class, void *instance, const header_values &values);

/** ORs bits into the flag byte. */
void add_flags(vela_handle *handle, u_int32 mem_class, void *instance, u_int8 flags, bool hooks);

/**
 * Copies a header over another. What its flags tell of memory stays with the memory: who frees it, who refers to it,
 * whether it has a block of state flags and where. The type pointer becomes that of `type_info` under this handle.
 * @param nested  true: the destination lies in a parent, and also stays what it is to that
 */
void copy_header(vela_handle *handle, u_int32 mem_class, vela_instance_header *destination,
                 const vela_instance_header *source, const vela_type_info *type_info, bool nested);

/** The variant table that counts a new instance; ends the process when there is none. */
vela_variant_table *table_at_create(const vela_type_info *type_info, int8 variant, const bitlog_trace_points &points,
                                    const header_traces &traces);
/** The same when an instance goes; its type pointer must be sound too. */
vela_variant_table *table_at_destroy(const vela_type_info *type_info, int8 variant, const bitlog_trace_points &points,
                                     const header_traces &traces);

/** The checks of get_oid_count and get_object_references; neither kind holds object identifiers of its own. */
u_int32 oid_count(const bitlog_trace_points &points, const header_traces &traces, vela_handle *handle,
                  const void *instance, u_int32 *err);
void object_references(const bitlog_trace_points &points, const header_traces &traces, vela_handle *handle,
                       const void *instance, u_int32 *err);

}  // namespace ptp_cfg
