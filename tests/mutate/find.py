"""Finds what can be changed in sources: conditions, constants and calls, by what the compiler sees there."""

import dataclasses
import json
import pathlib
import shlex

from clang import cindex
from clang.cindex import CursorKind as Kind

OTHER = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&"}
# What they compute is known to the compiler: nothing can be changed there while the program runs.
CONSTANT = {Kind.STATIC_ASSERT, Kind.ENUM_CONSTANT_DECL, Kind.CASE_STMT, Kind.TEMPLATE_NON_TYPE_PARAMETER}
MOST_TEXT = 6000  # of one changed expression: each level writes what is inside twice


@dataclasses.dataclass(eq=True, frozen=True)
class Change:
    """One way to change the bytes [start, end) of a file: kind is an operator's other, "not", "plus 1" or "no call"."""

    file: str
    start: int
    end: int
    left_end: int  # of an operator's left operand
    right_start: int
    kind: str


def arguments_of(build):
    """By source: what clang must know to read it as the compiler does."""
    found = {}
    for row in json.loads((build / "compile_commands.json").read_text()):
        words = shlex.split(row["command"])
        found[row["file"]] = ["-x", "c++", "-std=c++20"] + [
            word for word in words if word.startswith(("-I", "-D"))] + [f"-working-directory={row['directory']}"]
    return found


class Finder:
    def __init__(self, files):
        self.files = {str(file): file.read_bytes() for file in files}
        self.changes = set()

    def look(self, source, arguments):
        unit = cindex.Index.create().parse(source, arguments)
        for cursor in unit.cursor.get_children():
            if cursor.location.file and str(pathlib.Path(cursor.location.file.name).resolve()) in self.files:
                self._visit(cursor, None)

    def _visit(self, cursor, parent):
        if cursor.kind in CONSTANT or cursor.kind is Kind.VAR_DECL and self._text(cursor).startswith(("constexpr", "static constexpr")):
            return
        children = list(cursor.get_children())
        self._changes_of(cursor, children, parent)
        for child in children:
            self._visit(child, cursor)

    def _changes_of(self, cursor, children, parent):
        if cursor.kind is Kind.BINARY_OPERATOR and len(children) == 2:
            self._operator(cursor, *children)
        elif cursor.kind is Kind.INTEGER_LITERAL:
            self._add(cursor, "plus 1")
        elif cursor.kind is Kind.CXX_BOOL_LITERAL_EXPR:
            self._add(cursor, "not")
        elif cursor.kind is Kind.IF_STMT:
            self._condition(cursor, children)
        elif cursor.kind is Kind.CALL_EXPR and parent and parent.kind is Kind.COMPOUND_STMT:
            self._add(cursor, "no call")

    def _operator(self, cursor, left, right):
        text = self._text(cursor)
        between = self._between(left.extent.end.offset, right.extent.start.offset, cursor)
        if text and between in OTHER:
            self._add(cursor, OTHER[between], left.extent.end.offset, right.extent.start.offset)

    def _condition(self, cursor, children):
        """Of an `if` whose condition is no comparison, which has changes of its own."""
        if not children or self._text(cursor).replace(" ", "").startswith("ifconstexpr"):
            return
        condition = children[0]
        if condition.kind in (Kind.VAR_DECL, Kind.DECL_STMT) or condition.kind is Kind.BINARY_OPERATOR:
            return
        self._add(condition, "not")

    def _name(self, cursor):
        return str(pathlib.Path(cursor.extent.start.file.name).resolve()) if cursor.extent.start.file else ""

    def _text(self, cursor):
        """As it stands in the file; nothing where it comes out of a macro."""
        content = self.files.get(self._name(cursor))
        return content[cursor.extent.start.offset:cursor.extent.end.offset].decode() if content else ""

    def _between(self, start, end, cursor):
        return self.files[self._name(cursor)][start:end].decode().strip() if self._name(cursor) in self.files else ""

    def _add(self, cursor, kind, left_end=0, right_start=0):
        text = self._text(cursor)
        first = next(iter(cursor.get_tokens()), None)
        if not text or first is None or not text.startswith(first.spelling) or text.isupper():
            return
        self.changes.add(Change(self._name(cursor), cursor.extent.start.offset, cursor.extent.end.offset, left_end,
                                right_start, kind))


def find(build, files):
    """The changes of these files, in the order in which they stand there."""
    finder = Finder(files)
    for source, arguments in arguments_of(build).items():
        if source in finder.files:
            finder.look(source, arguments)
    headers = [file for file in finder.files if file.endswith(".h")]
    if headers:
        source, arguments = next((row for row in arguments_of(build).items() if "/operations/" in row[0]))
        for header in headers:
            finder.look(header, arguments)
    return sorted(finder.changes, key=lambda change: (change.file, change.start, -change.end, change.kind))


class Rewriter:
    """One file with all of its changes in it, each made where its number is asked for."""

    def __init__(self, content, changes, numbers, folder):
        self.content, self.changes, self.numbers = content, changes, numbers
        self.header = str(folder / "tests" / "mutate" / "mutants.h").encode()

    def text(self):
        return b'#include "' + self.header + b'"\n' + self._render(0, len(self.content), self.changes)

    def _render(self, start, end, changes):
        out, at, index = [], start, 0
        while index < len(changes):
            outer = changes[index]
            inside = [c for c in changes[index + 1:] if c.start < outer.end]
            out.append(self.content[at:outer.start])
            out.append(self._changed(outer, [c for c in inside if c.end <= outer.end]))
            at, index = outer.end, index + 1 + len(inside)
        out.append(self.content[at:end])
        return b"".join(out)

    def _changed(self, change, inside):
        same = [c for c in inside if (c.start, c.end) == (change.start, change.end)]
        inside = [c for c in inside if c not in same]
        made = b"ptp_cfg_mutants::made(%d)" % self.numbers[change]
        part = lambda start, end: self._render(start, end, [c for c in inside if c.start >= start and c.end <= end])
        whole = self._changed(same[0], same[1:] + inside) if same else part(change.start, change.end)
        if len(whole) > MOST_TEXT:
            whole = self.content[change.start:change.end]
            inside = []
        if change.kind == "no call":
            return b"if (!%s) %s" % (made, whole)
        if change.kind == "not":
            return b"(%s ? !(%s) : static_cast<bool>(%s))" % (made, whole, whole)
        if change.kind == "plus 1":
            return b"(%s ? (%s + 1) : %s)" % (made, whole, whole)
        left, right = part(change.start, change.left_end), part(change.right_start, change.end)
        return b"(%s ? (%s %s %s) : (%s))" % (made, left, change.kind.encode(), right, whole)
