"""Runs tests with one change made, those first that take the least time."""

import collections
import concurrent.futures
import json
import os
import pathlib
import subprocess
import tempfile
import time

MOST = 1 << 16  # as in mutants.h
QUICK = 8  # tests that are tried one by one; then whole programs with those of their cases that come there


class Test:
    def __init__(self, row):
        self.name, self.command = row["name"], row["command"]
        properties = {p["name"]: p["value"] for p in row.get("properties", [])}
        self.folder = properties.get("WORKING_DIRECTORY", ".")
        self.environment = dict(pair.split("=", 1) for pair in properties.get("ENVIRONMENT", []))
        filters = [word for word in self.command if word.startswith("--gtest_filter=")]
        self.case = filters[0].removeprefix("--gtest_filter=") if filters else None
        self.seconds, self.reached = 0.0, frozenset()


class Tests:
    def __init__(self, build, jobs, programs):
        shown = subprocess.run(["ctest", "--show-only=json-v1"], cwd=build, check=True, capture_output=True, text=True).stdout
        self.jobs = jobs
        self.tests = [Test(row) for row in json.loads(shown)["tests"] if row["name"].split(".")[0] in programs and "command" in row]

    def find_reached(self):
        """Runs each test as it is: those that fail or last are not used."""
        with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
            passed = list(pool.map(self._record, self.tests))
        left_out = [test.name for test, is_fit in zip(self.tests, passed) if not is_fit]
        self.tests = sorted((test for test, is_fit in zip(self.tests, passed) if is_fit), key=lambda test: test.seconds)
        print(f"mutate: {len(self.tests)} tests; left out: {', '.join(left_out) or 'none'}", flush=True)

    def _record(self, test):
        with tempfile.NamedTemporaryFile(dir="/dev/shm") as reached:
            reached.truncate(MOST)
            began = time.monotonic()
            passed = run(test.command, test, {"PTP_CFG_MUTANTS_REACHED": reached.name}, 20)
            test.seconds = time.monotonic() - began
            test.reached = frozenset(i for i, byte in enumerate(pathlib.Path(reached.name).read_bytes()) if byte)
        return passed

    def try_all(self, changes):
        results, began = [], time.monotonic()
        with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
            for index, result in enumerate(pool.map(self._try, changes), 1):
                results.append(result)
                if index % 100 == 0:
                    print(f"mutate: {index} of {len(changes)}, {time.monotonic() - began:.0f} s", flush=True)
        return results

    def _try(self, row):
        change, number = row
        coming = [test for test in self.tests if number in test.reached]
        if not coming:
            return {"change": change, "end": "not reached", "by": ""}
        made = {"PTP_CFG_MUTANT": str(number)}
        for test in coming[:QUICK]:
            if not run(test.command, test, made, 2 + 10 * test.seconds):
                return {"change": change, "end": "killed", "by": test.name}
        programs = collections.defaultdict(list)
        for test in coming[QUICK:]:
            programs[(test.command[0], test.folder) if test.case else test.name].append(test)
        for tests in sorted(programs.values(), key=lambda group: sum(test.seconds for test in group)):
            command, first = tests[0].command, tests[0]
            extra = dict(made)
            if first.case:
                command = [first.command[0]] + [w for w in first.command[1:] if not w.startswith("--gtest_filter=")] + ["--gtest_fail_fast"]
                extra["GTEST_FILTER"] = ":".join(test.case for test in tests)
            if not run(command, first, extra, 5 + 10 * sum(test.seconds for test in tests)):
                return {"change": change, "end": "killed", "by": first.name.split(".")[0]}
        return {"change": change, "end": "survived", "by": ""}


def run(command, test, environment, patience):
    """Whether it passes in time. What it leaves behind goes with its folder's process group."""
    process = subprocess.Popen(command, cwd=test.folder, env=os.environ | test.environment | environment,
                               stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                               start_new_session=True)
    try:
        return process.wait(patience) == 0
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, 9)
        process.wait()
        return False
