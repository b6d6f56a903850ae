// Compares an XML input with what the types say, before the library reads it.
#pragma once

#include <string>
#include <vector>

#include "fault_list.h"
#include "session.h"
#include "xml_source.h"

namespace ptpcfg {

/** An element that holds a message or, when a type was asked for, a record. */
struct xml_record {
    const ptp_cfg_type *type;
    pugi::xml_node node;
};

/**
 * Finds the records of a source: message elements, or elements of `bare_type`. The library skips what it does not know
 * and keeps defaults for it; here that is a fault. Each is added to `faults` as a line with file, line and element path.
 * @param is_frame  the source is the tags of a frame, which holds no records
 * @return nothing when there was a fault
 */
std::vector<xml_record> check_records(const xml_source &source, bool is_frame, const ptp_cfg_type *bare_type,
                                      const session &session, fault_list &faults);

}  // namespace ptpcfg
