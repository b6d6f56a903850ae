#!/usr/bin/env python3
"""Does what a page says, in its order: writes its files, types its commands, and compares what they answer.

    run_page.py PAGE --prefix FOLDER [--files FOLDER] [--accept]

A code block with a title is a file; one of FILES with its name must be the same. A `console` block is a terminal, the one
that its title names: lines behind `$ ` are typed (`> ` goes on), `^C` is pressed, the others are what is answered (`...`
alone is any lines, `…` any characters of one). A command must succeed, unless `$ echo $?` follows. One goes on while other
terminals are used where the next block of its own begins with what it says then, or with `^C`. --accept writes into the
page what was answered instead.
"""

import argparse
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import textwrap
import threading
import time

PATIENCE = 60  # seconds for a command
MARK = "\x01"  # stands before the exit status behind what a command said


class Fault(Exception):
    pass


def blocks(text):
    """The code blocks of a page: language, title, lines, number of the first line, what they are indented by."""
    for match in re.finditer(r'^( *)```(\w+)(?: title="([^"]*)")?\n(.*?)^\1```$', text, re.M | re.S):
        yield match[2], match[3] or "", textwrap.dedent(match[4]).splitlines(), text.count("\n", 0, match.start()) + 2, match[1]


def pattern_of(lines):
    """What an answer must match as a whole."""
    parts = [r"(?:.*\n)*?" if line.strip() == "..." else ".*?".join(map(re.escape, line.rstrip().split("…"))) + "[ \t]*\n"
             for line in lines]
    return re.compile("".join(parts))


