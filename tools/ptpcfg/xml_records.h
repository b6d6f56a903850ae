// Records from XML, by the library's strict reading unless the command line asks for the plain one.
#pragma once

#include <optional>

#include "fault_list.h"
#include "records.h"
#include "xml_splitter.h"

namespace ptpcfg {

/**
 * Builds the record of a piece of an input: a message, or a record of `wanted`. What is wrong with it is added to `faults`
 * as lines with file, line, column and path; fails at once when it is not well-formed.
 * @param name    of the input
 * @param wanted  the type of the record, or nullptr for any message
 * @return nothing for the tags of a frame, and once there are faults
 */
std::optional<record> record_from_xml(const std::string &name, const xml_piece &piece, const ptp_cfg_type *wanted,
                                      const session &session, fault_list &faults);

}  // namespace ptpcfg
