#!/usr/bin/env python3
"""Compares what the library offers with what was agreed: exported symbols and installed headers.

    check.py exports LIBRARY GOLDEN     dynamic symbols that the library defines
    check.py headers BUILD GOLDEN       headers that an installation of the build folder brings

With --update as last argument the golden file is written anew; its difference is then part of the change's review.
"""
import pathlib
import subprocess
import sys
import tempfile


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


def main(arguments):
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