class Terminal:
    """A shell that lives as long as the page."""

    def __init__(self, folder, environment):
        self.said, self.changed, self.status = "", threading.Condition(), 0  # None: a command is under way
        self.folder, self.steps = folder, 0
        self.shell = subprocess.Popen(["bash", "--norc"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                      stderr=subprocess.STDOUT, text=True, cwd=folder, env=environment, bufsize=1,
                                      start_new_session=True, errors="replace")
        self.shell.stdin.write("trap : INT\n")  # as an interactive one, it does not end with what it runs
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        while data := os.read(self.shell.stdout.fileno(), 65536):
            with self.changed:
                self.said += data.decode(errors="replace")
                self.changed.notify_all()

    def type(self, command):
        self.steps += 1
        step = self.folder.parent / f"step.{id(self)}.{self.steps}"
        step.write_text(command + "\n")
        self.said, self.status = "", None
        # The command's own input is empty; its status is that of the next command's $?.
        self.shell.stdin.write(f". {step} </dev/null; __=$?; printf '{MARK}%s\\n' $__; (exit $__)\n")

    def press_interrupt(self):
        """To what the shell runs, which a terminal would do."""
        children = pathlib.Path(f"/proc/{self.shell.pid}/task/{self.shell.pid}/children")
        end = time.monotonic() + PATIENCE
        while not (running := children.read_text().split()) and time.monotonic() < end:
            time.sleep(0.01)  # it is about to be started
        for child in running:
            os.kill(int(child), signal.SIGINT)

    def answer(self, expected, may_go_on):
        """Waits until the command ended, or said what it is to say and may go on; None, or what it said instead."""
        pattern = pattern_of(expected)
        end = time.monotonic() + PATIENCE
        with self.changed:
            while True:
                said, mark, rest = self.said.partition(MARK)
                if mark and rest.endswith("\n"):
                    self.status = int(rest)
                elif not (may_go_on and pattern.fullmatch(said)) and self.changed.wait(end - time.monotonic()):
                    continue
                if pattern.fullmatch(said if not said or said.endswith("\n") else said + "\n"):
                    self.said = "" if self.status is None else self.said
                    return None
                return said

    def close(self):
        os.killpg(self.shell.pid, signal.SIGTERM)
        self.shell.wait()


def turns(lines):
    """A terminal's block as [what is typed, what is answered, where that begins], the first perhaps without typing."""
    found = []
    for index, line in enumerate(lines):
        if line.startswith("$ ") or line == "^C":
            found.append([line.removeprefix("$ "), [], index + 1])
        elif found and not found[-1][1] and (line.startswith("> ") or found[-1][0].endswith("\\")):
            found[-1] = [found[-1][0] + "\n" + line.removeprefix("> "), [], index + 1]
        else:
            found = found or [["", [], 0]]
            found[-1][1].append(line)
    return found


class Walk:
    """One page in one folder."""

    def __init__(self, options, folder):
        self.page, self.files, self.prefix = options.page, options.files, options.prefix.resolve()
        self.folder, self.environment = folder, environment_of(self.prefix)
        self.terminals, self.commands = {}, 0
        self.accepted = [] if options.accept else None  # (number of a line, lines there, their indent, what they become)

    def do(self):
        found = list(blocks(self.page.read_text()))
        for index, (language, title, lines, number, indent) in enumerate(found):
            if language == "console":
                later = [row[2][0] for row in found[index + 1:] if row[:2] == ("console", title)]
                self.console(title, lines, number, indent, bool(later) and not later[0].startswith("$ "))
            elif title:
                self.file(title, "\n".join(lines) + "\n")

    def file(self, name, text):
        same = self.files and self.files / name
        if same and same.exists() and same.read_text() != text:
            raise Fault(f"{self.page}: {name} is not that of {self.files}")
        (self.folder / name).write_text(text)

    def console(self, title, lines, number, indent, goes_on):
        if title not in self.terminals:
            self.terminals[title] = Terminal(self.folder, self.environment)
        terminal = self.terminals[title]
        all_turns = turns(lines)
        for index, (command, expected, line) in enumerate(all_turns):
            is_last = index + 1 == len(all_turns)
            following = "" if is_last else all_turns[index + 1][0]
            if command == "^C":
                terminal.press_interrupt()
            elif command:
                self.commands += 1
                terminal.type(re.sub("^PREFIX=.*", f"PREFIX={self.prefix}", command))
            may_go_on = command != "^C" and (goes_on and is_last or following == "^C")
            self.check(terminal, f"{self.page}: block of line {number}: {command}", expected, may_go_on,
                       "echo $?" if command == "^C" else following, (number + line - 1, len(expected), indent))

    def check(self, terminal, where, expected, may_go_on, following, place):
        """What a terminal says, and the status of what ended unless it is asked for."""
        wrong = terminal.answer(expected, may_go_on)
        if wrong is not None and self.accepted is not None:
            self.accepted.append((*place, wrong))
        elif wrong is not None:
            raise Fault(f"{where}\nexpected:\n" + "\n".join(expected) + f"\nanswered:\n{wrong}")
        if terminal.status not in (0, None) and following != "echo $?":
            raise Fault(f"{where}: exit status {terminal.status}\n{terminal.said}")

    def accept(self):
        lines = self.page.read_text().splitlines()
        for first, count, indent, said in reversed(self.accepted or []):
            lines[first:first + count] = [(indent + line).rstrip() for line in said.splitlines()]
        if self.accepted:
            self.page.write_text("\n".join(lines) + "\n")

    def close(self):
        for terminal in self.terminals.values():
            terminal.close()


def environment_of(prefix):
    """As of a user who works with an installation below a prefix of its own."""
    libraries = next(path.parent for path in prefix.rglob("libptp_cfg.so"))
    python = next((path.parent for path in prefix.rglob("ptp_cfg/__init__.py")), prefix).parent
    return os.environ | {
        "PATH": f"{prefix}/bin:{os.environ['PATH']}", "LD_LIBRARY_PATH": str(libraries),
        "PKG_CONFIG_PATH": f"{libraries}/pkgconfig", "CMAKE_PREFIX_PATH": str(prefix), "PYTHONPATH": str(python),
        "PYTHONDONTWRITEBYTECODE": "1", "COLUMNS": "100", "LC_ALL": "C.UTF-8", "NO_COLOR": "1"}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("page", type=pathlib.Path)
    parser.add_argument("--prefix", type=pathlib.Path, required=True)
    parser.add_argument("--files", type=pathlib.Path)
    parser.add_argument("--accept", action="store_true")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as temporary:
        folder = pathlib.Path(temporary) / "folder"
        folder.mkdir()
        walk = Walk(options, folder)
        try:
            walk.do()
            walk.accept()
        except Fault as fault:
            sys.exit(str(fault))
        finally:
            walk.close()
    if walk.commands == 0:
        sys.exit(f"{options.page} has no command")
    print(f"{options.page.name}: {walk.commands} commands did what the page says")


main()
