// Descriptions of the JSON form for others' validators, from reflection.
#pragma once

#include <string>

#include "reflection.h"

namespace ptpcfg {

/** A JSON Schema of one type or message, or of any message for nullptr. */
std::string json_schema(const ptp_cfg_type *type);

/** A YANG module of all types. */
std::string yang_module();

}  // namespace ptpcfg
