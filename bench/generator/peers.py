"""What the peers need of the records: a schema each, and code that fills and reads their messages."""

import dataclasses

from library import indent
from model import items, messages, pascal, snake

_NUMBERS = ("u_int8", "u_int16", "u_int32", "u_int64", "int8", "int16", "int32", "vela_boolean", "octets", "address")


@dataclasses.dataclass
class Peer:
    """How a peer spells things. {name}, {camel}, {pascal}: the field; {value}: what it is set to; {path}: the plain
    value; {codec}: what codes a structure inside; {count}: of entries."""
    namespace: str
    codec: str
    include: str
    target: str  # what is filled
    source: str  # what is read
    types: dict
    set: str
    fill: str
    fill_entries: list
    shape: str
    shape_entries: list
    shape_flat_entries: list  # of messages that hold no others
    get: str
    read: str
    read_entries: list


def _types(*names):
    return dict(zip(_NUMBERS, names))


PROTOBUF = Peer(
    namespace="bench_proto", codec="protobuf_codec", include="bench.pb.h", target="message &", source="const message &",
    # Identities and addresses are fixed-width numbers, which it handles fastest; numbers that are usually small are
    # varints, as its documentation recommends.
    types=_types("uint32", "uint32", "uint32", "uint64", "sint32", "sint32", "sint32", "bool", "fixed64", "fixed32"),
    set="to.set_{name}({value});",
    fill="{codec}::fill({path}, *to.mutable_{name}());",
    fill_entries=["for (const auto &entry : {path}) {{", "    {codec}::fill(entry, *to.add_{name}());", "}}"],
    shape="{codec}::shape(*to.mutable_{name}());",
    shape_entries=["for (int i = 0; i < {count}; ++i) {{", "    {codec}::shape(*to.add_{name}());", "}}"],
    shape_flat_entries=["for (int i = 0; i < {count}; ++i) {{", "    to.add_{name}();", "}}"],
    get="from.{name}()",
    read="{codec}::read(from.{name}(), {path});",
    read_entries=["for (int i = 0; i < from.{name}_size(); ++i) {{",
                  "    {codec}::read(from.{name}(i), {path}[static_cast<size_t>(i)]);", "}}"])

CAPNPROTO = Peer(
    namespace="bench_capnp", codec="capnproto_codec", include="bench.capnp.h", target="message::Builder ",
    source="message::Reader ",
    types=_types("UInt8", "UInt16", "UInt32", "UInt64", "Int8", "Int16", "Int32", "Bool", "UInt64", "UInt32"),
    set="to.set{pascal}({value});",
    fill="{codec}::fill({path}, to.init{pascal}());",
    fill_entries=["auto {name}_list = to.init{pascal}({count});", "for (u_int32 i = 0; i < {count}; ++i) {{",
                  "    {codec}::fill({path}[i], {name}_list[i]);", "}}"],
    shape="{codec}::shape(to.init{pascal}());",
    shape_entries=["auto {name}_list = to.init{pascal}({count});", "for (u_int32 i = 0; i < {count}; ++i) {{",
                   "    {codec}::shape({name}_list[i]);", "}}"],
    shape_flat_entries=["to.init{pascal}({count});"],
    get="from.get{pascal}()",
    read="{codec}::read(from.get{pascal}(), {path});",
    read_entries=["u_int32 {name}_count = 0;", "for (const auto entry : from.get{pascal}()) {{",
                  "    {codec}::read(entry, {path}[{name}_count++]);", "}}"])

FLATBUFFERS = Peer(  # what is filled are objects of its object API; tables and structs are read alike
    namespace="bench_flat", codec="flatbuffers_codec", include="bench_generated.h", target="object &",
    source="const From &",
    types=_types("ubyte", "ushort", "uint", "ulong", "byte", "short", "int", "bool", "ulong", "uint"),
    set="to.{name} = {value};",
    fill="{codec}::fill({path}, *to.{name});",
    fill_entries=["for (size_t i = 0; i < {count}; ++i) {{", "    {codec}::fill({path}[i], *to.{name}[i]);", "}}"],
    shape="to.{name} = std::make_unique<{message}T>(); {codec}::shape(*to.{name});",
    shape_entries=["to.{name}.reserve({count});", "for (int i = 0; i < {count}; ++i) {{",
                   "    to.{name}.push_back(std::make_unique<{message}T>());",
                   "    {codec}::shape(*to.{name}.back());", "}}"],
    shape_flat_entries=["to.{name}.reserve({count});", "for (int i = 0; i < {count}; ++i) {{",
                        "    to.{name}.push_back(std::make_unique<{message}T>());", "}}"],
    get="from.{name}()",
    read="{codec}::read(at(from.{name}()), {path});",
    read_entries=["const auto &{name}_list = *from.{name}();",
                  "for (flatbuffers::uoffset_t i = 0; i < {name}_list.size(); ++i) {{",
                  "    {codec}::read(*{name}_list.Get(i), {path}[i]);", "}}"])


