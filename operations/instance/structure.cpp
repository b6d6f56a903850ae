// Create, initialise and destroy, in the order that runtimes see.
#include "operations/instance/structure.h"

#include "operations/core/counting.h"
#include "operations/core/tracking.h"
#include "operations/instance/enumeration.h"
#include "operations/instance/object_references.h"

namespace ptp_cfg {

u_int32 structure_sizeof(const structure_descriptor &type, vela_handle *handle) {
    return tracking_of(handle, type) == tracking::on ? type.size + type.block_length : type.size;
}

// ---- create and initialise ---------------------------------------------------------------------------------------

void *structure_create(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class) {
    trace_initialize();
    return structure_create_internal(type, handle, mem_class);
}

void *structure_create_internal(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class) {
    void *instance = allocate(type.name, type.error_instance, structure_sizeof(type, handle), handle, mem_class);
    if (instance == nullptr || instance == type.error_instance) {
        return instance;
    }
    u_int32 err = 0;
    structure_initialize(type, handle, mem_class, instance, type.type_info, true, false, 0, nullptr, &err);
    if (err != 0) {
        emit(type.trace, trace::structure::create_error, strerror(static_cast<int>(err)));
        u_int32 ignored = 0;
        structure_offset_remove(type, handle, mem_class, instance, &ignored);
        handle->free(handle->cookie, mem_class, instance);
        if (handle->chained_mode != 0) {
            fail_in({type.name, nullptr, "create_cr"}, handle, err, &handle->chained_err, "it cannot be initialised");
        }
        return nullptr;
    }
    return instance;
}

void *structure_create_cr(const structure_descriptor &type, vela_handle *handle) {
    trace_initialize();
    handle->chained_mode = 1;
    void *instance = structure_create_internal(type, handle, handle->chained_mem_class);
    handle->chained_mode = 0;
    return instance;
}

static u_int8 *block_base(vela_handle *handle, u_int32 mem_class, const structure_descriptor &type, void *instance,
                          u_int8 *sttr_base) {
    if ((header_of(instance)->flags & VELA_FLAG_STTR_OFFSET) != 0) {
        return static_cast<u_int8 *>(instance) + velalib_get_sttr_offset(handle, mem_class, instance);
    }
    return sttr_base != nullptr ? sttr_base : at(instance, type.size);
}

/** Keeps the place of one nested block; the runtime marks the instance when it has done so. */
static void keep_offset(vela_handle *handle, u_int32 mem_class, void *nested, const u_int8 *block, u_int32 *err) {
    velalib_update_sttr_offset(handle, mem_class, nested, block - static_cast<u_int8 *>(nested));
    if ((header_of(nested)->flags & VELA_FLAG_STTR_OFFSET) == 0) {
        fail(handle, VELA_ENOMEM, err, "no memory for the place of a state-flag block");
    }
}

static void initialize_fields(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance,
                              bool hooks, bool embedded, u_int8 *sttr_base, bool tracked, u_int32 *err) {
    for_each_embedded(type, [&](const field_descriptor &field, u_int32 element) {
        void *nested = storage(field, instance, element);
        if (field.enumeration != nullptr) {
            enumeration_initialize(*field.enumeration, handle, mem_class, nested, field.enumeration->type_info, hooks,
                                   VELA_FLAG_NESTED, err);
            return;
        }
        u_int8 *base = sttr_base;
        if (tracked) {
            base = block_base(handle, mem_class, type, instance, sttr_base);
            keep_offset(handle, mem_class, nested, nested_block(base, field, element), err);
        }
        structure_initialize(*field.structure, handle, mem_class, nested, field.structure->type_info, hooks, embedded,
                             VELA_FLAG_NESTED, base, err);
    });
}

void structure_initialize(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance,
                          const vela_type_info *type_info, bool hooks, bool embedded, u_int8 flags, u_int8 *sttr_base,
                          u_int32 *err) {
    if (*err != 0) {
        return;
    }
    clear_last_error(handle);
    if (instance == nullptr) {
        fail_in({type.name, nullptr, "initialize"}, handle, VELA_EINVAL, err, "the instance is null");
        return;
    }
    const int8 variant = cap_variant(domain_variant(handle, type_info, err), type.latest);
    store_header(handle, mem_class, instance, {type_info, variant, flags, hooks});
    const bool tracked = tracking_of(handle, type) == tracking::on;
    if (tracked) {
        add_flags(handle, mem_class, instance, VELA_FLAG_TRACKED, hooks);
    }
    if (!embedded) {
        const vela_type_info *own = VELA_CALL(vela_get_manifested_type_info)(instance);
        const vela_variant_table *table = table_at_create(own, variant, type.trace, structure_header_traces);
        VELA_CALL(velalib_type_stats_create_object)(handle, mem_class, own, row_of(*table, variant), err);
        if (tracked && (header_of(instance)->flags & VELA_FLAG_NESTED) != 0 && sttr_base == nullptr) {
            fail_in({type.name, nullptr, "initialize"}, handle, VELA_EINVAL, err,
                    "a nested instance without its parent's state flags");
            emit(type.trace, trace::structure::sttr_base_null);
            return;
        }
    }
    initialize_fields(type, handle, mem_class, instance, hooks, embedded, sttr_base, tracked, err);
}

void structure_set_embedded(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance) {
    if (instance == nullptr) {
        emit(type.trace, trace::structure::embedded_null);
        return;
    }
    for_each_embedded(type, [&](const field_descriptor &field, u_int32 element) {
        void *nested = storage(field, instance, element);
        if (field.structure != nullptr) {
            structure_set_embedded(*field.structure, handle, mem_class, nested);
        } else {
            add_flags(handle, mem_class, nested, VELA_FLAG_EMBEDDED, true);
        }
    });
    add_flags(handle, mem_class, instance, VELA_FLAG_EMBEDDED, true);
}

// ---- destroy -----------------------------------------------------------------------------------------------------

void structure_destroy(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance) {
    if (instance != type.error_instance) {
        structure_destroy_internal(type, handle, mem_class, instance, 1);
    }
}

/** Gives back what the fields own; false stops the destroy and leaves the instance allocated. */
static bool destroy_fields(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance) {
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        for (u_int32 element = 0; element < field.capacity; ++element) {
            u_int8 *value = storage(field, instance, element);
            switch (field.kind) {
                case field_kind::structure:
                    structure_destroy_internal(*field.structure, handle, mem_class, value, 0);
                    break;
                case field_kind::en_address:
                    if (!release_references(type, handle, mem_class, as<en_address>(value))) {
                        return false;
                    }
                    break;
                case field_kind::var_string:
                    var_string_destroy_internal(handle, mem_class, as<var_string>(value), 0);
                    break;
                default:
                    break;
            }
        }
    }
    return true;
}

