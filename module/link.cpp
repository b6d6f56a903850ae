// The module's place in the runtime: its entry in the list of loaded modules, its types in a handle's type table.
#include "module/reflection.h"
#include "ptp_cfg/module.h"

// A product's own runtime may do without, where modules do not come and go while threads are at work.
#pragma weak vela_modules_lock
#pragma weak vela_modules_unlock

namespace ptp_cfg {

extern vela_module this_module;
vela_module this_module = {"ptp_cfg", type_table, nullptr, nullptr};
static bool linked_once = false;

// Sections that are not loaded, for who reads the file. Nothing else refers to their objects, so that without this a
// program with a static library would have none of them.
#define SECTIONS(APPLY) \
    APPLY(zenta)        \
    APPLY(vela_ptp_cfg_texts) APPLY(vela_ptp_cfg_levels) APPLY(vela_ptp_cfg_arguments) APPLY(vela_ptp_cfg_subjects)
#define DECLARE(name) extern const char section_##name;
SECTIONS(DECLARE)
static void keep_sections() {
#define KEEP(name) asm volatile("" : : "r"(&section_##name));
    SECTIONS(KEEP)
}

/** The runtime's list, held for the length of a block. */
class held_list {
  public:
    held_list() {
        if (vela_modules_lock != nullptr) {
            vela_modules_lock();
        }
    }
    ~held_list() {
        if (vela_modules_unlock != nullptr) {
            vela_modules_unlock();
        }
    }
    held_list(const held_list &) = delete;
    held_list &operator=(const held_list &) = delete;
};

/** Links the module at the end of the runtime's tail queue. Runs at load; again, it does nothing. */
__attribute__((constructor)) static void link_module() {
    keep_sections();
    if (linked_once) {
        return;
    }
    const held_list held;
    this_module.next = nullptr;
    this_module.previous_next = vela_module_tot_root.last_next;
    *vela_module_tot_root.last_next = &this_module;
    vela_module_tot_root.last_next = &this_module.next;
    ++vela_module_tot_root.count;
    linked_once = true;
}

/** Takes the module out. The once-flag stays set: a module that is being unloaded is not linked again. */
__attribute__((destructor)) static void unlink_module() {
    const held_list held;
    if (this_module.next == nullptr && this_module.previous_next == nullptr) {
        return;
    }
    if (this_module.next != nullptr) {
        this_module.next->previous_next = this_module.previous_next;
    } else {
        vela_module_tot_root.last_next = this_module.previous_next;
    }
    *this_module.previous_next = this_module.next;
    this_module.next = nullptr;
    this_module.previous_next = nullptr;
    --vela_module_tot_root.count;
}

/** A copy of a type_info in the handle's type table; nullptr without memory. */
static vela_type_info *enter(vela_handle *handle, u_int32 mem_class, const vela_type_info *type_info) {
    constexpr u_int32 any_class = 0xFFFFFFFFu;
    void *memory = handle->shared_alloc(handle->shared_alloc_cookie, any_class, sizeof(vela_type_info_copy));
    if (memory == nullptr) {
        return nullptr;
    }
    vela_type_info_copy *copy = static_cast<vela_type_info_copy *>(memory);
    copy->info = *type_info;
    copy->word[0] = copy->word[1] = 0;
    copy->info.shared = handle->shared_type_info;
    copy->info.signed_word = -1;
    handle->type_table_insert(handle->type_table_cookie, mem_class, copy->info.luid_text, &copy->info);
    return &copy->info;
}

}  // namespace ptp_cfg

extern "C" void ptp_cfg_typeinfo_initialize(vela_handle *handle, u_int32 mem_class, u_int32 *err) {
    using namespace ptp_cfg;
    for (vela_type_info *const *type_info = type_table; *type_info != nullptr; ++type_info) {
        vela_type_info *entry =
            handle->type_table_lookup(handle->type_table_cookie, mem_class, (*type_info)->luid_text);
        u_int32 inserted = 0;
        if (entry == nullptr) {
            entry = enter(handle, mem_class, *type_info);
            inserted = 1;
            if (entry == nullptr) {
                fail_in({nullptr, nullptr, "ptp_cfg_typeinfo_initialize"}, handle, VELA_ENOMEM, err);
                return;
            }
        }
        if ((*type_info)->variant_table != nullptr) {
            vela_update_variant_info(handle, mem_class, entry, *type_info, inserted);
        }
    }
}
