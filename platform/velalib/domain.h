// Variant domains, and a handle's memory of what a domain said of a type.
#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>

#include "velalib/handle.h"

struct vela_domain {
    std::string name;
    std::unordered_map<std::string, int8> variants;      // by type name
    std::unordered_set<std::string> forbidden_messages;  // by type name of the message
    u_int64 stamp = 0;                                   // unique to this content of this domain
};

namespace velalib {

/** Answers of a domain by type_info; an entry holds as long as the domain keeps the stamp it was made under. */
class variant_cache {
  public:
    /** The entry of a type_info; it is valid when `type_info` and `stamp` match, else it may be overwritten. */
    struct entry {
        const vela_type_info *type_info = nullptr;
        u_int64 stamp = 0;
        int8 variant = 0;
        u_int8 message_ok = 0;
    };
    entry &of(const vela_type_info *type_info) {
        return entries_[(reinterpret_cast<uintptr_t>(type_info) / sizeof(vela_type_info)) % entry_count];
    }

  private:
    static constexpr size_t entry_count = 256;
    entry entries_[entry_count];
};

}  // namespace velalib