static void free_instance(vela_handle *handle, u_int32 mem_class, void *instance) {
    vela_instance_header *header = header_of(instance);
    if ((header->flags & VELA_FLAG_OWNED_BLOCK) != 0 && header->type_info != nullptr) {
        handle->free(handle->cookie, mem_class, const_cast<vela_type_info *>(header->type_info));
    }
    notify(handle, mem_class, &header->type_info, sizeof header->type_info);
    header->type_info = nullptr;
    handle->free(handle->cookie, mem_class, instance);
}

void structure_destroy_internal(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class,
                                void *instance, u_int32 free) {
    if (instance == nullptr || instance == type.error_instance) {
        return;
    }
    vela_instance_header *header = header_of(instance);
    if ((header->flags & VELA_FLAG_OID) != 0 && !remove_oid_mapping(type, handle, mem_class, instance)) {
        return;
    }
    if (!destroy_fields(type, handle, mem_class, instance)) {
        return;
    }
    u_int32 err = 0;
    const vela_type_info *type_info = VELA_CALL(vela_get_manifested_type_info)(instance);
    const vela_variant_table *table = table_at_destroy(type_info, header->variant, type.trace, structure_header_traces);
    const int8 variant = cap_variant(header->variant, type.latest);
    VELA_CALL(velalib_type_stats_destroy_object)(handle, mem_class, type_info, row_of(*table, variant), &err);
    if ((header->flags & (VELA_FLAG_STTR_OFFSET | VELA_FLAG_EXTRA_DATA)) != 0 && handle->hd_mapping != 0) {
        err = 0;
        vela_hd_mapping_destroy(handle, mem_class, instance, &err);
        if (err != 0) {
            emit(type.trace, trace::structure::destroy_oid_failed, strerror(static_cast<int>(err)));
            VELA_CALL(vela_store_err)(handle, err);
            return;
        }
    }
    if (free != 0) {
        free_instance(handle, mem_class, instance);
    }
}

// ---- places of nested blocks ---------------------------------------------------------------------------------------

void structure_offset_update(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance,
                             u_int8 *sttr_base) {
    if (instance == nullptr || sttr_base == nullptr) {
        return;
    }
    for_each_nested(type, [&](const field_descriptor &field, u_int32 element) {
        void *nested = storage(field, instance, element);
        u_int8 *block = nested_block(sttr_base, field, element);
        velalib_update_sttr_offset(handle, mem_class, nested, block - static_cast<u_int8 *>(nested));
        structure_offset_update(*field.structure, handle, mem_class, nested, block);
    });
}

void structure_offset_remove(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance,
                             u_int32 *err) {
    if (*err != 0) {
        return;
    }
    if (instance == nullptr) {
        fail_in({type.name, nullptr, "offset_remove"}, handle, VELA_EINVAL, err, "the instance is null");
        return;
    }
    for_each_nested(type, [&](const field_descriptor &field, u_int32 element) {
        void *nested = storage(field, instance, element);
        structure_offset_remove(*field.structure, handle, mem_class, nested, err);
        vela_hd_mapping_destroy(handle, mem_class, nested, err);
    });
}

}  // namespace ptp_cfg
