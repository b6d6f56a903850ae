// The values of a record by their paths, and the record with one of them changed.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "session.h"

namespace ptpcfg {

using json_value = nlohmann::ordered_json;

/** A record as JSON shows it; a message is an object of one member. */
json_value json_of(const record &record);

/** A field, structure or array, and where it stands, as in ptp_clock_cfg/ptp_clock/clk_id/ptp_clk_id[3]. */
struct field_node {
    std::string path;
    const json_value *value;
};

/** Whether a value is one thing for people, also where JSON has an object for it. */
bool is_leaf(const json_value &value);

/** Everything that a record holds; the values belong to `value`. */
std::vector<field_node> nodes_of(const ptp_cfg_type *type, const json_value &value);

/**
 * The nodes that FIELD names: the whole path, or without the message, or without the payload as well; else each whose
 * path ends so. Steps are parted by / or a full stop.
 */
std::vector<field_node> named_nodes(const std::vector<field_node> &nodes, const std::string &field);

/** "there is no field X", with the name that was probably meant. */
std::string no_field_text(const std::vector<field_node> &nodes, const std::string &field);
/** The only one of several; fails with their paths. */
const field_node &only_node(const std::vector<field_node> &found, const std::string &field);

/** A value for people: texts as they are where that is plain, all else as JSON. */
std::string plain_text(const json_value &value);

/** The field's description by a node's path; its name is NULL for a message or type as a whole. */
ptp_cfg_field_description field_at(const ptp_cfg_type *type, const std::string &path);

/** What VALUE means for the field at a path. Fails when it must be JSON and is not. */
json_value value_for(const ptp_cfg_type *type, const std::string &path, const std::string &text);

/** Gives a record, all within, the values of `changed`, which is its JSON with other values. Fails with path and reason. */
void take_values(const record &record, const json_value &changed);

}  // namespace ptpcfg
