#!/usr/bin/env python3
"""Runs a fleet, some of whose clocks fail, and looks at its page with a browser.

    run.py --program PTP_FLEET --nats NATS_SERVER --browser CHROMIUM --npm NPM --node NODE --page FOLDER
           --description OPENAPI_YAML --folder FOLDER [--elements N] [--pictures FOLDER] [--only PATTERN]
"""

import argparse
import hashlib
import os
import pathlib
import shutil
import subprocess
import sys

from live_fleet import OPERATOR, TOKEN, Fleet, end_with_parent

SKIPPED = 77
HERE = pathlib.Path(__file__).parent
FAULTS = """
[[fault]]
kind = "grandmaster_loss"
element = 2
at = 25
[[fault]]
kind = "silent"
element = [30, 32]
at = 6
[[fault]]
kind = "link_cut"
element = [12, 14]
link = "both"
at = 8
"""


def skip(why):
    print(f"skipped: {why}")
    sys.exit(SKIPPED)


def install_packages(npm, folder):
    """Those of the lock file, once."""
    wanted = hashlib.sha256((HERE / "package-lock.json").read_bytes()).hexdigest()
    stamp = folder / "installed"
    if stamp.exists() and stamp.read_text() == wanted:
        return
    folder.mkdir(parents=True, exist_ok=True)
    for name in ("package.json", "package-lock.json", ".npmrc"):
        shutil.copy(HERE / name, folder)
    done = subprocess.run([npm, "ci", "--ignore-scripts", "--prefer-offline", "--fetch-retries=2"], cwd=folder,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=240)
    if done.returncode != 0:
        skip(f"npm ci failed, so there is nothing to drive a browser with:\n{done.stdout}")
    stamp.write_text(wanted)


def main():
    options = argparse.ArgumentParser()
    for name in ("program", "nats", "browser", "npm", "node", "page", "description", "folder"):
        options.add_argument(f"--{name}", required=True)
    options.add_argument("--elements", type=int, default=200)
    options.add_argument("--pictures", default="")
    options.add_argument("--only", default="", help="tests of such names alone")
    given = options.parse_args()
    for name, package in (("nats", "nats-server"), ("browser", "chromium"), ("npm", "npm"), ("node", "nodejs")):
        if not getattr(given, name) or getattr(given, name).endswith("NOTFOUND"):
            skip(f"the program of package {package} is missing; install it")
    if not (pathlib.Path(given.page) / "index.html").exists():
        skip(f"the page was not built: {given.page} is empty")
    packages = pathlib.Path(given.folder).parent / "packages"
    install_packages(given.npm, packages)
    for script in HERE.glob("*.mjs"):
        shutil.copy(script, packages)
    shutil.rmtree(given.folder, ignore_errors=True)
    with Fleet(given.program, given.nats, given.folder, given.elements, FAULTS, given.page) as fleet:
        fleet.start_elements()
        environment = {**os.environ, "FLEET_URL": f"http://127.0.0.1:{fleet.port}/", "FLEET_BROWSER": given.browser,
                       "FLEET_TOKEN": TOKEN, "FLEET_OPERATOR": OPERATOR, "FLEET_ELEMENTS": str(given.elements),
                       "FLEET_NATS_PORT": str(fleet.nats_port), "FLEET_COLLECTOR": str(fleet.collector.pid),
                       "FLEET_DESCRIPTION": given.description, "FLEET_PICTURES": given.pictures,
                       "FLEET_PROFILE": str(pathlib.Path(given.folder).resolve() / "profile")}
        chosen = [f"--test-name-pattern={given.only}"] if given.only else []
        return subprocess.run([given.node, "--test", "--test-reporter=spec", *chosen, "page_test.mjs"], cwd=packages,
                              env=environment, timeout=800, preexec_fn=end_with_parent).returncode


if __name__ == "__main__":
    sys.exit(main())
