// Writes a reference page per type.
#include "emit_reference.h"

#include <algorithm>

#include "emit_reference_markdown.h"
#include "emit_reference_wire.h"
#include "layout.h"
#include "naming.h"

namespace codegen {
namespace {

/** By type, the places that hold one, as lines of a list. */
using users = std::map<std::string, std::vector<std::string>>;

users find_users(const model &schema) {
    users result;
    for (const structure *type : schema.structures) {
        for (const field &row : type->fields) {
            result[row.type_name].push_back(link(type->name) + ", field " + code(row.name));
        }
    }
    for (const message *type : schema.messages) {
        for (const payload &row : type->payloads) {
            result[row.type_name].push_back(link(type->type_name()) + ", payload");
        }
    }
    return result;
}

std::string used_by(const users &places, const std::string &type_name) {
    const auto found = places.find(type_name);
    if (found == places.end()) {
        return "";
    }
    std::string text = "## Used by\n\n";
    for (const std::string &place : found->second) {
        text += "- " + place + "\n";
    }
    return text + "\n";
}

/** Heads a page. */
std::string heading(const generation &input, const std::string &name, const std::string &kind, const named_type &type) {
    const auto &subjects = input.schema.subjects;
    const auto file =
        std::find_if(subjects.begin(), subjects.end(), [&](const subject &row) { return row.name == type.subject; });
    return "# " + name + "\n\n" + kind + ", [" + prose(file->title) + "](index.md#" + subject_anchor(file->name) +
           "); declared in " + code(header_of(file->name)) + ".\n\n" + prose(type.doc) + "\n\n";
}

std::string layout_table(const std::vector<wire_item> &items) {
    markdown_table table({"Offset", "Width", "Item", "Content"});
    for (const wire_item &item : items) {
        table.row({item.offset.text(), item.width.text(), code(item.name), item.content});
    }
    return table.text();
}

std::string both_forms(const wire_size &untracked, const wire_size &tracked) {
    return untracked.text() + (tracked.text() == untracked.text() ? "" : "; with state flags " + tracked.text());
}

/** "field modify" of the group "ptp_clock, field modify"; empty for what belongs to the type itself. */
std::string part_of(const function_group &group) {
    const std::size_t comma = group.title.find(", ");
    return comma == std::string::npos ? "" : group.title.substr(comma + 2);
}

/** A list of the functions of a rank: those of the type by family, then those of its fields or payloads. */
std::string functions_of_rank(const std::vector<function_group> &groups, rank wanted) {
    std::vector<std::pair<std::string, std::string>> lines;
    for (const function_group &group : groups) {
        const std::string part = part_of(group);
        for (const function &row : group.functions) {
            const std::string title = part.empty() ? row.family : part;
            const auto line =
                std::find_if(lines.begin(), lines.end(), [&](const auto &each) { return each.first == title; });
            if (row.rank == wanted && line == lines.end()) {
                lines.emplace_back(title, code(row.name));
            } else if (row.rank == wanted) {
                line->second += ", " + code(row.name);
            }
        }
    }
    std::string text;
    for (const auto &[title, names] : lines) {
        text += "- " + prose(title) + ": " + names + "\n";
    }
    return text;
}

/** The names of a type's functions, in the order of its header. */
std::string functions_section(const generation &input, const std::string &type_name, const std::string &subject) {
    const auto groups = input.functions.by_type.find(type_name);
    if (groups == input.functions.by_type.end()) {
        return "";
    }
    std::string text = "## Functions\n\n" + code(header_of(subject)) + " has their prototypes and what each does.\n\n";
    for (const rank wanted : {rank::everyday, rank::chained, rank::runtime}) {
        const std::string list = functions_of_rank(groups->second, wanted);
        text += list.empty() ? "" : "### " + rank_title(wanted) + "\n\n" + list + "\n";
    }
    return text;
}

// ---- enumerations --------------------------------------------------------------------------------------------------

std::string page(const generation &input, const users &places, const enumeration &type) {
    markdown_table facts({"Property", "Value"});
    facts.row({"Identity (LUID)", code(type.luid)});
    facts.row({"Variants", variants_text(type.latest)});
    facts.row({"Bytes in memory", std::to_string(enumeration_size)});
    facts.row({"Bytes on the wire", std::to_string(wire_enumeration_width)});
    markdown_table values({"Number", "Literal", "Since variant", "Meaning"});
    for (const enumeration_value &row : type.values) {
        values.row({std::to_string(row.number), code(row.literal), std::to_string(row.since), prose(row.doc)});
    }
    return heading(input, type.name, "Enumeration", type) + facts.text() + "## Values\n\n" + values.text() +
           used_by(places, type.name) +
           "## Wire layout\n\nThe same at every variant, with and without state flags.\n\n" +
           layout_table(wire_items(type)) + functions_section(input, type.name, type.subject);
}

// ---- structures ----------------------------------------------------------------------------------------------------

std::string structure_facts(const structure &type) {
    markdown_table facts({"Property", "Value"});
    facts.row({"Identity (LUID)", code(type.luid)});
    facts.row({"Variants", variants_text(type.latest)});
    facts.row(
        {"Bytes in memory", std::to_string(type.size) + "; with state flags " + std::to_string(type.tracked_size())});
    facts.row({"Bytes on the wire", both_forms(wire_size_of(type, type.latest, wire_form::untracked),
                                               wire_size_of(type, type.latest, wire_form::tracked))});
    return facts.text();
}

/** "0 to 255"; nothing where the type's own page or row says more. */
std::string range_of(const field &row) {
    constexpr std::string_view before = "number from ";
    const bool is_number = row.category == field_category::primitive && row.primitive->doc.starts_with(before);
    return is_number ? row.primitive->doc.substr(before.size()) : "";
}

std::string fields_section(const structure &type) {
    markdown_table fields({"Number", "Field", "Type", "Range", "Since variant", "Unit", "Meaning"});
    for (std::size_t index = 0; index < type.fields.size(); ++index) {
        const field &row = type.fields[index];
        fields.row({std::to_string(index), code(row.name), type_link(row), range_of(row), std::to_string(row.since),
                    prose(row.unit), prose(row.doc)});
    }
    return "## Fields\n\n" + fields.text();
}

/** What each variant of a structure with several adds to the one before it. */
std::string variants_section(const structure &type) {
    if (type.latest == 0) {
        return "";
    }
    markdown_table variants(
        {"Variant", "Adds", "Bytes in memory", "Spare bytes", "Bytes on the wire", "Valid field numbers"});
    for (std::uint32_t variant = 0; variant <= type.latest; ++variant) {
        std::string added;
        for (const field &row : type.fields) {
            if (row.since == variant && variant > 0) {
                added += (added.empty() ? "" : ", ") + code(row.name);
            }
        }
        variants.row({std::to_string(variant), added, std::to_string(type.rows[variant].used),
                      std::to_string(type.rows[variant].slop),
                      both_forms(wire_size_of(type, variant, wire_form::untracked),
                                 wire_size_of(type, variant, wire_form::tracked)),
                      "below " + std::to_string(type.validity[variant])});
    }
    return "## Variants\n\n" + variants.text();
}

std::string structure_layouts(const structure &type) {
    std::string text = "## Wire layout\n\n[How to read it](index.md#layouts)\n\n";
    for (std::uint32_t variant = 0; variant <= type.latest; ++variant) {
        for (const wire_form form : {wire_form::untracked, wire_form::tracked}) {
            text += "### Variant " + std::to_string(variant) + (form == wire_form::tracked ? " with state flags" : "") +
                    "\n\n" + wire_size_of(type, variant, form).text() + " bytes.\n\n" +
                    layout_table(wire_items(type, variant, form));
        }
    }
    return text;
}

/** The flags of one field: its own, those of elements, and the blocks of the records in it. */
void add_state_rows(markdown_table &table, const field &row) {
    const std::string name = code(row.name);
    std::uint32_t position = row.flag_position;
    const auto add = [&](std::uint32_t length, const std::string &content) {
        table.row({std::to_string(position), std::to_string(length), content});
        position += length;
    };
    add(1, name + (row.is_array() ? " as a whole" : ""));
    if (row.is_array()) {
        add(*row.capacity, "elements of " + name + ", one each");
    }
    if (row.structure != nullptr) {
        const std::uint32_t length = row.structure->block_length;
        add(row.capacity.value_or(1) * length,
            "block of " + link(row.structure->name) + " in " + name +
                (row.is_array() ? ", " + plural(length, "byte") + " per element" : ""));
    }
}

std::string state_section(const structure &type) {
    markdown_table table({"Position", "Bytes", "Flags of"});
    for (const field &row : type.fields) {
        if (!row.is_companion()) {
            add_state_rows(table, row);
        }
    }
    return "## State flags\n\nUnder a handle that tracks state, a block of " + plural(type.block_length, "byte") +
           " follows the " + std::to_string(type.size) + " bytes of the instance.\n\n" + table.text();
}

std::string page(const generation &input, const users &places, const structure &type) {
    return heading(input, type.name, "Structure", type) + structure_facts(type) + fields_section(type) +
           variants_section(type) + used_by(places, type.name) + structure_layouts(type) + state_section(type) +
           functions_section(input, type.name, type.subject);
}

// ---- messages ------------------------------------------------------------------------------------------------------

std::string payloads_section(const message &type) {
    markdown_table table({"Payload", "Offset", "Bytes", "Offset with state flags", "Bytes with state flags"});
    wire_size untracked = {wire_message_prefix, false};
    wire_size tracked = untracked;
    for (const payload &row : type.payloads) {
        const wire_size size = wire_size_of(row, wire_form::untracked);
        const wire_size tracked_size = wire_size_of(row, wire_form::tracked);
        table.row({type_link(row), untracked.text(), size.text(), tracked.text(), tracked_size.text()});
        untracked += size;
        tracked += tracked_size;
    }
    return "## Payloads\n\n" + table.text();
}

std::string page(const generation &input, const users &, const message &type) {
    const std::string name = type.type_name();
    const wire_size untracked = wire_size_of(type, wire_form::untracked);
    const wire_size tracked = wire_size_of(type, wire_form::tracked);
    markdown_table facts({"Property", "Value"});
    facts.row({"Identity (LUID)", code(type.luid)});
    facts.row({"Role", type.role});
    facts.row({"Received by", code(handler_name(type))});
    facts.row({"Bytes in memory", std::to_string(type.size()) + " and the payloads"});
    facts.row({"Bytes on the wire", both_forms(untracked, tracked)});
    std::string text = heading(input, name, "Message", type) + facts.text() + payloads_section(type) +
                       "## Wire layout\n\n[How to read it](index.md#layouts)\n\n### Without state flags\n\n" +
                       untracked.text() + " bytes.\n\n" + layout_table(wire_items(type, wire_form::untracked));
    text += "### With state flags\n\n" + tracked.text() + " bytes.\n\n" +
            layout_table(wire_items(type, wire_form::tracked));
    return text + functions_section(input, name, type.subject);
}

}  // namespace

std::string subject_anchor(const std::string &subject) { return "subject-" + subject; }

std::string header_of(const std::string &subject) { return "ptp_cfg/" + subject + ".h"; }

void emit_reference(const generation &input, output_set &files) {
    const users places = find_users(input.schema);
    const auto add = [&](const std::string &type_name, std::string text) {
        text.erase(text.find_last_not_of('\n') + 1);
        files.add(std::string(reference_directory) + "/" + page_of(type_name), text + "\n");
    };
    emit_reference_index(input, files);
    for_each_type(input.schema, [&](const auto &type) { add(type.type_name(), page(input, places, type)); });
    files.own(std::string(reference_directory));
}

}  // namespace codegen
