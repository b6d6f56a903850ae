// Compares an XML input with what the types say, before the library reads it.
#pragma once

#include <string>
#include <vector>

#include "session.h"
#include "xml_source.h"

namespace ptpcfg {

/** An element that holds a message or, when a type was asked for, a record. */
struct xml_record {
    const ptp_cfg_type *type;
    pugi::xml_node node;
};

/**
 * Finds the records of an input: message elements, alone or within the <ptp_cfg> of a recorder, or elements of
 * `bare_type`. The library skips what it does not know and keeps defaults for it; here that is a fault. All faults
 * are reported in one failure, a line each, with file, line and element path.
 */
std::vector<xml_record> check_records(const xml_source &source, const ptp_cfg_type *bare_type, const session &session);

}  // namespace ptpcfg
