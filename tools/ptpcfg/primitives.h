// The runtime's primitive types by name: whether a text is one of their values, and bytes of the wire as text.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "reflection.h"

namespace ptpcfg {

/**
 * Checks that the runtime reads an element as a value of a primitive field.
 * @param element  XML of the element, which has the field's name
 * @param text     its characters, for the answer
 * @return what is wrong with it, or an empty text
 */
std::string check_value(const ptp_cfg_field_description &field, const std::string &element, const std::string &text,
                        vela_handle *handle);

/** The value that the bytes of a primitive hold, as people read it. */
std::string value_text(const ptp_cfg_field_description &field, std::string_view bytes, vela_handle *handle);

/** A number in network byte order. */
u_int64 read_number(std::string_view bytes);

/** A text in quotes, its control characters escaped. */
std::string quoted(std::string_view text);

}  // namespace ptpcfg
