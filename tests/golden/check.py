#!/usr/bin/env python3
"""Compares what the library offers and needs with what was agreed: symbols, installed headers, the runtime's contract.

    check.py exports LIBRARY GOLDEN ORACLE SCHEMA
                                        dynamic symbols that the library must define, for every type of the oracle's
                                        tables and what SCHEMA has beyond them; it may define more
    check.py headers BUILD GOLDEN SCHEMA
                                        headers that an installation of the build folder brings
    check.py contract LIBRARY PAGE SOURCES RUNTIME...
                                        functions that the library takes from its runtime and the page must name
    check.py needs GOLDEN LIBRARY...    libraries that each may need, by the lines `NAME: NEEDED ...` of the golden file
"""
import pathlib
import re
import subprocess
import sys
import tempfile
import tomllib


HANDLE_HEADER = "../platform/velalib/include/velalib/handle.h"
SCHEMA = "../schema/primitives.toml"


def field_kind(tables, field):
    if field.length_of:
        return "companion_field"
    if field.type in tables.STRUCTURES:
        return "structure_array_field" if field.capacity else "structure_field"
    if field.type in tables.ENUMERATIONS:
        return "enumeration_field"
    if field.type == "var_string":
        return "text_field"
    return ("scalar_array_field" if field.capacity else "scalar_field") if field.type in tables.NUMBERS else "opaque_field"


def things(tables):
    """The sections that apply to each type, field and payload, with what their placeholders stand for."""
    yield ["module"], {}
    for name in tables.ENUMERATIONS:
        yield ["enumeration"], {"type": name}
    for name, structure in tables.STRUCTURES.items():
        yield ["structure"], {"type": name}
        for field in structure.fields:
            yield [field_kind(tables, field)], {"type": name, "field": field.name}
    for name, message in tables.MESSAGES.items():
        yield ["message"], {"type": name, "message": name.removesuffix("_message")}
        for payload in message.payloads:
            kinds = ["payload", "structure_payload" if payload in tables.STRUCTURES else "primitive_payload"]
            yield kinds, {"type": name, "payload": payload}


def sections(golden):
    found, current = {}, None
    for line in pathlib.Path(golden).read_text().splitlines():
        if line.startswith("["):
            current = found.setdefault(line.strip("[]"), [])
        elif line and not line.startswith("#"):
            current.append(line if line.startswith("D ") else "T " + line)
    return found


def exports(library, golden, oracle, schema):
    """What must be there and is not, one line per symbol: T function, D object."""
    sys.path.insert(0, oracle)
    import additions
    import tables
    additions.add(schema)
    expected, used = set(), set()
    patterns = sections(golden)
    for kinds, names in things(tables):
        used.update(kinds)
        expected.update(pattern.format(**names) for kind in kinds for pattern in patterns.get(kind, []))
    text = subprocess.run(["nm", "-D", "--defined-only", library], check=True, capture_output=True, text=True).stdout
    found = {("T " if kind == "T" else "D ") + name.split("@")[0] for _, kind, name in map(str.split, text.splitlines())}
    faults = [f"gone: {line}" for line in sorted(expected - found)]
    return faults + [f"{golden}: nothing is a {kind}" for kind in sorted(set(patterns) - used)]


def headers(build, golden, schema):
    subjects = tomllib.loads(pathlib.Path(schema, "catalogue.toml").read_text())["subjects"]
    lines = [line for file in golden.split(",") for line in pathlib.Path(file).read_text().splitlines()]
    expected = {line.format(subject=subject) for line in lines for subject in subjects}
    with tempfile.TemporaryDirectory() as prefix:
        subprocess.run(["cmake", "--install", build, "--prefix", prefix], check=True, capture_output=True)
        include = pathlib.Path(prefix, "include")
        found = {str(path.relative_to(include)) for path in include.rglob("*.h*")}
    return [f"gone: {line}" for line in sorted(expected - found)] + \
           [f"new, to be named in {golden}: {line}" for line in sorted(found - expected)]