def _expand(peer, lines, item, path):
    inner = item.structure.name if item.structure else ""
    known = {"name": item.name, "pascal": item.pascal, "path": path + item.path, "count": item.capacity,
             "value": item.value(path), "codec": f"{peer.codec}<{inner}>",
             "message": f"{peer.namespace}::{pascal(inner)}"}
    return [line.format(**known) for line in lines]


def _statements(peer, structure, path, scalar, nested, entries, flat_entries=None):
    """A statement a field: `scalar` makes one of an item, the others are templates."""
    lines = []
    for item in items(structure):
        if item.structure is None:
            lines += scalar(item)
        else:
            many = entries if item.structure.has_parts or flat_entries is None else flat_entries
            lines += _expand(peer, many if item.capacity else [nested], item, path)
    return lines


def _read_scalar(peer, item):
    got = _expand(peer, [peer.get], item, "to")[0]
    if item.first is not None:
        return [f"unpack({got}, to{item.path}, {item.first});"]
    to = f"to{item.path}"
    return [f"{to} = static_cast<{item.type}>({got});"]


def codec(peer, structure):
    """The code for one message; its parts inside use theirs."""
    message, values = pascal(structure.name), f"{structure.name}_values"
    from_any = ["template <class From>"] if peer is FLATBUFFERS else []
    body = [
        f"using message = {peer.namespace}::{message};",
        *([f"using object = {peer.namespace}::{message}T;"] if peer is FLATBUFFERS else []),
        f"static void fill(const {values} &from, {peer.target}to) {{",
        *indent(_statements(peer, structure, "from", lambda item: _expand(peer, [peer.set], item, "from"),
                            peer.fill, peer.fill_entries)),
        "}", "/** Creates all parts of an empty message. */", f"static void shape([[maybe_unused]] {peer.target}to) {{",
        *indent(_statements(peer, structure, "", lambda item: [], peer.shape, peer.shape_entries,
                            peer.shape_flat_entries)),
        "}", *from_any, f"static void read({peer.source}from, {values} &to) {{",
        *indent(_statements(peer, structure, "to", lambda item: _read_scalar(peer, item),
                            peer.read, peer.read_entries)), "}"]
    if peer is FLATBUFFERS:
        body += _build_table(structure) + _build_struct(structure) + _build_holder(structure)
    return ["template <>", f"struct {peer.codec}<{structure.name}> {{", *indent(body), "};", ""]


def codecs(peer, structures):
    lines = ["// The records for a peer, made by bench/generator from the schema.", "#pragma once", "",
             f'#include "{peer.include}"', '#include "bench_records.h"', '#include "records/packing.h"', "",
             "namespace bench {", "namespace {", "", "/** Codes the messages for a structure of the library. */",
             "template <class>", f"struct {peer.codec};", ""]
    for structure in messages(structures):
        lines += codec(peer, structure)
    return "\n".join([*lines, "}  // namespace", "}  // namespace bench", ""])


# ---- FlatBuffers builds tables and structs from the inside out --------------------------------------------------


def _build_table(structure):
    message, arguments, lines = f"bench_flat::{pascal(structure.name)}", [], []
    for item in items(structure):
        arguments.append(item.value())
        if item.structure:
            inner, path = f"flatbuffers_codec<{item.structure.name}>", f"from{item.path}"
            arguments[-1] = f"{item.name}_offset"
            if item.capacity:
                lines += [f"std::array<flatbuffers::Offset<typename {inner}::message>, {item.capacity}> {item.name};",
                          f"for (size_t i = 0; i < {item.capacity}; ++i) {{",
                          f"    {item.name}[i] = {inner}::build(builder, {path}[i]);", "}",
                          f"const auto {item.name}_offset = builder.CreateVector({item.name}.data(), {item.capacity});"]
            else:
                lines.append(f"const auto {item.name}_offset = {inner}::build(builder, {path});")
    if structure.is_uniform:  # too many for the arguments of a function
        lines += [f"{message}Builder table(builder);",
                  *[f"table.add_{item.name}({item.value()});" for item in items(structure)], "return table.Finish();"]
    else:
        lines.append(f"return bench_flat::Create{pascal(structure.name)}({', '.join(['builder', *arguments])});")
    return [f"static flatbuffers::Offset<message> build(flatbuffers::FlatBufferBuilder &builder, "
            f"const {structure.name}_values &from) {{", *indent(lines), "}"]


