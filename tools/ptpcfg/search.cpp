// search: names and meanings that have a word.
#include <algorithm>
#include <cctype>

#include "commands.h"
#include "failure.h"
#include "files.h"
#include "names.h"
#include "table.h"
#include "value_forms.h"

namespace ptpcfg {
namespace {

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return text;
}

class finder {
  public:
    explicit finder(const std::string &word) : word_(lower(word)) { rows_.row({"NAME", "KIND", "MEANING"}); }

    void look_at(const std::string &shown, std::string_view name, const char *kind, const std::string &doc) {
        if (lower(std::string(name)).find(word_) != std::string::npos || lower(doc).find(word_) != std::string::npos) {
            rows_.row({shown, kind, doc});
            ++count_;
        }
    }
    void look_into(const ptp_cfg_type *type) {
        const ptp_cfg_type_description about = describe(type);
        const char *kind = about.kind == PTP_CFG_STRUCTURE     ? "structure"
                           : about.kind == PTP_CFG_ENUMERATION ? "enumeration"
                                                               : "message";
        look_at(about.short_name, about.short_name, kind, about.doc == nullptr ? "" : about.doc);
        for (const ptp_cfg_field_description &field : fields_of(type)) {
            look_at(std::string(about.short_name) + "." + field.name, field.name, "field", doc_of(field));
        }
        for (const enumeration_literal &row : literals_of(type)) {
            look_at(row.literal, row.literal, "value", row.doc);
        }
    }
    bool has_found() const { return count_ > 0; }
    std::string text() const { return rows_.text(); }

  private:
    std::string word_;
    table rows_;
    size_t count_ = 0;
};

}  // namespace

void search(const std::string &word) {
    finder found(word);
    for (u_int32 index = 0; index < ptp_cfg_type_count(); ++index) {
        found.look_into(ptp_cfg_type_at(index));
    }
    for (const primitive_doc &primitive : primitive_docs()) {
        found.look_at(primitive.name, primitive.name, "primitive", primitive.doc);
    }
    if (!found.has_found()) {
        throw failure(exit_code::bad_input, "nothing has '" + word + "' in its name or meaning");
    }
    write_output("-", found.text());
}

}  // namespace ptpcfg
