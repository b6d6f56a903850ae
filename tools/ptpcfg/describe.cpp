// describe: a type's fields, variants and bytes, from reflection.
#include <algorithm>
#include <set>

#include "commands.h"
#include "failure.h"
#include "files.h"
#include "names.h"
#include "record_writer.h"
#include "records.h"
#include "table.h"
#include "value_forms.h"

namespace ptpcfg {
namespace {

const char *kind_name(ptp_cfg_type_kind kind) {
    switch (kind) {
        case PTP_CFG_STRUCTURE:
            return "structure";
        case PTP_CFG_ENUMERATION:
            return "enumeration";
        default:
            return "message";
    }
}

std::string text_or_nothing(const char *text) { return text == nullptr ? "" : text; }

std::string variants(int latest) { return latest == 0 ? "0" : "0 to " + std::to_string(latest); }

std::string list_text() {
    table table;
    table.row({"NAME", "KIND", "VARIANTS", "SIZE", "IDENTITY", "MEANING"});
    for (u_int32 index = 0; index < ptp_cfg_type_count(); ++index) {
        const ptp_cfg_type_description type = describe(ptp_cfg_type_at(index));
        table.row({type.short_name, kind_name(type.kind), variants(type.newest_variant),
                   std::to_string(type.untracked_size), type.luid_text, first_sentence(type.doc)});
    }
    return table.text();
}

std::string members_text(const ptp_cfg_type *type, const ptp_cfg_type_description &description) {
    table table;
    if (description.kind == PTP_CFG_ENUMERATION) {
        table.row({"VALUE", "LITERAL", "SINCE", "MEANING"});
        for (const enumeration_literal &row : literals_of(type)) {
            table.row({std::to_string(row.number), row.literal, std::to_string(row.since), row.doc});
        }
        return table.text();
    }
    const bool is_message = description.kind == PTP_CFG_MESSAGE;
    table.row({is_message ? "PAYLOAD" : "FIELD", "TYPE", "SINCE", "MEANING"});
    for (const ptp_cfg_field_description &field : fields_of(type)) {
        table.row({field.name, type_of(field), std::to_string(field.since), doc_of(field)});
    }
    return table.text();
}

/** How values are written whose form is not plain, where there are such. */
std::string forms_text(const ptp_cfg_type *type) {
    table table;
    std::set<std::string> told;
    for (const ptp_cfg_field_description &field : fields_of(type)) {
        const std::string form = form_of(field);
        const bool is_own = is_ipv4_number(field);
        if (!form.empty() && told.insert(is_own ? field.name : field.type_name).second) {
            table.row({is_own ? field.name : field.type_name, "is written as " + form});
        }
    }
    return told.empty() ? "" : "\n" + table.text();
}

std::string primitive_text(const primitive_doc &primitive) {
    const bool may_be_address = std::string_view(primitive.name) == "u_int32";
    return std::string(primitive.name) + ": primitive\n" + primitive.doc + ".\n\nIn XML it is written as " +
           primitive.form +
           (may_be_address ? "; where it is an IPv4 address ('describe' says so) also as 192.0.2.1.\n" : ".\n");
}

std::string details_text(const ptp_cfg_type *type) {
    const ptp_cfg_type_description description = describe(type);
    std::string text = std::string(description.short_name) + ": " + kind_name(description.kind) + "\n";
    if (!text_or_nothing(description.doc).empty()) {
        text += std::string(description.doc) + "\n";
    }
    table facts;
    facts.row({"identity", description.luid_text});
    facts.row({"variants", variants(description.newest_variant)});
    std::string size = std::to_string(description.untracked_size) + " bytes in memory";
    if (description.tracked_size > description.untracked_size) {
        size += ", " + std::to_string(description.tracked_size) + " with state flags";
    }
    facts.row({"size", size});
    if (description.kind == PTP_CFG_STRUCTURE && is_byte_list(type)) {
        facts.row({"written as", form_of_byte_list(type)});
    }
    return text + "\n" + facts.text() + "\n" + members_text(type, description) + forms_text(type);
}

/** Collects where each part of an encoding stands. */
class layout {
  public:
    explicit layout(bool tracked) : tracked_(tracked) { table_.row({"OFFSET", "WIDTH", "FIELD", "CONTENT"}); }

    void message(const ptp_cfg_type *type) {
        add(VELA_WIRE_MESSAGE_HEADER, "header", "tag, address, tracked, word, length, zeros");
        add(VELA_WIRE_LUID, "identity", describe(type).luid_text);
        for (const ptp_cfg_field_description &payload : fields_of(type)) {
            element(payload, payload.name);
        }
    }