def _alignment(item):
    if item.structure:
        return max(_alignment(inner) for inner in items(item.structure))
    return {"u_int8": 1, "int8": 1, "vela_boolean": 1, "u_int16": 2, "int16": 2, "u_int64": 8, "octets": 8}.get(
        item.type, 4)


def _packed_items(structure):
    """The fields of a struct in an order that leaves no holes."""
    return sorted(items(structure), key=lambda item: (item.structure is None, -_alignment(item)))


def _build_struct(structure):
    if structure.has_entries:
        return []
    fixed = f"bench_flat::Fixed{pascal(structure.name)}"
    values = [f"flatbuffers_codec<{item.structure.name}>::fixed(from{item.path})" if item.structure else item.value()
              for item in _packed_items(structure)]
    return ["/** The same as a struct, which cannot evolve. */",
            f"static {fixed} fixed(const {structure.name}_values &from) {{", f"    return {{{', '.join(values)}}};", "}"]


def _build_holder(structure):
    """A root of structs: a table that holds them as they are, or lists of them."""
    holder, lines, arguments = f"bench_flat::Fixed{pascal(structure.name)}Holder", [], ["builder"]
    if not structure.has_entries:
        lines, arguments = ["const auto all = fixed(from);"], ["builder", "&all"]
    for item in items(structure) if structure.has_entries else []:
        arguments.append(item.value() if item.structure is None else item.name)
        if item.structure:
            inner = f"bench_flat::Fixed{pascal(item.structure.name)}"
            codec_name = f"flatbuffers_codec<{item.structure.name}>"
            lines += [f"{inner} *{item.name}_entries = nullptr;",
                      f"const auto {item.name} = builder.CreateUninitializedVectorOfStructs<{inner}>("
                      f"{item.capacity}, &{item.name}_entries);",
                      f"for (size_t i = 0; i < {item.capacity}; ++i) {{",
                      f"    {item.name}_entries[i] = {codec_name}::fixed(from{item.path}[i]);", "}"]
    held = "from" if structure.has_entries else "from.all()"
    return [f"using holder = {holder};",
            f"static void read_in_holder(const holder &from, {structure.name}_values &to) {{",
            f"    read(at({held}), to);", "}",
            f"static flatbuffers::Offset<holder> build_in_holder(flatbuffers::FlatBufferBuilder &builder, "
            f"const {structure.name}_values &from) {{", *indent(lines),
            f"    return bench_flat::CreateFixed{pascal(structure.name)}Holder({', '.join(arguments)});", "}"]


# ---- schemas ----------------------------------------------------------------------------------------------------


def _declare(keyword, name, lines):
    return [f"{keyword} {name} {{", *["  " + line for line in lines], "}", ""]


def protobuf_schema(structures):
    lines = ["// Made by bench/generator.", 'syntax = "proto3";', "package bench_proto;",
             "option optimize_for = SPEED;", ""]
    for structure in messages(structures):
        lines += _declare("message", pascal(structure.name), [
            f"{'repeated ' if item.capacity else ''}{_type(PROTOBUF, item)} {item.name} = {number};"
            for number, item in enumerate(items(structure), 1)])
    return "\n".join(lines)


def capnproto_schema(structures):
    lines = ["# Made by bench/generator.", "@0xb1d7c0a64e3f9258;", 'using Cxx = import "/capnp/c++.capnp";',
             '$Cxx.namespace("bench_capnp");', ""]
    for structure in messages(structures):
        lines += _declare("struct", pascal(structure.name), [
            f"{item.camel} @{number} :" + ("List({});" if item.capacity else "{};").format(_type(CAPNPROTO, item))
            for number, item in enumerate(items(structure))])
    return "\n".join(lines)


def flatbuffers_schema(structures):
    """Tables, which can evolve, and for orientation structs, which cannot."""
    lines = ["// Made by bench/generator.", "namespace bench_flat;", ""]
    for structure in messages(structures):
        name, ordered = pascal(structure.name), list(items(structure))
        lines += _declare("table", name, _flat_fields(ordered, ""))
        held = _flat_fields(ordered, "Fixed")
        if not structure.has_entries:
            lines += _declare("struct", "Fixed" + name, _flat_fields(_packed_items(structure), "Fixed"))
            held = [f"all:Fixed{name};"]
        lines += _declare("table", f"Fixed{name}Holder", held)
    return "\n".join(lines)


def _flat_fields(fields, prefix):
    return [f"{item.name}:" + ("[{}];" if item.capacity else "{};").format(
        (prefix if item.structure else "") + _type(FLATBUFFERS, item)) for item in fields]


def _type(peer, item):
    return pascal(item.structure.name) if item.structure else peer.types["address" if item.is_address else item.type]
