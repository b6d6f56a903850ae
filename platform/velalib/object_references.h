// A handle's object-identifier mappings, and the references that its address fields hold.
#pragma once

#include "pointer_map.h"
#include "velalib/object_reference.h"

namespace velalib {

/** An object that can be referred to. */
struct oid_mapping {
    vela_object_destroy_fn destroy;
    u_int32 reference_count;
    u_int32 destroy_mem_class;  // class that the awaited destroy was asked with
    bool destroy_awaited;       // a destroy was asked for while references remained
};

/** The references of one field; `objects` has `capacity` entries and nullptr for an object not known yet. */
struct reference_list {
    u_int32 count;
    u_int32 capacity;
    void **objects;
};

struct object_references {
    pointer_map<oid_mapping> mappings;   // by instance
    pointer_map<reference_list> fields;  // by address of the field

    object_references() = default;
    ~object_references();
};

}  // namespace velalib