    void structure(const ptp_cfg_type *type, const std::string &path, int variant) {
        add(VELA_WIRE_VARIANT, path + "variant", std::to_string(variant));
        add(VELA_WIRE_OBJECT_FLAG, path + "flag", tracked_ ? "8" : "0");
        add(VELA_WIRE_JUMP, path + "jump", "bytes from here to the end of this record");
        for (const ptp_cfg_field_description &field : fields_of(type)) {
            if (field.since <= variant) {
                this->field(field, path + field.name);
            }
        }
    }

    void enumeration(const ptp_cfg_type *type, const std::string &path) {
        add(VELA_WIRE_VARIANT, path + "/variant", std::to_string(describe(type).newest_variant));
        add(sizeof(u_int32), path, describe(type).name);
    }

    std::string text() const {
        return table_.text() + "\n" + std::to_string(offset_) + (variable_ ? " bytes and the texts\n" : " bytes\n");
    }

  private:
    void add(size_t width, const std::string &path, const std::string &content) {
        table_.row({offset_text(), std::to_string(width), path, content});
        offset_ += width;
    }

    std::string offset_text() const { return std::to_string(offset_) + (variable_ ? "+" : ""); }

    void field(const ptp_cfg_field_description &field, const std::string &path) {
        if (field.is_array == 0) {
            element(field, path);
        } else {
            array(field, path);
        }
        if (tracked_ && field.is_read_only == 0) {
            add(field.is_array != 0 ? 1 + size_t{field.capacity} : 1, path + " state", "");
        }
    }

    /** Of records the first element stands for all. */
    void array(const ptp_cfg_field_description &field, const std::string &path) {
        const size_t start = offset_;
        if (field.kind != PTP_CFG_FIELD_STRUCTURE) {
            add(size_t{field.capacity} * field.wire_width, path, type_of(field));
            return;
        }
        element(field, path + "[0]");
        const size_t width = offset_ - start;
        add(width * (field.capacity - 1), path + "[1...]",
            "elements 1 to " + std::to_string(field.capacity - 1) + ", " + std::to_string(width) + " bytes each");
    }

    void element(const ptp_cfg_field_description &field, const std::string &path) {
        switch (field.kind) {
            case PTP_CFG_FIELD_STRUCTURE:
                structure(field.type, path + "/", describe(field.type).newest_variant);
                break;
            case PTP_CFG_FIELD_ENUMERATION:
                enumeration(field.type, path);
                break;
            case PTP_CFG_FIELD_TEXT:
                table_.row({offset_text(), "0 to 255", path, "as many characters as the byte before says"});
                variable_ = true;
                break;
            default:
                add(field.wire_width, path, field.type_name);
                break;
        }
    }

    table table_;
    size_t offset_ = 0;
    bool variable_ = false;
    bool tracked_;
};

std::string layout_text(const ptp_cfg_type *type, int variant, bool tracked) {
    const ptp_cfg_type_description description = describe(type);
    if (variant < 0 || variant > description.newest_variant) {
        throw failure(exit_code::usage, "--variant " + std::to_string(variant) + ": " + description.short_name + " " +
                                            variants_text(description));
    }
    layout layout(tracked);
    switch (description.kind) {
        case PTP_CFG_MESSAGE:
            layout.message(type);
            break;
        case PTP_CFG_ENUMERATION:
            layout.enumeration(type, description.name);
            break;
        default:
            layout.structure(type, "", variant);
            break;
    }
    return layout.text();
}

/** A record with every field at its default, to start from. */
std::string sample_text(const ptp_cfg_type *type, const session_options &options) {
    const session session(options);
    std::vector<record> records;
    records.push_back(new_record(type, session.handle(false)));
    return render(records, format::xml);
}

std::string answer(const describe_options &options) {
    if (options.name.empty()) {
        return list_text();
    }
    if (const primitive_doc *primitive = primitive_named(options.name)) {
        return primitive_text(*primitive);
    }
    const bool is_plain = options.variant < 0 && !options.xml;
    if (is_plain && ptp_cfg_type_find(options.name.c_str()) == nullptr) {
        if (const std::optional<std::string> text = literal_text(options.name)) {
            return *text;
        }
        if (const std::optional<std::string> text = field_text(options.name)) {
            return *text;
        }
    }
    const ptp_cfg_type *type = type_named(options.name);
    if (options.xml) {
        return sample_text(type, options.session);
    }
    return options.variant >= 0 ? layout_text(type, options.variant, options.tracked) : details_text(type);
}

}  // namespace

void describe(const describe_options &options) {
    const std::string text = answer(options);
    write_output("-", options.xml ? text : wrapped(text, line_width()));
}

}  // namespace ptpcfg
