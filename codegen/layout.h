// Where the fields of an instance lie, how long it is, and what each of its variants uses.
#pragma once

#include "model.h"

namespace codegen {

constexpr std::uint32_t instance_header_size = 11;
constexpr std::uint32_t enumeration_size = 16;
constexpr std::uint32_t enumeration_value_offset = 12;
constexpr std::uint32_t instance_alignment = 8;
constexpr std::uint32_t text_pointer_size = 8;

/** Fills latest and thresholds; the values are in rising order. */
void compute_layout(enumeration &type);

/** Fills everything computed of a structure whose embedded structures have been computed before. */
void compute_layout(structure &type);

}  // namespace codegen
