// Making and destroying handles, and the callbacks that one has when the caller gives none.
#include "velalib/handle.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

#include "module_types.h"
#include "runtime_state.h"
#include "velalib_inline.h"

namespace {

/** A handle and its runtime state are one allocation. */
struct whole_handle {
    vela_handle handle = {};
    vela_runtime runtime;
};

// Callbacks of a handle with the default allocator: the cookie is its runtime.

void *default_alloc(void *cookie, u_int32, size_t size) {
    return static_cast<vela_runtime *>(cookie)->memory.allocate(size);
}

void default_free(void *cookie, u_int32, void *memory) { static_cast<vela_runtime *>(cookie)->memory.release(memory); }

void *default_shared_alloc(void *cookie, u_int32, size_t size) {
    return static_cast<vela_runtime *>(cookie)->memory.allocate_for_good(size);
}

void forward_pre_write(void *cookie, void *address, size_t length, u_int32 mem_class) {
    vela_runtime *runtime = static_cast<vela_runtime *>(cookie);
    runtime->pre_write(runtime->cookie, address, length, mem_class);
}

void forward_pre_write_counter(void *cookie, void *address, size_t length, u_int32 mem_class) {
    vela_runtime *runtime = static_cast<vela_runtime *>(cookie);
    runtime->pre_write_counter(runtime->cookie, address, length, mem_class);
}

void *counting_alloc(void *cookie, u_int32 mem_class, size_t size) {
    return static_cast<vela_runtime *>(cookie)->account.allocate(mem_class, size);
}

void counting_free(void *cookie, u_int32, void *memory) {
    static_cast<vela_runtime *>(cookie)->account.release(memory);
}

/** The options of a caller, who may have been compiled before the last members were there; false: of no known size. */
bool take_options(const vela_handle_options *given, vela_handle_options *options) {
    *options = {};
    if (given == nullptr) {
        return true;
    }
    constexpr size_t first_size = offsetof(vela_handle_options, memory_budget);
    if (given->size != first_size && given->size != sizeof *options) {
        return false;
    }
    memcpy(options, given, given->size);
    return true;
}

bool wants_accounts(const vela_handle_options &options) {
    return options.memory_budget != 0 || options.memory_accounting != 0 || options.left_behind != nullptr;
}

bool are_valid(const vela_handle_options &options) {
    if ((options.alloc == nullptr) != (options.free == nullptr)) {
        return false;
    }
    if (options.alloc != nullptr && wants_accounts(options)) {
        return false;
    }
    if (options.shared_alloc != nullptr && options.shared_types != nullptr) {
        return false;
    }
    if (options.work_buffer_size > INT32_MAX) {
        return false;
    }
    return options.tracking == 0 || options.tracking == VELA_STTR_OFF || options.tracking == VELA_STTR_ON;
}

/** With an allocator of the application all callbacks take its cookie, else each goes by way of the runtime. */
void set_callbacks(whole_handle &whole, const vela_handle_options &options) {
    vela_handle &handle = whole.handle;
    if (options.alloc != nullptr) {
        handle.alloc = options.alloc;
        handle.free = options.free;
        handle.cookie = options.cookie;
        handle.pre_write = options.pre_write;
        handle.pre_write_counter = options.pre_write_counter;
        return;
    }
    handle.alloc = default_alloc;
    handle.free = default_free;
    if (wants_accounts(options)) {
        handle.alloc = counting_alloc;
        handle.free = counting_free;
        whole.runtime.account.start(options.memory_budget);
        whole.runtime.left_behind = options.left_behind;
    }
    handle.cookie = &whole.runtime;
    whole.runtime.cookie = options.cookie;
    whole.runtime.pre_write = options.pre_write;
    whole.runtime.pre_write_counter = options.pre_write_counter;
    if (options.pre_write != nullptr) {
        handle.pre_write = forward_pre_write;
    }
    if (options.pre_write_counter != nullptr) {
        handle.pre_write_counter = forward_pre_write_counter;
    }
}

void set_tables(whole_handle &whole, const vela_handle_options &options) {
    vela_handle &handle = whole.handle;
    const bool own_shared = options.shared_alloc == nullptr;
    handle.shared_alloc = own_shared ? default_shared_alloc : options.shared_alloc;
    handle.shared_alloc_cookie = own_shared ? &whole.runtime : options.shared_alloc_cookie;
    handle.type_table_insert = velalib::type_table_insert;
    handle.type_table_lookup = velalib::type_table_lookup;
    handle.type_table_cookie = &whole.runtime.types;
    handle.shared_type_info = options.shared_type_info;
}

/** Lets type information lie where several processes share it; an error code. */
u_int32 set_shared_types(whole_handle &whole, vela_shared_types *types) {
    if (types == nullptr) {
        return VELA_OK;
    }
    vela_handle &handle = whole.handle;
    handle.shared_alloc = velalib::shared_types_alloc;
    handle.type_table_insert = velalib::shared_types_insert;
    handle.type_table_lookup = velalib::shared_types_lookup;
    handle.shared_alloc_cookie = handle.type_table_cookie = &whole.runtime.shared_types;
    handle.shared_type_info = 1;
    return whole.runtime.shared_types.start(types);
}

void set_tracking(whole_handle &whole, u_int32 mode) {
    if (mode == 0) {
        return;
    }
    whole.runtime.sttr.mode = mode;
    whole.handle.sttr_record = &whole.runtime.sttr;
    whole.handle.hd_mapping = 1;  // also when it is off: the application may switch it on later
}

/** The name of an instance's type, when the block is one of a type that a loaded module has; else nullptr. */
const char *type_name_of(vela_handle *handle, const void *block, u_int64 size, u_int32 mem_class) {
    if (size < sizeof(vela_instance_header)) {
        return nullptr;
    }
    const vela_type_info *found = static_cast<const vela_instance_header *>(block)->type_info;
    const vela_type_info *known = velalib::find_type_if([&](const vela_type_info &each) {
        return found == &each || (found != nullptr && found == handle->type_table_lookup(handle->type_table_cookie,
                                                                                         mem_class, each.luid_text));
    });
    return known != nullptr ? known->type_name : nullptr;
}

void report_left_blocks(vela_handle *handle) {
    const vela_runtime &runtime = *handle->runtime;
    if (runtime.left_behind == nullptr) {
        return;
    }
    runtime.account.for_each_block([&](const void *address, u_int64 size, u_int32 mem_class) {
        const vela_left_block block = {address, size, mem_class, type_name_of(handle, address, size, mem_class)};
        runtime.left_behind(runtime.cookie, &block);
    });
}

}  // namespace

