// Reading and writing whole instances.
#include "operations/core/operation_call.h"
#include "operations/instance/field.h"

namespace ptp_cfg {

// ---- texts: each instance owns its own ------------------------------------------------------------------------------

/** Most texts that one instance may own, its nested ones included; see structure_operations. */
constexpr u_int32 max_texts = 8;

struct text_copies {
    u_int32 count = 0;
    var_string *slot[max_texts];  // in the destination
    var_string text[max_texts];   // its new characters
};

static void free_copies(vela_handle *handle, u_int32 mem_class, text_copies &copies) {
    for (u_int32 i = 0; i < copies.count; ++i) {
        var_string_destroy_internal(handle, mem_class, &copies.text[i], 0);
    }
}

/** Duplicates one text of an instance; false without memory. An empty text is a null pointer. */
static bool duplicate_text(const field_descriptor &field, vela_handle *handle, u_int32 mem_class, const void *instance,
                           var_string *copy) {
    const u_int8 count = *at(instance, field.companion_offset);
    const var_string characters = *as<var_string>(storage(field, instance));
    *copy = nullptr;
    if (characters == nullptr) {
        return true;
    }
    *copy = static_cast<char *>(handle->alloc(handle->cookie, mem_class, count + size_t{1}));
    if (*copy == nullptr) {
        return false;
    }
    memcpy(*copy, characters, count);
    (*copy)[count] = '\0';
    return true;
}

/** Duplicates the source's texts; false without memory, with what was made before left in `copies`. */
static bool duplicate_texts(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *destination,
                            const void *source, text_copies &copies) {
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        if (field.kind == field_kind::var_string) {
            if (!duplicate_text(field, handle, mem_class, source, &copies.text[copies.count])) {
                return false;
            }
            copies.slot[copies.count] = as<var_string>(storage(field, destination));
            ++copies.count;
        } else if (field.kind == field_kind::structure) {
            for (u_int32 element = 0; element < field.capacity; ++element) {
                if (!duplicate_texts(*field.structure, handle, mem_class, storage(field, destination, element),
                                     storage(field, source, element), copies)) {
                    return false;
                }
            }
        }
    }
    return true;
}

void structure_own_texts(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance) {
    if (instance == nullptr) {
        return;
    }
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        if (field.kind != field_kind::var_string) {
            continue;
        }
        var_string copy = nullptr;
        if (!duplicate_text(field, handle, mem_class, instance, &copy)) {
            VELA_CALL(vela_store_err)(handle, VELA_ENOMEM);
            notify(handle, mem_class, at(instance, field.companion_offset), 1);
            *at(instance, field.companion_offset) = 0;
        }
        var_string *slot = as<var_string>(storage(field, instance));
        notify(handle, mem_class, slot, sizeof *slot);
        *slot = copy;
    }
}

// ---- whole instances -------------------------------------------------------------------------------------------------

namespace {

/** Copies the bytes of an instance in rising order, each header by its own rules. */
class body_copy {
  public:
    body_copy(vela_handle *handle, u_int32 mem_class, u_int8 *destination, const u_int8 *source)
        : handle_(handle), mem_class_(mem_class), destination_(destination), source_(source) {}

    void structure(const structure_descriptor &type, u_int32 offset, bool nested) {
        header(type.type_info, offset, nested);
        for_each_embedded(type, [&](const field_descriptor &field, u_int32 element) {
            const u_int32 position = offset + field.offset + element * field.stride;
            if (field.structure != nullptr) {
                structure(*field.structure, position, true);
            } else {
                header(field.enumeration->type_info, position, true);
            }
        });
        up_to(offset + type.size);
    }

  private:
    void header(const vela_type_info *type_info, u_int32 offset, bool nested) {
        up_to(offset);
        copy_header(handle_, mem_class_, as<vela_instance_header>(destination_ + offset),
                    as<vela_instance_header>(source_ + offset), type_info, nested);
        done_ = offset + offsetof(vela_instance_header, flags) + 1;
    }

    void up_to(u_int32 end) {
        memcpy(destination_ + done_, source_ + done_, end - done_);
        done_ = end;
    }

    vela_handle *handle_;
    u_int32 mem_class_;
    u_int8 *destination_;
    const u_int8 *source_;
    u_int32 done_ = 0;
};

}  // namespace

/** Copies the body and gives the destination its texts. False without memory: nothing has changed then. */
static bool copy_body(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *destination,
                      const void *source) {
    text_copies copies;
    if (!duplicate_texts(type, handle, mem_class, destination, source, copies)) {
        free_copies(handle, mem_class, copies);
        return false;
    }
    text_copies old = copies;
    for (u_int32 i = 0; i < copies.count; ++i) {
        old.text[i] = *copies.slot[i];
    }
    notify(handle, mem_class, destination, type.size);
    body_copy(handle, mem_class, static_cast<u_int8 *>(destination), static_cast<const u_int8 *>(source))
        .structure(type, 0, false);
    for (u_int32 i = 0; i < copies.count; ++i) {
        *copies.slot[i] = copies.text[i];
    }
    free_copies(handle, mem_class, old);
    return true;
}

