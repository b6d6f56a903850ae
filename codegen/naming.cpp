// How generated code names types, fields and parameters.
#include "naming.h"

#include <set>

#include "checker.h"

namespace codegen {

std::string value_type(const field &row) {
    return row.category == field_category::enumeration ? "u_int32" : storage_type(row);
}

std::string storage_type(const field &row) { return row.category == field_category::text ? "char" : row.type_name; }

std::string kind_name(const field &row) {
    switch (row.category) {
        case field_category::enumeration:
            return "enumeration";
        case field_category::structure:
            return "structure";
        default:
            return row.type_name;
    }
}

std::string parameter_name(const field &row) {
    static const std::set<std::string> taken = {"handle", "mem_class", "instance", "err"};
    return taken.contains(row.name) || is_keyword(row.name) ? row.name + "_" : row.name;
}

std::string type_info_name(const std::string &type_name) { return "_" + type_name + "_type_info_internal"; }

std::string handler_name(const message &type) { return "ptp_cfg_" + type.type_name() + "_handler"; }

}  // namespace codegen
