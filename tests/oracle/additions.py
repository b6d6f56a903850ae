"""Adds to the tables what the schema has beyond them.

tables.py holds what was released and never changes. What the schema has added since - a type, a field at the end of a
structure, a value at the end of an enumeration, each in a variant of its own - is taken from its rows, so that a new row
is tested without being written twice. (A primitive whose encoding is something else than its bytes has that in
encoder.py, too.) Where the two differ in what both have, the table stays, and the comparison of encodings with the
library fails.
"""

import pathlib
import tomllib

import tables

_LETTERS = {1: "b", 2: "h", 4: "i", 8: "q"}


def _add_primitive(row):
    if row["class"] == "octets":
        tables.OCTETS.setdefault(row["name"], row["width"])
    if row["class"] in ("unsigned_number", "signed_number", "boolean"):
        letter = _LETTERS[row["width"]]
        tables.NUMBERS.setdefault(row["name"], ">" + (letter if row["class"] == "signed_number" else letter.upper()))


def _add_enumeration(row):
    since = [value.get("since", 0) for value in row["values"]]
    counts = [sum(each <= variant for each in since) for variant in range(max(since) + 1)]
    known = tables.ENUMERATIONS.get(row["name"], [])
    if counts[:len(known)] == known:
        tables.ENUMERATIONS[row["name"]] = counts


def _add_structure(row):
    fields = [tables.Field(field["name"], field["type"], field.get("since", 0), field.get("capacity", 0),
                           field.get("length_of", "")) for field in row["fields"]]
    known = tables.STRUCTURES.get(row["name"])
    count = len(known.fields) if known else 0
    latest = tables.latest(row["name"])
    if not known or (fields[:count] == known.fields and all(field.since > latest for field in fields[count:])):
        tables.STRUCTURES[row["name"]] = tables.Structure(row["size"], row["tracked_size"], fields)


def _add_message(row):
    tables.MESSAGES.setdefault(row["name"] + "_message", tables.Message(bytes.fromhex(row["luid"]), row["payloads"]))


def add(schema):
    """Completes the tables from the files of a folder."""

    def load(name):
        return tomllib.loads(pathlib.Path(schema, name + ".toml").read_text(encoding="utf-8"))

    for name in ["primitives", *load("catalogue")["subjects"]]:
        document = load(name)
        for key, take in (("primitives", _add_primitive), ("enumeration", _add_enumeration),
                          ("structure", _add_structure), ("message", _add_message)):
            for row in document.get(key, []):
                take(row)
