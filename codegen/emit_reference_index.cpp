// Writes the reference's index: conventions, subjects and primitives.
#include "emit.h"
#include "emit_reference.h"
#include "emit_reference_markdown.h"
#include "emit_reference_wire.h"
#include "placeholders.h"
#include "text.h"

namespace codegen {
namespace {

constexpr std::string_view introduction = R"(# Reference

All types and messages of the library: what their fields mean, where each is used, how its bytes lie on the wire and
which functions it has.

- [How to read the layouts](#layouts)
{contents}- [Primitive types](#{primitives})
- [Functions of the library](#functions)

)";

constexpr std::string_view layouts = R"(<a id="layouts"></a>
## How to read the layouts

Numbers are in network byte order; nothing is padded. Offsets and widths are in bytes.

A record (an instance of a structure) is written as:

| Item | Width | Content |
| --- | --- | --- |
| variant | {variant} | The variant that is written, a signed number; -1 where there is no instance, and then no field follows |
| flag | {flag} | 0x08: state flags travel; 0x20: extra data follows; other bits are ignored |
| extra data | {extra} | Only with flag 0x20, and then all later offsets are {extra} higher. A reader passes over it |
| jump | {jump} | How many bytes lie between the start of this item and the end of the record |
| fields | | Those that the variant has, in the order of declaration |

- **Older and newer peers.** A reader goes on where the jump says: what a newer variant put behind the fields that it
  knows is passed over. A field that the record's variant lacks stays as it is in the instance that is read into.
- **Enumerations** take {enumeration} bytes: the variant of the instance, and the number of the value in 4 bytes.
- **Arrays** are written element by element. An array of records is drawn as its first element and the width of the
  others.
- **Texts** are characters without a terminator. The byte before says how many there are. In the tables n stands for
  that number, 0 to 255; in an offset it counts the texts before, in a width and a jump those inside.
- **State flags.** Under a handle that tracks state each field is followed by the byte that says how it was set; an
  array is followed by one for the array as a whole and one per element. The length of a text has none. Embedded records
  bring those of their own fields with them.
- **Embedded records** are drawn at their latest variant, whatever the variant of the outermost one; the name of their
  items says where they are: `clk_id/jump` is the jump of the record in the field `clk_id`. A record that lies deeper
  stands in one line, with its whole width and a link to the page that takes it apart.
- **Messages** begin with {prefix} bytes of header and identity. The identity (LUID) says which message it is; payloads
  follow it without a gap.

`ptpcfg decode --explain` says the same of given bytes.

)";

struct entry {
    std::string name;
    std::string kind;
    std::string doc;
};

std::vector<entry> entries_of(const subject &file) {
    std::vector<entry> entries;
    for (const structure &type : file.structures) {
        entries.push_back({type.name, "structure", type.doc});
    }
    for (const enumeration &type : file.enumerations) {
        entries.push_back({type.name, "enumeration", type.doc});
    }
    for (const message &type : file.messages) {
        entries.push_back({type.type_name(), "message", type.doc});
    }
    return entries;
}

std::string subject_section(const subject &file) {
    markdown_table table({"Name", "Kind", "Meaning"});
    for (const entry &row : entries_of(file)) {
        table.row({link(row.name), row.kind, first_sentence(row.doc)});
    }
    return "<a id=\"" + subject_anchor(file.name) + "\"></a>\n## " + prose(file.title) + "\n\n" + prose(file.doc) +
           "\n\nDeclared in " + code(header_of(file.name)) + ".\n\n" + table.text();
}

std::string primitives_section(const model &schema) {
    markdown_table table({"Name", "Meaning", "Bytes in memory", "Bytes on the wire"});
    for (const primitive &type : schema.primitives) {
        table.row({code(type.name), prose(documented(type)), std::to_string(type.size), std::to_string(type.width)});
    }
    table.row(
        {code("var_string"), "text of 0 to 255 characters, counted by the field before it", "8 for a pointer", "n"});
    return "<a id=\"" + std::string(primitives_anchor) + "\"></a>\n## Primitive types\n\nTypes of fields that the " +
           "runtime brings, declared in `velalib/types.h` and `velalib/primitives.h`.\n\n" + table.text();
}

std::string module_section(const generation &input) {
    std::string text =
        "<a id=\"functions\"></a>\n## Functions of the library\n\nThese belong to no type; they are "
        "declared in `ptp_cfg/json.h`, `ptp_cfg/module.h`, `ptp_cfg/receive.h` and `ptp_cfg/reflect.h`.\n\n";
    for (const std::string &name : input.templates.module_functions) {
        text += "- " + code(name) + "\n";
    }
    return text;
}

}  // namespace

void emit_reference_index(const generation &input, output_set &files) {
    std::string contents;
    std::string subjects;
    for (const subject &file : input.schema.subjects) {
        contents += "- [" + prose(file.title) + "](#" + subject_anchor(file.name) + ")\n";
        subjects += subject_section(file);
    }
    const std::string text =
        fill(introduction, {{"contents", contents}, {"primitives", std::string(primitives_anchor)}}) +
        fill(layouts, {{"variant", std::to_string(wire_variant_width)},
                       {"flag", std::to_string(wire_flag_width)},
                       {"extra", std::to_string(wire_extra_width)},
                       {"jump", std::to_string(wire_jump_width)},
                       {"enumeration", std::to_string(wire_enumeration_width)},
                       {"prefix", std::to_string(wire_message_prefix)}}) +
        subjects + primitives_section(input.schema) + module_section(input);
    files.add(std::string(reference_directory) + "/index.md", text);
}

}  // namespace codegen
