// Object references of instances: which objects an instance or a field stands for.
#include "velalib/object_reference.h"

#include <cstdlib>
#include <cstring>

#include "runtime_state.h"
#include "velalib_inline.h"

using velalib::oid_mapping;
using velalib::reference_list;

namespace velalib {

object_references::~object_references() {
    fields.for_each([](const void *, const reference_list &list) { std::free(list.objects); });
}

}  // namespace velalib

namespace {

void set_oid_flag(vela_handle *handle, u_int32 mem_class, void *instance, bool mapped) {
    u_int8 *flags = &static_cast<vela_instance_header *>(instance)->flags;
    const u_int8 wanted = static_cast<u_int8>(mapped ? *flags | VELA_FLAG_OID : *flags & ~VELA_FLAG_OID);
    if (wanted == *flags) {
        return;
    }
    vela_inline::notify(handle, mem_class, flags, 1);
    *flags = wanted;
}

/** The mapping of an instance, or nullptr with error 2. */
oid_mapping *find_mapping(vela_handle *handle, const void *instance, u_int32 *err) {
    oid_mapping *mapping = handle->runtime->references.mappings.find(instance);
    if (mapping == nullptr) {
        vela_inline::fail(handle, err, VELA_ENOENT);
    }
    return mapping;
}

void drop_mapping(vela_handle *handle, u_int32 mem_class, void *instance) {
    handle->runtime->references.mappings.erase(instance);
    set_oid_flag(handle, mem_class, instance, false);
}

/** Makes room for one more reference; false without memory. */
bool reserve(reference_list &list) {
    if (list.count < list.capacity) {
        return true;
    }
    const u_int32 wanted = list.capacity == 0 ? 2 : list.capacity * 2;
    void **objects = static_cast<void **>(std::realloc(list.objects, wanted * sizeof(void *)));
    if (objects == nullptr) {
        return false;
    }
    list.objects = objects;
    list.capacity = wanted;
    return true;
}

/** The list of a field, made when there is none; nullptr without memory. */
reference_list *list_of(vela_handle *handle, const en_address *field) {
    auto &fields = handle->runtime->references.fields;
    reference_list *list = fields.find(field);
    if (list == nullptr && fields.insert(field, {})) {
        list = fields.find(field);
    }
    handle->runtime->front.address_references = fields.size();
    return list;
}

}  // namespace

void vela_oid_mapping_attach(vela_handle *handle, u_int32 mem_class, void *instance, vela_object_destroy_fn destroy,
                             u_int32 *err) {
    if (*err != 0) {
        return;
    }
    auto &mappings = handle->runtime->references.mappings;
    if (instance == nullptr || mappings.find(instance) != nullptr) {
        vela_inline::fail(handle, err, VELA_EINVAL);
    } else if (!mappings.insert(instance, {destroy, 0, 0, false})) {
        vela_inline::fail(handle, err, VELA_ENOMEM);
    } else {
        set_oid_flag(handle, mem_class, instance, true);
    }
}

void vela_oid_mapping_detach(vela_handle *handle, u_int32 mem_class, void *instance, u_int32 *err) {
    if (*err != 0 || find_mapping(handle, instance, err) == nullptr) {
        return;
    }
    drop_mapping(handle, mem_class, instance);
}

u_int32 vela_oid_reference_count(vela_handle *handle, const void *instance) {
    const oid_mapping *mapping = handle->runtime->references.mappings.find(instance);
    return mapping == nullptr ? 0 : mapping->reference_count;
}

u_int32 vela_request_oid_mapping_destroy(vela_handle *handle, u_int32 mem_class, void *instance, u_int32 *err) {
    if (*err != 0) {
        return 0;
    }
    oid_mapping *mapping = find_mapping(handle, instance, err);
    if (mapping == nullptr) {
        return 0;
    }
    if (mapping->reference_count > 0) {
        mapping->destroy_awaited = true;
        mapping->destroy_mem_class = mem_class;
        return 0;
    }
    drop_mapping(handle, mem_class, instance);
    return 1;
}

void velalib_lookup_and_update_oid_ref_count(vela_handle *handle, u_int32, void *reference, u_int32 increment,
                                             u_int32 *err) {
    if (*err != 0) {
        return;
    }
    oid_mapping *mapping = find_mapping(handle, reference, err);
    if (mapping == nullptr) {
        return;
    }
    if (increment != 0) {
        ++mapping->reference_count;
        return;
    }
    if (mapping->reference_count == 0) {
        vela_inline::fail(handle, err, VELA_EINVAL);
        return;
    }
    if (--mapping->reference_count > 0 || !mapping->destroy_awaited) {
        return;
    }
    const oid_mapping last = *mapping;
    drop_mapping(handle, last.destroy_mem_class, reference);
    if (last.destroy != nullptr) {
        last.destroy(handle, last.destroy_mem_class, reference);
    }
}

void en_address_attach_reference(vela_handle *handle, u_int32, const en_address *field, void *object, u_int32 *err) {
    if (*err != 0) {
        return;
    }
    if (field == nullptr) {
        vela_inline::fail(handle, err, VELA_EINVAL);
        return;
    }
    oid_mapping *mapping = object == nullptr ? nullptr : find_mapping(handle, object, err);
    if (*err != 0) {
        return;
    }
    reference_list *list = list_of(handle, field);
    if (list == nullptr || !reserve(*list)) {
        vela_inline::fail(handle, err, VELA_ENOMEM);
        return;
    }
    list->objects[list->count++] = object;
    if (mapping != nullptr) {
        ++mapping->reference_count;
    }
}

u_int32 en_address_get_oid_count(vela_handle *handle, u_int32, const en_address *field, u_int32 *err) {
    if (*err != 0) {
        return 0;
    }
    if (field == nullptr) {
        return vela_inline::fail(handle, err, VELA_EINVAL);
    }
    const reference_list *list = handle->runtime->references.fields.find(field);
    return list == nullptr ? 0 : list->count;
}

void en_address_get_object_references(vela_handle *handle, u_int32, const en_address *field, void **array,
                                      u_int32 count, u_int32 *err) {
    if (*err != 0) {
        return;
    }
    if (field == nullptr || array == nullptr) {
        vela_inline::fail(handle, err, VELA_EINVAL);
        return;
    }
    const reference_list *list = handle->runtime->references.fields.find(field);
    if (list == nullptr) {
        return;
    }
    const u_int32 listed = list->count < count ? list->count : count;
    for (u_int32 i = 0; i < listed; ++i) {
        if (list->objects[i] == nullptr) {
            vela_inline::fail(handle, err, VELA_ENOENT);
            return;
        }
        array[i] = list->objects[i];
    }
    if (list->count > count) {
        vela_inline::fail(handle, err, VELA_ENOSPC);
    }
}

void vela_address_references_drop(vela_handle *handle, const en_address *field) {
    auto &fields = handle->runtime->references.fields;
    const reference_list *list = fields.find(field);
    if (list == nullptr) {
        return;
    }
    std::free(list->objects);
    fields.erase(field);
    handle->runtime->front.address_references = fields.size();
}
