#!/usr/bin/env python3
"""Says which lines and branches of the library no test comes to.

    report.py BUILD [FOLDER...]

BUILD is a tree of preset coverage whose tests have run. One line a FOLDER (operations, values, module and platform unless
given) with what is covered; BUILD/uncovered.txt has the places that are not, file by file.

A template's line is covered when any of its instances comes there, and so is each branch of it. Where instances, or the
functions that an inline one became part of, have another number of branches in a line, these are several copies of the
same: they are taken together by what the numbers have in common. Branches that only an exception takes are not counted.
"""

import collections
import concurrent.futures
import json
import math
import os
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
FOLDERS = ["operations", "values", "module", "platform"]


class File:
    def __init__(self):
        self.lines = collections.defaultdict(int)  # by number: how often
        self.instances = collections.defaultdict(list)  # by number: how often each branch was taken, in each function

    def branches(self):
        """By line: whether each of its branches was taken."""
        result = {}
        for number, instances in self.instances.items():
            width = math.gcd(*map(len, instances))
            taken = [False] * width
            for counts in instances:
                for index, count in enumerate(counts):
                    taken[index % width] |= count > 0
            result[number] = taken
        return result

    def covered(self):
        branches = [taken for line in self.branches().values() for taken in line]
        return (sum(1 for count in self.lines.values() if count), len(self.lines)), (sum(branches), len(branches))

    def missing(self):
        """By line: nothing, or how many of its branches are missing."""
        result = {line: "" for line, count in self.lines.items() if not count}
        lost = {line: taken.count(False) for line, taken in self.branches().items()}
        result.update({line: f" ({count} of its branches)" for line, count in lost.items() if count and line not in result})
        return sorted(result.items())


def counts_of(data):
    out = subprocess.run(["gcov", "--json-format", "--branch-probabilities", "--stdout", data.name], cwd=data.parent,
                         capture_output=True, text=True, check=False).stdout
    return [json.loads(line) for line in out.splitlines() if line.startswith("{")]


def add(files, unit, folders):
    for part in unit["files"]:
        path = pathlib.Path(part["file"])
        name = str(path.relative_to(ROOT) if path.is_absolute() and path.is_relative_to(ROOT) else path)
        if not name.startswith(tuple(folder + "/" for folder in folders)):
            continue
        for line in part["lines"]:
            number = line["line_number"]
            files[name].lines[number] += line["count"]
            branches = [branch["count"] for branch in line["branches"] if not branch["throw"]]
            if branches:
                files[name].instances[number].append(branches)


def in_words(counts):
    parts, wholes = (sum(each) for each in zip(*counts))
    return f"{parts} of {wholes} ({100 * parts / max(wholes, 1):.1f} %)"


def write_missing(files, target):
    with target.open("w") as out:
        for name, file in sorted(files.items()):
            source = (ROOT / name).read_text().splitlines()
            for line, what in file.missing():
                print(f"{name}:{line}:{what} {source[line - 1].strip() if line <= len(source) else ''}", file=out)


def main():
    build = pathlib.Path(sys.argv[1])
    folders = sys.argv[2:] or FOLDERS
    files = collections.defaultdict(File)
    data = [path for path in build.rglob("*.gcda") if "/tests/" not in str(path)]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for units in pool.map(counts_of, data):
            for unit in units:
                add(files, unit, folders)
    for folder in folders:
        own = [file.covered() for name, file in files.items() if name.startswith(folder + "/")]
        lines, branches = (in_words(counts) for counts in zip(*own))
        print(f"{folder:12} lines {lines}, branches {branches}")
    write_missing(files, build / "uncovered.txt")
    print(f"what is not: {build / 'uncovered.txt'}")


main()
