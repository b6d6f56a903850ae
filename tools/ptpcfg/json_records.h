// Records from JSON and to it, by the library's codec.
#pragma once

#include <functional>

#include "session.h"

namespace ptpcfg {

/** Says where a place of a text is, for people: offset, line and column in the text. */
using place_fn = std::function<std::string(size_t offset, size_t line, size_t column)>;

/**
 * Builds the record of a text: a message, or a record of `wanted`. Fails at the first fault, with its place and path.
 * @param wanted  the type of the record, or nullptr for any message
 */
record record_from_json(std::string_view text, const ptp_cfg_type *wanted, const session &session,
                        const place_fn &place);

struct json_layout {
    size_t depth;    // of the lines behind the first
    bool qualified;  // a message is named with the YANG module in front
};

/** Adds a record to a text, indented. */
void append_json(const record &record, const json_layout &layout, std::string &text);

}  // namespace ptpcfg
