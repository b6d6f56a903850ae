// A handle's type table: its type-information records, found by their LUID text.
#pragma once

#include "velalib/handle.h"

namespace velalib {

class type_table {
  public:
    type_table() = default;
    ~type_table();
    type_table(const type_table &) = delete;
    type_table &operator=(const type_table &) = delete;

    /** Enters a type_info, which replaces one of the same text; false without memory. */
    bool insert(const char *luid_text, vela_type_info *type_info);
    vela_type_info *lookup(const char *luid_text) const;

  private:
    struct entry {
        char text[32];
        vela_type_info *type_info;  // nullptr: unused
    };

    entry *find_slot(entry *slots, u_int32 capacity, const char *luid_text) const;
    bool grow();

    entry *slots_ = nullptr;
    u_int32 capacity_ = 0;  // a power of two
    u_int32 size_ = 0;
};

/** The callbacks of a handle's own table; the cookie is the table. */
void type_table_insert(void *cookie, u_int32 mem_class, const char *luid_text, vela_type_info *type_info);
vela_type_info *type_table_lookup(void *cookie, u_int32 mem_class, const char *luid_text);

}  // namespace velalib
