"""The records for C++: plain values, and each record filled and read by the library's accessors."""

from model import Structure

HEADER = """// The benchmarks' records, made by bench/generator: plain values, and the library's side.
#pragma once

#include <array>
#include <cstring>

#include "records/access.h"
#include "records/records.h"

namespace bench {
"""


def indent(lines, by=1):
    return [" " * 4 * by + line if line else line for line in lines]


def _value_declarations(structures):
    opaques, declared = {}, []
    for structure in structures:
        for field in structure.fields:
            if field.kind == "opaque":
                opaques[field.type] = [f"{member.value_type} {member.name};" for member in field.members]
    for structure in structures:
        if structure.is_wrapper or structure.is_uniform:
            one = structure.fields[0].value_type
            many = f"std::array<{one}, {len(structure.fields)}>"
            declared += [f"using {structure.name}_values = {many if structure.is_uniform else one};", ""]
        else:
            declared += _declare(structure.name, [f"{field.value_type} {field.name};" for field in structure.fields])
    return [line for name, members in opaques.items() for line in _declare(name, members)] + declared


def _declare(name, members):
    return [f"struct {name}_values {{", *indent(members),
            f"    bool operator==(const {name}_values &) const = default;", "};", ""]


def _visit(structure):
    """A function that shows the values of a structure to a visitor, under the names of the schema."""
    lines = ["template <class Visitor, class Values>",
             f"constexpr void visit_{structure.name}(Visitor &visitor, Values &values) {{"]
    for field, path in structure.paths("values"):
        if field.capacity:
            lines += [f"    for (auto &entry : {path}) {{", *indent(_visit_field(field, "entry"), 2), "    }"]
        else:
            lines += indent(_visit_field(field, path))
    return [*lines, "}", ""]


def _visit_field(field, path):
    if field.structure:
        return [f'visitor.open("{field.name}");', f"visit_{field.type}(visitor, {path});", "visitor.close();"]
    if field.kind == "choice":
        return [f'visitor.choice("{field.name}", {path}, literals_of_{field.type}{{}});']
    if not field.members:
        return [f'visitor.{field.kind}("{field.name}", {path});']
    lines = []
    for member in field.members:
        inner = field.member_path(member, path)
        lines += ([f"for (auto &octet : {inner}) {{", f'    visitor.number("{member.name}", octet);', "}"]
                  if member.count else [f'visitor.number("{member.name}", {inner});'])
    return lines


def _literal_types(structures):
    """A type for each enumeration, by which visitors find its literals."""
    types = sorted({field.type for each in structures for field in each.fields if field.kind == "choice"})
    return [line for name in types
            for line in (f"struct literals_of_{name} {{",
                         f'    static constexpr const char *type = "{name}";', "};", "")]


class _Fill:
    """Statements that give an instance its values."""

    constness = "const "

    def singles(self, structure, instance, fields):
        values = ", ".join(path for _, path in fields)
        return [f"{structure.name}_set_all(handle, mem_class, {instance}, {values}, err);"]

    def octets(self, accessor, instance, path):
        return [f"{accessor}_set_mem(handle, mem_class, {instance}, {path}.data(), {path}.size(), err);"]

    def members(self, accessor, instance, field, path, variable):
        lines = [f"{field.type} {variable}{{}};"]
        for member in field.members:
            to, value = f"{variable}.{member.name}", field.member_path(member, path)
            lines.append(f"std::memcpy({to}, {value}.data(), {value}.size());" if member.count else f"{to} = {value};")
        return [*lines, f"{accessor}_set(handle, mem_class, {instance}, &{variable}, err);"]


class _Read:
    """Statements that take an instance's values by the accessors for whole structures."""

    constness = ""

    def singles(self, structure, instance, fields):
        places = ", ".join("&" + path for _, path in fields)
        return [f"{structure.name}_get_all(handle, mem_class, {instance}, {places}, err);"]

    def octets(self, accessor, instance, path):
        return [f"{accessor}_get_mem(handle, mem_class, {instance}, {path}.data(), {path}.size(), err);"]

    def members(self, accessor, instance, field, path, variable):
        lines = [f"const {field.type} *{variable} = {accessor}_get(handle, mem_class, {instance}, err);"]
        for member in field.members:
            of, value = f"{variable}->{member.name}", field.member_path(member, path)
            lines.append(f"std::memcpy({value}.data(), {of}, {value}.size());" if member.count else f"{value} = {of};")
        return lines


