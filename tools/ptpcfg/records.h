// Between bytes, XML, text and instances.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "formats.h"
#include "session.h"
#include "xml_check.h"

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

/** Builds the records of an XML text, after it was checked; see check_records() for `is_frame` and `faults`. */
std::vector<record> records_from_source(const xml_source &source, bool is_frame, const ptp_cfg_type *bare_type,
                                        const session &session, fault_list &faults);

/** Add a record to a text: its encoding; XML as the library renders it, in one line; or the text of print. */
void append_bytes(const record &record, std::string &bytes);
void append_xml(const record &record, std::string &text);
void append_print(const record &record, std::string &text);

}  // namespace ptpcfg
