// The wire layout of every type, item by item, as the reference pages show it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "model.h"

namespace codegen {

constexpr std::uint32_t wire_variant_width = 1;
constexpr std::uint32_t wire_flag_width = 1;
constexpr std::uint32_t wire_extra_width = 9;
constexpr std::uint32_t wire_jump_width = 4;
constexpr std::uint32_t wire_enumeration_width = 5;  // variant and number
constexpr std::uint32_t wire_message_prefix = 43;    // header and identity

/** A number of bytes. The characters of texts come on top of it; how many, only an instance knows. */
struct wire_size {
    std::uint32_t fixed = 0;
    bool has_texts = false;

    /** "12", "12 + n" or "n". */
    std::string text() const;
    wire_size &operator+=(const wire_size &other);
};

wire_size operator+(wire_size a, const wire_size &b);
wire_size operator*(std::uint32_t count, const wire_size &size);

/** Consecutive bytes of an encoding. */
struct wire_item {
    wire_size offset;
    wire_size width;
    std::string name;     // "clk_id/jump"
    std::string content;  // Markdown
};

/** Whether the state flags of a tracking handle travel too. */
enum class wire_form { untracked, tracked };

/** The encoding of an instance at a variant, with all that it embeds at their latest. */
wire_size wire_size_of(const structure &type, std::uint32_t variant, wire_form form);
/** The encoding of a message, payloads at their latest variant. */
wire_size wire_size_of(const message &type, wire_form form);
wire_size wire_size_of(const payload &row, wire_form form);

/** The items of an encoding. Records embedded in the outermost one are taken apart too, deeper ones are one item. */
std::vector<wire_item> wire_items(const structure &type, std::uint32_t variant, wire_form form);
/** The same of a message; its payloads are taken apart. */
std::vector<wire_item> wire_items(const message &type, wire_form form);
std::vector<wire_item> wire_items(const enumeration &type);

}  // namespace codegen
