// A hash table of type information by identity.
#include "type_table.h"

#include <cstdlib>
#include <cstring>

#include "runtime_state.h"
#include "velalib_inline.h"

namespace velalib {

constexpr size_t text_length = 32;

type_table::~type_table() { std::free(slots_); }

type_table::entry *type_table::find_slot(entry *slots, u_int32 capacity, const char *luid_text) const {
    u_int32 i = vela_inline::SuperFastHash(luid_text, text_length, text_length) & (capacity - 1);
    while (slots[i].type_info != nullptr && memcmp(slots[i].text, luid_text, text_length) != 0) {
        i = (i + 1) & (capacity - 1);
    }
    return &slots[i];
}

bool type_table::grow() {
    const u_int32 wanted = capacity_ == 0 ? 256 : capacity_ * 2;
    entry *fresh = static_cast<entry *>(std::calloc(wanted, sizeof(entry)));
    if (fresh == nullptr) {
        return false;
    }
    for (u_int32 i = 0; i < capacity_; ++i) {
        if (slots_[i].type_info != nullptr) {
            *find_slot(fresh, wanted, slots_[i].text) = slots_[i];
        }
    }
    std::free(slots_);
    slots_ = fresh;
    capacity_ = wanted;
    return true;
}

bool type_table::insert(const char *luid_text, vela_type_info *type_info) {
    if (luid_text == nullptr || type_info == nullptr || strnlen(luid_text, text_length) != text_length) {
        return false;
    }
    if ((size_ + 1) * 3 > capacity_ * 2 && !grow()) {
        return false;
    }
    entry *slot = find_slot(slots_, capacity_, luid_text);
    if (slot->type_info == nullptr) {
        ++size_;
    }
    memcpy(slot->text, luid_text, text_length);
    slot->type_info = type_info;
    return true;
}

vela_type_info *type_table::lookup(const char *luid_text) const {
    if (size_ == 0 || luid_text == nullptr || strnlen(luid_text, text_length) != text_length) {
        return nullptr;
    }
    return find_slot(slots_, capacity_, luid_text)->type_info;
}

void type_table_insert(void *cookie, u_int32, const char *luid_text, vela_type_info *type_info) {
    // A type_info that cannot be entered is one that lookup does not find; its users fall back to the static one.
    static_cast<type_table *>(cookie)->insert(luid_text, type_info);
}

vela_type_info *type_table_lookup(void *cookie, u_int32, const char *luid_text) {
    return static_cast<type_table *>(cookie)->lookup(luid_text);
}

}  // namespace velalib

const vela_type_info *vela_type_info_ptr_get(vela_handle *handle, u_int32 mem_class, const vela_type_info *type_info,
                                             vela_typeinfo_initialize_fn initialize) {
    const vela_type_info *known = handle->type_table_lookup(handle->type_table_cookie, mem_class, type_info->luid_text);
    if (known != nullptr) {
        return known;
    }
    if (initialize != nullptr) {
        u_int32 err = 0;
        initialize(handle, mem_class, &err);
        known = handle->type_table_lookup(handle->type_table_cookie, mem_class, type_info->luid_text);
    }
    return known != nullptr ? known : type_info;
}

void vela_update_variant_info(vela_handle *handle, u_int32, vela_type_info *table_record,
                              const vela_type_info *static_record, u_int32 inserted) {
    if (handle->runtime->shared_types.is_on()) {
        return;  // records there are complete before they are found
    }
    const vela_variant_table *source = static_record->variant_table;
    if (inserted == 0 || table_record->shared == 0 || source == nullptr || source->count <= 0) {
        return;
    }
    const size_t row_bytes = static_cast<size_t>(source->count) * sizeof(vela_variant_row);
    void *memory = handle->runtime->memory.allocate_for_good(sizeof(vela_variant_table) + row_bytes);
    if (memory == nullptr) {
        vela_inline::vela_store_err(handle, VELA_ENOMEM);
        return;
    }
    vela_variant_table *table = static_cast<vela_variant_table *>(memory);
    table->count = source->count;
    table->rows = reinterpret_cast<vela_variant_row *>(table + 1);
    for (int8 i = 0; i < source->count; ++i) {
        const vela_variant_row &row = source->rows[i];
        table->rows[i] = {row.variant, row.used_length, row.alloc_slop, 0, 0, row.reserved};
    }
    table_record->variant_table = table;
}
