// Which subjects use which.
#include "model.h"

namespace codegen {
namespace {

std::set<std::string> uses_of(const subject &file) {
    std::set<std::string> names;
    for (const structure &type : file.structures) {
        for (const field &row : type.fields) {
            if (row.enumeration != nullptr) {
                names.insert(row.enumeration->subject);
            }
            if (row.structure != nullptr) {
                names.insert(row.structure->subject);
            }
        }
    }
    for (const message &type : file.messages) {
        for (const payload &row : type.payloads) {
            if (row.structure != nullptr) {
                names.insert(row.structure->subject);
            }
        }
    }
    names.erase(file.name);
    return names;
}

}  // namespace

std::map<std::string, std::set<std::string>> subject_uses(const model &schema) {
    std::map<std::string, std::set<std::string>> uses;
    for (const subject &file : schema.subjects) {
        uses.emplace(file.name, uses_of(file));
    }
    return uses;
}

}  // namespace codegen
