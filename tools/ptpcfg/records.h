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

/** Decodes every message of an input, or one record of `bare_type`; fails at the first byte that is wrong. */
std::vector<record> records_from_bytes(const std::string &name, std::string_view bytes, const ptp_cfg_type *bare_type,
                                       const session &session);

/** Builds the records of an XML input, after it was checked. */
std::vector<record> records_from_xml(const std::string &name, const std::string &text, const ptp_cfg_type *bare_type,
                                     const session &session);

/** Input of any format. */
std::vector<record> records_from_input(const std::string &name, const std::string &content, format form,
                                       const ptp_cfg_type *bare_type, const session &session);

std::string bytes_of(const record &record);
/** As the library renders it, in one line. */
std::string xml_of(const record &record);
std::string print_of(const record &record);

/** Records in an output format; several in XML stand in one <ptp_cfg>. */
std::string render(const std::vector<record> &records, format form);

}  // namespace ptpcfg
