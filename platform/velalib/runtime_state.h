// What a handle keeps beside its public fields.
#pragma once

#include "allocator.h"
#include "domain.h"
#include "failures.h"
#include "memory_account.h"
#include "object_references.h"
#include "pointer_map.h"
#include "shared_types.h"
#include "type_table.h"
#include "velalib_inline.h"

struct vela_runtime {
    vela_inline::runtime_front front = {};  // first, where inline forms look for it

    velalib::block_allocator memory;
    velalib::memory_account account{memory};
    velalib::type_table types;
    velalib::shared_types_user shared_types;  // in place of `types`, when options name some
    velalib::variant_cache variants;
    velalib::pointer_map<int64_t> sttr_offsets;  // by instance: distance to its state-flag block
    velalib::object_references references;
    velalib::failures failures;
    vela_sttr_record sttr = {};

    // The application's callbacks, for handles whose cookie is the runtime.
    vela_pre_write_fn pre_write = nullptr;
    vela_pre_write_fn pre_write_counter = nullptr;
    void *cookie = nullptr;
    vela_left_behind_fn left_behind = nullptr;

    u_int8 *work_buffer = nullptr;  // made when first asked for
    u_int32 work_buffer_size = 0;
};