class _ReadByField(_Read):
    """The same by an accessor for each number."""

    def singles(self, structure, instance, fields):
        return [f"{path} = {structure.name}_{field.name}_get_value(handle, mem_class, {instance}, err);"
                for field, path in fields]

    def octets(self, accessor, instance, path):
        return [f"for (u_int32 at = 0; at < {path}.size(); ++at) {{",
                f"    {path}[at] = {accessor}_get_value(handle, mem_class, {instance}, at, err);", "}"]


def _walk(step, structure, instance, values, prefix=""):
    """The statements of `step` for a structure and all inside; variables are named after the way to what they hold."""
    fields = list(structure.paths(values))
    singles = [each for each in fields if each[0].is_single_value]
    lines = step.singles(structure, instance, singles) if singles else []
    for field, path in fields:
        accessor, variable = f"{structure.name}_{field.name}", prefix + field.name
        if field.structure:
            lines += _walk_inner(step, field, f"{accessor}_get(handle, mem_class, {instance}", path, variable)
        elif field.members:
            lines += step.members(accessor, instance, field, path, variable)
        elif field.capacity:
            lines += step.octets(accessor, instance, path)
    return lines


def _walk_inner(step, field, call, path, variable):
    if not field.capacity:
        return [f"{field.type} *{variable} = {call}, err);",
                *_walk(step, field.structure, variable, path, variable + "_")]
    index, entry = variable + "_index", variable + "_values"
    return [f"for (u_int32 {index} = 0; {index} < {field.capacity}; ++{index}) {{",
            f"    {field.type} *{variable} = {call}, {index}, err);",
            f"    {step.constness}auto &{entry} = {path}[{index}];",
            *indent(_walk(step, field.structure, variable, entry, variable + "_")), "}"]


_CALLS = {"clone": "clone_cr", "copy": "copy_cr"} | {name: name for name in (
    "create", "destroy", "marshal", "unmarshal", "compare", "hash", "print", "to_xml", "from_xml")}


def _record(scenario, structure):
    """A record as the scenarios see it."""
    name, by_reference = structure.name, structure.has_entries
    storage = "static values to;" if by_reference else "values to;"
    functions = [("void", "fill", "instance *to, const values &from", _walk(_Fill(), structure, "to", "from"))]
    for function, step in (("read", _Read()), ("read_by_field", _ReadByField())):
        body = [storage, *_walk(step, structure, "from", "to"), "return to;"]
        functions.append(("result", function, "instance *from", body))
    declarations, definitions = [], []
    for result, function, parameters, body in functions:
        signature = f"{function}(vela_handle *handle, {parameters}, u_int32 *err)"
        declarations.append(f"static {result} {signature};")
        definitions += ["template <class Way>", f"auto {scenario}<Way>::{signature} -> {result} {{", *indent(body),
                        "}", ""]
    members = [
        f"using instance = {name};", f"using values = {name}_values;",
        f"using result = {'const values &' if by_reference else 'values'};",
        f'static constexpr const char *scenario = "{scenario}";', f'static constexpr const char *type = "{name}";',
        f"static constexpr u_int32 width = {structure.width};",
        f"static constexpr u_int32 text_room = {4096 + 40 * structure.width};",
        f"static const values &example() {{ return example_{scenario}; }}",
        "template <class Visitor, class Values>",
        f"static constexpr void visit(Visitor &visitor, Values &all) {{ visit_{name}(visitor, all); }}", *declarations,
        *[f"static constexpr auto {ours} = {name}_{theirs};" for ours, theirs in _CALLS.items()]]
    return [f"extern const {name}_values example_{scenario};", "", "template <class Way = access_way>",
            f"struct {scenario} {{", *indent(members), "};", "", *definitions]


def records_header(records: dict[str, Structure]):
    inner = {each.name: each for structure in records.values() for each in structure.with_inner()}.values()
    lines = [HEADER, *_literal_types(inner), *_value_declarations(inner)]
    for structure in inner:
        lines += _visit(structure)
    for scenario, structure in records.items():
        lines += _record(scenario, structure)
    names = ", ".join(f'"{scenario}"' for scenario in records)
    lines += [f"inline constexpr const char *record_scenarios[] = {{{names}}};", "", "}  // namespace bench", ""]
    return "\n".join(lines)


def examples_source(records: dict[str, Structure]):
    """The values that all contenders carry, in a source of their own, so that no contender's compiler knows them."""
    return "\n".join(["// The examples of all records, made by bench/generator.", '#include "records/examples.h"', "", "namespace bench {", "", *[
        f"constinit const {structure.name}_values example_{scenario} = example_of<{scenario}<>>();"
        for scenario, structure in records.items()], "", "}  // namespace bench", ""])
