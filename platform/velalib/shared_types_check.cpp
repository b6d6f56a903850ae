// What must hold of content of a file of shared types before it is used.
#include <sys/stat.h>

#include <cstring>

#include "shared_types.h"

namespace velalib {
namespace {

/** Whether `length` bytes at an address of the mapping lie in the part that has been handed out. */
bool lies_inside(const vela_shared_types &types, const void *address, size_t length, u_int32 used) {
    const u_int64 place = reinterpret_cast<uintptr_t>(address);
    const u_int64 start = shared_start(types);
    if (place % alignof(vela_variant_table) != 0 || place < start + sizeof(shared_types_file)) {
        return false;
    }
    const u_int64 offset = place - start;
    return offset <= used && length <= used - offset;
}

bool is_text(const char *text, size_t room) { return memchr(text, '\0', room) != nullptr; }

}  // namespace

bool is_possible_use(u_int32 used, size_t size) {
    return used >= sizeof(shared_types_file) && used <= size && used % 8 == 0;
}

bool is_still_whole(const vela_shared_types &types) {
    struct stat status = {};
    return types.is_copy ||
           (fstat(types.opened.get(), &status) == 0 && static_cast<u_int64>(status.st_size) >= types.size);
}

bool is_sound_record(const vela_shared_types &types, u_int32 offset, u_int32 used) {
    const void *address = reinterpret_cast<const void *>(shared_start(types) + offset);
    if (!lies_inside(types, address, sizeof(vela_type_info_copy), used)) {
        return false;
    }
    const auto &type_info = *static_cast<const vela_type_info *>(shared_place(types, address));
    if (type_info.magic != VELA_TYPE_INFO_MAGIC || type_info.shared == 0 || strnlen(type_info.luid_text, 33) != 32 ||
        !is_text(type_info.type_name, sizeof type_info.type_name) ||
        !is_text(type_info.module_name, sizeof type_info.module_name) ||
        !is_text(type_info.kind, sizeof type_info.kind)) {
        return false;
    }
    if (!lies_inside(types, type_info.variant_table, sizeof(vela_variant_table), used)) {
        return false;
    }
    const auto &table = *static_cast<const vela_variant_table *>(shared_place(types, type_info.variant_table));
    return table.count > 0 &&
           lies_inside(types, table.rows, static_cast<size_t>(table.count) * sizeof(vela_variant_row), used);
}

}  // namespace velalib
