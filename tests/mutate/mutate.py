#!/usr/bin/env python3
"""Changes the library in one place at a time, and names the changes that no test notices.

    mutate.py --build FOLDER --work FOLDER --programs NAMES [--sample N] [--seed N] [--jobs N] [FILE...]

All changes of all FILEs (below operations/ and values/ unless given) are compiled into one copy of the tree, below WORK;
each is made by its number when a test runs. A first run of each test finds what it comes to, so that a change is tried with
those tests alone. WORK/survivors.txt has those that none noticed, WORK/changes.json all.
"""

import argparse
import json
import os
import pathlib
import random
import re
import subprocess
import sys

import find
import run

ROOT = pathlib.Path(__file__).resolve().parents[2]
OPTIONS = ["-DPTP_CFG_WERROR=OFF", "-DCMAKE_CXX_FLAGS=-w"] + [
    f"-DPTP_CFG_{part}=OFF" for part in ("AGENT", "CPP", "DISSECTOR", "EXAMPLES", "NATS", "PYTHON", "TOOLS")]


def sources(names):
    files = [pathlib.Path(name).resolve() for name in names] or [
        file for folder in ("operations", "values") for file in (ROOT / folder).rglob("*") if file.suffix in (".cpp", ".h")]
    for file in files:
        if not file.is_file() or not file.is_relative_to(ROOT):
            sys.exit(f"mutate: {file} is no source of this tree")
    return files


def copy_tree(copy):
    """Brings the copy up to date, except for its build."""
    copy.mkdir(parents=True, exist_ok=True)
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=ROOT, check=True,
                            capture_output=True).stdout
    for name in listed.decode().split("\0"):
        if name and (ROOT / name).is_file():
            write(copy / name, (ROOT / name).read_bytes(), (ROOT / name).stat().st_mode)


def write(file, content, mode=0o644):
    """Only what is new: ninja goes by the time."""
    if not file.exists() or file.read_bytes() != content:
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(content)
        file.chmod(mode)


class Copy:
    """The tree with its changes, built."""

    def __init__(self, folder, changes, codegen, programs):
        self.folder, self.build = folder, folder / "build" / "debug"
        self.codegen, self.programs = codegen, programs
        self.changes = changes
        self.numbers = {change: number for number, change in enumerate(changes, 1)}

    def make(self):
        while dropped := self._build():
            self.changes = [change for change in self.changes if self.numbers[change] not in dropped]
            print(f"mutate: {len(dropped)} changes do not compile", flush=True)

    def _build(self):
        by_file = {}
        for change in self.changes:
            by_file.setdefault(change.file, []).append(change)
        for name in {change.file for change in self.numbers}:
            content = pathlib.Path(name).read_bytes()
            text = find.Rewriter(content, by_file.get(name, []), self.numbers, self.folder).text()
            write(self.folder / pathlib.Path(name).relative_to(ROOT), text)
        subprocess.run(["cmake", "--preset", "debug", f"-DPTP_CFG_CODEGEN={self.codegen}", *OPTIONS], cwd=self.folder, check=True, stdout=subprocess.DEVNULL)
        made = subprocess.run(["ninja", "-k", "0", "-C", self.build, *self.programs], capture_output=True, text=True, check=False)
        return self._at_fault(made.stdout) if made.returncode else set()

    def _at_fault(self, said):
        """The numbers of the changes in lines that the compiler does not take."""
        numbers = set()
        for name, line in set(re.findall(r"^(\S+?):(\d+):\d+: (?:error|  +required|.*constexpr)", said, re.M)):
            file = (self.build / name).resolve()
            if file.is_file():
                lines = file.read_text().splitlines()
                numbers.update(map(int, re.findall(r"ptp_cfg_mutants::made\((\d+)\)", lines[int(line) - 1])))
        if not numbers:
            sys.exit(f"mutate: the copy in {self.folder} does not build:\n" + said[-4000:])
        return numbers


def describe(change):
    content = pathlib.Path(change.file).read_bytes()
    line = content.count(b"\n", 0, change.start) + 1
    text = " ".join(content[change.start:change.end].decode().split())
    place = f"{pathlib.Path(change.file).relative_to(ROOT)}:{line}"
    return f"{place}: {change.kind}: {text[:100]}"


def report(folder, results):
    """One line a file, and what survived."""
    files = {}
    for result in results:
        row = files.setdefault(str(pathlib.Path(result["change"].file).relative_to(ROOT)), {"killed": 0, "survived": 0, "not reached": 0})
        row[result["end"]] += 1
    for name, row in sorted(files.items()):
        tried = row["killed"] + row["survived"]
        print(f"{name:50} {row['killed']:5} of {tried:5} noticed, {row['not reached']} not reached")
    total = {end: sum(row[end] for row in files.values()) for end in ("killed", "survived", "not reached")}
    tried = total["killed"] + total["survived"]
    print(f"{total['killed']} of {tried} changes were noticed ({100 * total['killed'] / max(tried, 1):.1f} %); "
          f"{total['not reached']} were never come to while tests ran")
    lost = [f"{result['end']}: {describe(result['change'])}" for result in results if result["end"] != "killed"]
    (folder / "survivors.txt").write_text("\n".join(lost) + "\n" if lost else "")
    rows = [{"change": describe(r["change"]), "end": r["end"], "by": r["by"]} for r in results]
    (folder / "changes.json").write_text(json.dumps(rows, indent=1))
    print(f"those that were not: {folder / 'survivors.txt'}")


def main():
    parser = argparse.ArgumentParser(description="Changes the library in one place at a time, and names the changes that no test notices.")
    parser.add_argument("files", nargs="*", metavar="FILE")
    parser.add_argument("--build", type=pathlib.Path, required=True, help="a built tree: how its sources are compiled")
    parser.add_argument("--work", type=pathlib.Path, required=True, help="folder for the copy")
    parser.add_argument("--programs", type=str.split, required=True, help="the test programs that are to notice")
    parser.add_argument("--sample", type=int, help="try so many of the changes, by chance")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    options = parser.parse_args()
    work, build = options.work.resolve(), options.build.resolve()  # libclang goes to other folders
    changes = find.find(build, sources(options.files))
    print(f"mutate: {len(changes)} changes", flush=True)
    copy_tree(work / "tree")
    copy = Copy(work / "tree", changes, build / "bin" / "ptp_cfg_codegen", options.programs)
    copy.make()
    tests = run.Tests(copy.build, options.jobs, options.programs)
    tests.find_reached()
    tried = sorted(random.Random(options.seed).sample(copy.changes, min(options.sample or len(copy.changes), len(copy.changes))),
                   key=copy.numbers.get)
    results = tests.try_all([(change, copy.numbers[change]) for change in tried])
    report(work, results)


main()