vela_handle *vela_handle_create(const vela_handle_options *given, u_int32 *err) {
    if (*err != 0) {
        return nullptr;
    }
    vela_handle_options options;
    if (!take_options(given, &options) || !are_valid(options)) {
        *err = VELA_EINVAL;
        return nullptr;
    }
    whole_handle *whole = new (std::nothrow) whole_handle;
    if (whole == nullptr) {
        *err = VELA_ENOMEM;
        return nullptr;
    }
    vela_handle &handle = whole->handle;
    handle.runtime = &whole->runtime;
    set_callbacks(*whole, options);
    set_tables(*whole, options);
    *err = set_shared_types(*whole, options.shared_types);
    if (*err != 0) {
        delete whole;
        return nullptr;
    }
    set_tracking(*whole, options.tracking);
    handle.msg_header_word = options.msg_header_word;
    vela_handle_set_domain(&handle, options.domain);
    constexpr u_int32 default_work_buffer_size = 64 * 1024;
    whole->runtime.work_buffer_size =
        options.work_buffer_size != 0 ? options.work_buffer_size : default_work_buffer_size;
    return &handle;
}

void vela_handle_destroy(vela_handle *handle, vela_handle_report *report) {
    if (report != nullptr) {
        *report = {0, 0};
    }
    if (handle == nullptr) {
        return;
    }
    const vela_memory_use left = handle->runtime->account.total();
    if (report != nullptr) {
        *report = {left.blocks, left.bytes};
    }
    report_left_blocks(handle);
    std::free(handle->runtime->work_buffer);
    delete reinterpret_cast<whole_handle *>(handle);
}

void velalib_get_handle_ws(vela_handle *handle, u_int8 **buffer, int32 *length) {
    vela_runtime &runtime = *handle->runtime;
    if (runtime.work_buffer == nullptr) {
        runtime.work_buffer = static_cast<u_int8 *>(std::malloc(runtime.work_buffer_size));
    }
    *buffer = runtime.work_buffer;
    *length = runtime.work_buffer == nullptr ? 0 : static_cast<int32>(runtime.work_buffer_size);
    runtime.front.work_buffer_room = *length;
}

void *velalib_malloc(vela_handle *handle, u_int32 mem_class, size_t size) {
    return handle == nullptr ? std::malloc(size) : handle->alloc(handle->cookie, mem_class, size);
}

void velalib_free(vela_handle *handle, u_int32 mem_class, void *memory) {
    if (handle == nullptr) {
        std::free(memory);
    } else if (memory != nullptr) {
        handle->free(handle->cookie, mem_class, memory);
    }
}
