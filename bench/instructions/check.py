#!/usr/bin/env python3
"""Counts the instructions of the library's hot calls with callgrind and compares them with a table.

usage: check.py [--update] TABLE COLUMN PROGRAM

A call that takes over a tenth more instructions than the table says is an error, and so is one that the table does not
know. With --update the column is written anew. Counts do not depend on what else the machine does.

A column whose name ends in -avx2 counts what the library does with AVX2; where the processor has none, that is skipped.
Every other column counts what it does without.
"""

import pathlib
import re
import subprocess
import sys
import tempfile

TOLERANCE = 0.10
SKIPPED = 77


def count(program, with_avx2):
    """Instructions per call, by the name of the call."""
    environment = {"LD_BIND_NOW": "1", "PATH": "/usr/bin:/bin"}
    if not with_avx2:
        environment["PTP_CFG_NO_AVX2"] = "1"
    with tempfile.TemporaryDirectory() as folder:
        run = subprocess.run(
            ["valgrind", "--quiet", "--tool=callgrind", f"--callgrind-out-file={folder}/out", program],
            env=environment, stdout=subprocess.PIPE, text=True, check=True)
        repetitions = int(run.stdout.split()[0])
        counts = {}
        dumps = sorted(pathlib.Path(folder).glob("out.*"), key=lambda path: int(path.suffix[1:]))
        for dump in dumps:
            text = dump.read_text()
            name = re.search(r"^desc: Trigger: Client Request: (.*)$", text, re.MULTILINE)
            total = re.search(r"^(?:summary|totals): (\d+)", text, re.MULTILINE)
            if name and total:
                counts[name[1]] = round(int(total[1]) / repetitions)
        return counts


def read_table(path):
    """The names of the columns, and per call the number in each."""
    lines = [line for line in path.read_text().splitlines() if line and not line.startswith("#")]
    columns = lines[0].split()[1:]
    rows = {}
    for line in lines[1:]:
        name, numbers = re.match(r"(.*?)((?:\s+(?:\d+|-))+)$", line).groups()
        rows[name] = dict(zip(columns, numbers.split()))
    return columns, rows


def write_table(path, columns, rows):
    comments = [line for line in path.read_text().splitlines() if line.startswith("#")]
    width = max(len(name) for name in rows) + 2
    lines = ["call".ljust(width) + "".join(column.rjust(14) for column in columns)]
    for name, numbers in rows.items():
        lines.append(name.ljust(width) + "".join(numbers.get(column, "-").rjust(14) for column in columns))
    path.write_text("\n".join(comments + lines) + "\n")


def compare(rows, column, counts):
    """Says what has changed; the number of errors."""
    errors = 0
    for name in sorted(rows.keys() | counts.keys()):
        wanted = rows.get(name, {}).get(column, "-")
        found = counts.get(name)
        if found is None or wanted == "-":
            print(f"{name}: {'not counted' if found is None else f'{found} instructions, not in the table'}")
            errors += 1
        elif found > int(wanted) * (1 + TOLERANCE):
            print(f"{name}: {found} instructions, {wanted} in the table")
            errors += 1
        elif found < int(wanted) * (1 - TOLERANCE):
            print(f"{name}: {found} instructions, {wanted} in the table; keep what was gained with --update")
    return errors


def main():
    arguments = [argument for argument in sys.argv[1:] if argument != "--update"]
    if len(arguments) != 3:
        sys.exit(__doc__)
    path, column, program = pathlib.Path(arguments[0]), arguments[1], arguments[2]
    with_avx2 = column.endswith("-avx2")
    if with_avx2 and " avx2 " not in pathlib.Path("/proc/cpuinfo").read_text():
        print("this processor has no AVX2")
        sys.exit(SKIPPED)
    columns, rows = read_table(path)
    counts = count(program, with_avx2)
    if "--update" in sys.argv:
        for name in list(rows):
            if name not in counts:
                del rows[name]
        for name, found in counts.items():
            rows.setdefault(name, {})[column] = str(found)
        if column not in columns:
            columns.append(column)
        write_table(path, columns, rows)
        return
    errors = compare(rows, column, counts)
    if errors:
        sys.exit(f"{errors} of {len(counts)} hot calls have grown, or are missing")
    print(f"{len(counts)} hot calls are as the table says")


main()
