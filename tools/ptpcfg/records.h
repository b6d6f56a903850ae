// Between bytes, XML, text and instances.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "formats.h"
#include "session.h"

namespace ptpcfg {

/** A record with every field at its default. */
record new_record(const ptp_cfg_type *type, vela_handle *handle);

/**
 * Decodes a message; fails at the first byte that is wrong.
 * @param name, offset  of the input and of the message in it, for the failure
 * @param message       its bytes, as many as its header says
 * @param wanted        the message that it must be, or nullptr
 */
record message_from_bytes(const std::string &name, u_int64 offset, std::string_view message, const ptp_cfg_type *wanted,
                          const session &session);

/** Decodes every message that there is, or one record of `bare_type`, likewise. */
std::vector<record> records_from_bytes(const std::string &name, std::string_view bytes, const ptp_cfg_type *bare_type,
                                       const session &session);

/**
 * Add a record to a text: its encoding; XML as the library renders it, in one line; or the text of print. Values of
 * enumerations without a literal are numbers in both.
 */
void append_bytes(const record &record, std::string &bytes);
void append_xml(const record &record, std::string &text);
void append_print(const record &record, std::string &text);

}  // namespace ptpcfg
