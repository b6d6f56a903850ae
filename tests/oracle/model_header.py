"""Writes a C++ header with what the tables know of every type, for tests to count by.

    python3 model_header.py --schema FOLDER --output FILE
"""

import argparse

import additions
import tables

HEAD = """// What the oracle knows of every type; written by model_header.py.
#pragma once

#include <cstddef>

namespace oracle {

struct type {
    const char *name;
    unsigned latest;  // variant
    unsigned size, tracked_size;
};
"""


def rows(name, types):
    body = "".join(f'    {{"{each}", {tables.latest(each)}, {size}, {tracked}}},\n' for each, size, tracked in types)
    return f"\ninline constexpr type {name}[] = {{\n{body}}};\n"


def main():
    parser = argparse.ArgumentParser(description="Writes a C++ header with the types of the tables.")
    parser.add_argument("--schema", required=True, metavar="FOLDER")
    parser.add_argument("--output", required=True, metavar="FILE")
    options = parser.parse_args()
    additions.add(options.schema)
    with open(options.output, "w", encoding="ascii") as out:
        out.write(HEAD)
        out.write(rows("structures", [(name, row.size, row.tracked_size) for name, row in tables.STRUCTURES.items()]))
        out.write(rows("enumerations", [(name, 16, 16) for name in tables.ENUMERATIONS]))
        out.write(rows("messages", [(name, 32 + 8 * len(row.payloads), 32 + 8 * len(row.payloads))
                                    for name, row in tables.MESSAGES.items()]))
        out.write("\n}  // namespace oracle\n")


if __name__ == "__main__":
    main()
