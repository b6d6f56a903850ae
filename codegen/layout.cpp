// Lays out instances: offsets, spare bytes, state-flag blocks and sizes per variant.
#include "layout.h"

#include <algorithm>

namespace codegen {
namespace {

struct extent {
    std::uint32_t size;
    std::uint32_t alignment;
    std::uint32_t flags;  // bytes of the state-flag block
};

std::uint32_t round_up(std::uint32_t value, std::uint32_t alignment) {
    return (value + alignment - 1) / alignment * alignment;
}

extent extent_of_element(const field &row) {
    switch (row.category) {
        case field_category::primitive:
            return {row.primitive->size, row.primitive->alignment, 1};
        case field_category::text:
            return {text_pointer_size, instance_alignment, 1};
        case field_category::enumeration:
            return {enumeration_size, instance_alignment, 1};
        case field_category::structure:
            return {row.structure->size, instance_alignment, 1 + row.structure->block_length};
    }
    return {0, 1, 0};
}

/** A byte for the array as a whole, one per element, then the blocks of elements that have one. */
std::uint32_t flag_length(const field &row, const extent &element) {
    if (row.is_companion()) {
        return 0;
    }
    if (!row.is_array()) {
        return element.flags;
    }
    return 1 + *row.capacity * element.flags;
}

/** An instance keeps room to grow, more when it is large. */
std::uint32_t spare_bytes(std::uint32_t rounded) { return rounded <= 64 ? 8 : 16; }

void link_companion(structure &type, std::size_t text) {
    if (text == 0 || type.fields[text].category != field_category::text) {
        return;
    }
    const field &companion = type.fields[text - 1];
    type.fields[text].companion_offset = companion.offset;
    type.fields[text].companion_name = companion.name;
}

void compute_variants(structure &type) {
    for (std::uint32_t variant = 0; variant <= type.latest; ++variant) {
        std::uint32_t used = instance_header_size;
        std::uint32_t count = 0;
        for (const field &row : type.fields) {
            if (row.since <= variant) {
                used = row.end;
                ++count;
            }
        }
        type.rows.push_back({used, type.size - used});
        type.validity.push_back(count);
    }
    if (type.stated_validity) {
        type.validity = *type.stated_validity;
    }
}

}  // namespace

void compute_layout(enumeration &type) {
    type.latest = type.values.back().since;
    for (std::uint32_t variant = 0; variant < type.latest; ++variant) {
        const auto newer = std::find_if(type.values.begin(), type.values.end(),
                                        [&](const enumeration_value &value) { return value.since > variant; });
        type.thresholds.push_back(newer->number);
    }
    type.thresholds.push_back(type.values.back().number + 1);
}

void compute_layout(structure &type) {
    std::uint32_t end = instance_header_size;
    std::uint32_t flags = 0;
    for (std::size_t index = 0; index < type.fields.size(); ++index) {
        field &row = type.fields[index];
        const extent element = extent_of_element(row);
        row.offset = round_up(end, element.alignment);
        row.stride = round_up(element.size, element.alignment);
        row.end = row.offset + (row.is_array() ? *row.capacity * row.stride : element.size);
        row.flag_position = flags;
        row.flag_length = flag_length(row, element);
        link_companion(type, index);
        end = row.end;
        flags += row.flag_length;
        type.latest = std::max(type.latest, row.since);
    }
    const std::uint32_t rounded = round_up(end, instance_alignment);
    type.size = rounded + spare_bytes(rounded);
    type.block_length = flags;
    compute_variants(type);
}

}  // namespace codegen