def symbols(library, which):
    text = subprocess.run(["nm", "-D", which, library], check=True, capture_output=True, text=True).stdout
    return {line.split()[-1].split("@")[0] for line in text.splitlines()}


def primitives(sources):
    """The types that the page means by T, and by N those of them that travel by value."""
    rows = tomllib.loads(pathlib.Path(sources, SCHEMA).read_text())["primitives"]
    by_value = ("unsigned_number", "signed_number", "boolean")
    return {"T": [row["name"] for row in rows], "N": [row["name"] for row in rows if row["class"] in by_value]}


def named(text, letters):
    """Names in the first column of the page's tables. A row T_print is one for each of the primitives."""
    names = set()
    for row in re.findall(r"^\| (`.*?) \|", text.split("### The handle")[1].split("## Threat model")[0], re.MULTILINE):
        for name in re.findall(r"`(\w+)`", row):
            kind, _, rest = name.partition("_")
            names |= {f"{each}_{rest}" for each in letters[kind]} if kind in letters else {name}
    return names


def contract(library, page, sources, *runtimes):
    """Whether the page names what the library imports, also when built without the inline forms, and nothing else."""
    offered = set().union(*(symbols(runtime, "--defined-only") for runtime in runtimes))
    imported = symbols(library, "--undefined-only")
    needed = imported & offered
    for source in pathlib.Path(sources).rglob("*.*"):
        needed |= set(re.findall(r"VELA_CALL\((\w+)\)", source.read_text())) - {"name"}
    text = pathlib.Path(page).read_text()
    types = primitives(sources)
    names = named(text, types)
    handle_members = set(re.findall(r"\w+", pathlib.Path(sources, HANDLE_HEADER).read_text()))
    faults = [f"{page} does not name {name}" for name in sorted(needed - names)]
    faults += [f"{page} names {name}, which the runtime does not have"
               for name in sorted(names - offered - handle_members)]
    if "u_int8_marshal" in imported:  # built for another runtime: it asks for all but what the page excepts
        without = re.search(r"\nwithout, it also goes(.*?)\n#", text, re.DOTALL)[1]
        excepted = set(re.findall(r"^\| `(\w+)`", without, re.MULTILINE))
        # Values of their own are the payloads of messages, which are not of every type.
        excepted |= {f"{each}_{life}" for each in types["T"] for life in ("create", "destroy")}
        faults += [f"{library} does not import {name}" for name in sorted((names & offered) - excepted - imported)]
    # A program in C loads the library: sanitizers bring a runtime of their own, C++ would be one more.
    libraries = subprocess.run(["readelf", "-d", library], capture_output=True, text=True, check=True).stdout
    faults += [f"{library} needs {name}" for name in re.findall(r"\(NEEDED\).*\[(libstdc\+\+.*)\]", libraries)]
    return faults


def needs(golden, *libraries):
    """What a program drags in with a library; sanitizers bring libraries of their own."""
    lines = [line.split(":") for line in pathlib.Path(golden).read_text().splitlines() if not line.startswith("#")]
    allowed = {name: set(needed.split()) for name, needed in lines}
    faults = []
    for library in libraries:
        text = subprocess.run(["readelf", "-d", library], capture_output=True, text=True, check=True).stdout
        needed = {name for name in re.findall(r"\(NEEDED\).*\[(.*)\]", text) if not re.match(r"lib[au]\w*san|ld-", name)}
        name = pathlib.Path(library).name
        faults += [f"{name} needs {each}, which {golden} does not allow" for each in sorted(needed - allowed[name])]
    return faults


def main(which, *arguments):
    faults = {"exports": exports, "headers": headers, "contract": contract, "needs": needs}[which](*arguments)
    print("\n".join(faults))
    return 1 if faults else 0


sys.exit(main(*sys.argv[1:]))
