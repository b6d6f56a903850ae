#!/usr/bin/env python3
"""Compares what the library offers and needs with what was agreed: symbols, installed headers, the runtime's contract.

    check.py exports LIBRARY GOLDEN     dynamic symbols that the library defines
    check.py headers BUILD GOLDEN       headers that an installation of the build folder brings
    check.py contract LIBRARY PAGE SOURCES RUNTIME...
                                        functions that the library takes from its runtime and the page must name

With --update as last argument the golden file is written anew; its difference is then part of the change's review.
"""
import pathlib
import re
import subprocess
import sys
import tempfile
import tomllib


HANDLE_HEADER = "../platform/velalib/include/velalib/handle.h"
SCHEMA = "../schema/primitives.toml"


def exports(library):
    """One line per symbol: T function, D object."""
    text = subprocess.run(["nm", "-D", "--defined-only", library], check=True, capture_output=True, text=True).stdout
    kinds = {"T": "T", "D": "D", "B": "D", "R": "D", "V": "D"}
    symbols = set()
    for line in text.splitlines():
        _, kind, name = line.split()
        if kind != "A":  # the node of the version script itself
            symbols.add(f"{kinds.get(kind, kind)} {name.split('@')[0]}")
    return sorted(symbols, key=lambda line: line[2:])


def headers(build):
    with tempfile.TemporaryDirectory() as prefix:
        subprocess.run(["cmake", "--install", build, "--prefix", prefix], check=True, capture_output=True)
        include = pathlib.Path(prefix, "include")
        return sorted(str(path.relative_to(include)) for path in include.rglob("*.h"))


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
    print("\n".join(faults))
    return 1 if faults else 0


def main(arguments):
    if arguments[0] == "contract":
        return contract(*arguments[1:])
    update = arguments[-1:] == ["--update"]
    kind, source, golden = arguments[: 3]
    found = {"exports": exports, "headers": headers}[kind](source)
    golden = pathlib.Path(golden)
    if update:
        golden.write_text("\n".join(found) + "\n")
        return 0
    expected = golden.read_text().splitlines()
    for line in sorted(set(expected) - set(found)):
        print(f"gone: {line}")
    for line in sorted(set(found) - set(expected)):
        print(f"new: {line}")
    if found == expected:
        return 0
    print(f"{golden} differs; when this is intended: {sys.argv[0]} {' '.join(arguments[:3])} --update")
    return 1


sys.exit(main(sys.argv[1:]))