/** After a copy: takes over the source's state flags, each block where its own instance keeps it. */
static void copy_block(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *destination,
                       const void *source, u_int32 *err) {
    u_int8 *to = state_block(handle, mem_class, type, destination);
    const u_int8 *from = state_block(handle, mem_class, type, source);
    if (to == nullptr || from == nullptr) {
        fail(handle, VELA_EINVAL, err,
             to == nullptr ? "the destination is not state tracked" : "the source is not state tracked");
        emit(type.trace, trace::structure::not_tracked);
        return;
    }
    notify(handle, mem_class, to, type.block_length);
    memmove(to, from, type.block_length);
}

void structure_set(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *destination,
                   const void *source, u_int32 *err) {
    operation_call call({type.name, nullptr, "set"}, handle, err);
    if (!call.open(type) || !call.require(destination != nullptr, "the destination is null") ||
        !call.require(source != nullptr, "the source is null")) {
        return;
    }
    adjust(handle, mem_class, destination, type.latest, err);
    if (destination == source) {
        return;
    }
    const tracking mode = tracking_of(handle, type);
    if (!call.require(copy_body(type, handle, mem_class, destination, source), "no memory for a copy of its texts",
                      VELA_ENOMEM)) {
        return;
    }
    if (mode == tracking::on) {
        copy_block(type, handle, mem_class, destination, source, err);
    }
}

void structure_set_elements(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *destination,
                            const void *source, u_int32 *err) {
    if (*err != 0) {
        return;
    }
    if (destination == nullptr || source == nullptr) {
        fail_in({type.name, nullptr, "post_copyout_cleanup"}, handle, VELA_EINVAL, err,
                destination == nullptr ? "the destination is null" : "the source is null");
        return;
    }
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        if (field.kind == field_kind::structure && field.is_array) {
            for (u_int32 element = 0; element < field.capacity && *err == 0; ++element) {
                structure_set(*field.structure, handle, mem_class, storage(field, destination, element),
                              storage(field, source, element), err);
            }
        }
    }
}

// ---- all values at once ------------------------------------------------------------------------------------------------

/** What the first field of a type would find, for a type without values: an instance that is none, or has no fields. */
static void require_variant(vela_handle *handle, const void *instance, u_int32 *err) {
    if (VELA_CALL(vela_get_instance_variant)(instance, 1, 0) < 0) {
        fail_epoch(handle, instance, err, nullptr);
    }
}

static void get_one(const structure_descriptor &type, const field_descriptor &field, vela_handle *handle,
                    u_int32 mem_class, const void *instance, void *value, u_int32 *err) {
    const u_int8 *bytes = storage(field, instance);
    const bool readable = *err == 0 && begin_get(type, field, "_get_value", handle, instance, err);
    if (value == nullptr) {
        return;
    }
    if (field.kind == field_kind::enumeration) {
        *static_cast<u_int32 *>(value) = readable ? *value_of(static_cast<const void *>(bytes)) : 0;
        return;
    }
    visit_primitive(field.kind, [&](auto primitive) {
        using P = decltype(primitive);
        if constexpr (P::is_value) {
            *static_cast<typename P::type *>(value) =
                readable ? P::get_value(handle, mem_class, as<typename P::type>(bytes), err) : typename P::type{0};
        }
    });
}

void structure_get_all(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, const void *instance,
                       void *const *values, u_int32 *err) {
    operation_call call({type.name, nullptr, "get_all"}, handle, err);
    if (!call.open(type)) {
        return;
    }
    u_int32 count = 0;
    for (u_int32 i = 0; i < type.field_count; ++i) {
        if (is_value_field(type.fields[i])) {
            get_one(type, type.fields[i], handle, mem_class, instance, values[count++], err);
        }
    }
    if (count == 0) {
        require_variant(handle, instance, err);
    }
}

static void set_one(const structure_descriptor &type, const field_descriptor &field, vela_handle *handle,
                    u_int32 mem_class, void *instance, u_int64 value, u_int32 *err) {
    if (*err != 0 || !begin_set(type, field, "_set_value", handle, mem_class, instance, err)) {
        return;
    }
    u_int8 *bytes = storage(field, instance);
    if (field.kind == field_kind::enumeration) {
        enumeration_set_value(*field.enumeration, handle, mem_class, bytes, static_cast<u_int32>(value), err);
        if (*err != 0) {
            name_access(type, field, "_set_value", handle, err);
        }
        return;
    }
    visit_primitive(field.kind, [&](auto primitive) {
        using P = decltype(primitive);
        if constexpr (P::is_value) {
            P::set_value(handle, mem_class, as<typename P::type>(bytes), static_cast<typename P::type>(value), err);
        }
    });
}

/** Stores the values of either the enumerations or all else, and counts the values of both. */
static u_int32 set_some(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance,
                        const u_int64 *values, bool enumerations, u_int32 *err) {
    u_int32 count = 0;
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        if (!is_value_field(field) || field.is_companion) {
            continue;
        }
        if ((field.kind == field_kind::enumeration) == enumerations) {
            set_one(type, field, handle, mem_class, instance, values[count], err);
        }
        ++count;
    }
    return count;
}

void structure_set_all(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance,
                       const u_int64 *values, u_int32 *err) {
    operation_call call({type.name, nullptr, "set_all"}, handle, err);
    if (!call.open(type)) {
        return;
    }
    set_some(type, handle, mem_class, instance, values, false, err);
    if (set_some(type, handle, mem_class, instance, values, true, err) == 0) {
        adjust(handle, mem_class, instance, type.latest, err);
        require_variant(handle, instance, err);
    }
}

}  // namespace ptp_cfg
