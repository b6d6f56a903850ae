// What an instance is to its user: values, state flags, and who is told of them. Knows layouts by reflection alone.
#pragma once

#include <vector>

#include "layout.h"
#include "records.h"

namespace ptp_cfg_test {

/** A field or an element of one: how to reach its owner, and where its flags stand in the outermost block. */
struct place {
    struct turn {
        const ptp_cfg_type *type;
        u_int32 index;
        u_int32 element;
    };
    std::vector<turn> way;  // through nested structures, to `owner`
    const ptp_cfg_type *owner;
    ptp_cfg_field_description field;
    u_int32 index;
    u_int32 element;
    size_t whole_flag;  // of an array as a whole, or of the field
    size_t flag;        // of the element, or the same
    bool has_value() const { return field.kind < PTP_CFG_FIELD_OPAQUE || field.kind == PTP_CFG_FIELD_ENUMERATION; }

    void *find_owner(vela_handle *handle, void *instance) const {
        u_int32 err = 0;
        for (const turn &each : way) {
            instance = ptp_cfg_field_get(each.type, each.index, handle, mem_class, instance, each.element, &err);
        }
        EXPECT_EQ(err, 0u);
        return instance;
    }
};

/** All of them in a structure, text lengths left out, nested structures as well as what is in them. */
inline void add_places(const ptp_cfg_type *type, size_t block, const std::vector<place::turn> &way,
                       std::vector<place> &out) {
    for (u_int32 i = 0; i < describe(type).field_count; ++i) {
        const ptp_cfg_field_description field = describe_field(type, i);
        const size_t first = block + flag_position(type, i);
        for (u_int32 e = 0; field.is_read_only == 0 && e < field.capacity; ++e) {
            out.push_back({way, type, field, i, e, first, field.is_array != 0 ? first + 1 + e : first});
            if (field.kind == PTP_CFG_FIELD_STRUCTURE) {
                std::vector<place::turn> further = way;
                further.push_back({type, i, e});
                const size_t skipped = field.is_array != 0 ? field.capacity + e * block_length(field.type) : 0;
                add_places(field.type, first + 1 + skipped, further, out);
            }
        }
    }
}

/** A structure with its places; the large ones are left out, which have nothing that the small ones do not have. */
struct modelled_type {
    explicit modelled_type(const ptp_cfg_type *of) : type(of), about(describe(of)), block(block_length(of)) {
        add_places(type, 0, {}, places);
    }
    const ptp_cfg_type *type;
    ptp_cfg_type_description about;
    size_t block;
    std::vector<place> places;
};

inline const std::vector<modelled_type> &modelled_types() {
    static const std::vector<modelled_type> types = [] {
        std::vector<modelled_type> result;
        for (const ptp_cfg_type *type : types_of(PTP_CFG_STRUCTURE)) {
            if (block_length(type) < 120) {
                result.emplace_back(type);
            }
        }
        return result;
    }();
    return types;
}

/** An instance and what it must hold. */
struct modelled_instance {
    const modelled_type *type = nullptr;
    void *instance = nullptr;
    bool is_tracked = false;
    std::vector<u_int64> values;  // by place; 0 where there is none
    std::vector<u_int8> flags;    // the whole block
    std::vector<u_int8> bytes;    // of the instance, as they were after the last step

    size_t size() const { return is_tracked ? type->about.tracked_size : type->about.untracked_size; }
};

/** What is stored of a number that is set, as reading gives it back. */
inline u_int64 stored(const ptp_cfg_field_description &field, u_int64 value) {
    const u_int32 unused = 64 - 8 * field.element_size;
    if (field.kind == PTP_CFG_FIELD_SIGNED) {
        return static_cast<u_int64>(static_cast<int64_t>(value << unused) >> unused);
    }
    return value << unused >> unused;
}

}  // namespace ptp_cfg_test
