#!/usr/bin/env python3
"""Checks the generated reference pages against the independent encoder of the wire format.

    check_reference.py PAGES ORACLE FUNCTIONS SCHEMA

Every type has a page, every function of the list FUNCTIONS is on one, every link leads somewhere, and every layout is
what the encoder makes of an instance: each row begins where an item of that name begins, ends where the next one does,
and gives variants, flags and jumps right.
"""
import collections
import pathlib
import re
import sys

sys.path.insert(0, sys.argv[2])
import additions  # noqa: E402
import encoder  # noqa: E402
import tables  # noqa: E402

TEXT = b"abc"  # stands in every text
FRAME = {"variant": "variant", "object flag": "flag", "jump": "jump", "identity": "identity"}
HEADER = {"tag": "tag", "address": "address", "tracked": "tracked", "header word": "word", "length": "length",
          "zeros": "reserved"}
faults = []


def expect(holds, where, what):
    if not holds:
        faults.append(f"{where}: {what}")


def sections(text):
    """Table rows, and the lines between, by heading."""
    found = collections.defaultdict(list)
    heading = ""
    for line in text.splitlines():
        if line.startswith("#"):
            heading = line.lstrip("# ")
        found[heading].append(line)
    return found


def rows(lines):
    cells = [[cell.strip() for cell in line.strip("|").split(" | ")] for line in lines if line.startswith("|")]
    return cells[2:]


def number(text):
    return sum(len(TEXT) if part == "n" else int(part, 0) for part in text.split(" + "))


def texts(kind, path):
    """The paths of all texts in a record, those in arrays left out."""
    for field in tables.STRUCTURES[kind].fields if kind in tables.STRUCTURES else []:
        where = encoder.join(path, field.name)
        if field.type == "var_string":
            yield where
        elif not field.capacity:
            yield from texts(field.type, where)


def names(piece):
    """How a row that begins with a piece may be called."""
    if piece.item in HEADER:
        return {"header/" + HEADER[piece.item]}
    if piece.item in ("jump", "object flag", "identity"):
        return {encoder.join(piece.path, FRAME[piece.item])}
    place = {re.sub(r"\[(0|\*)\]$", "", piece.path), re.sub(r"\[1\]$", "[1...]", piece.path), piece.path}
    if piece.item == "state flag":
        return {name + " state" for name in place}
    return place | {encoder.join(piece.path, "variant")} if piece.item == "variant" else place


def check_layout(where, lines, name, variants, tracked):
    payloads = tables.MESSAGES[name].payloads if name in tables.MESSAGES else []
    places = [place for kind in payloads for place in texts(kind, kind)] or list(texts(name, ""))
    record = encoder.Record({place: TEXT for place in places}, {} if tracked else None, variants)
    starts = {}
    end = 0
    for piece in encoder.encode(name, record):
        starts[end] = piece
        end += len(piece.data)
    at = 0
    for offset, width, item, content in rows(lines):
        row = f"{where}, {item}"
        expect(number(offset) == at, row, f"is at {offset}, the row before ends at {at}")
        piece = starts.get(at)
        expect(piece is not None and item.strip("`") in names(piece), row, f"the encoding has {piece} there")
        if piece is not None and re.search(r"\b(variant|flag|jump|length|tag)`$", item):
            stated = content.split(":")[0].split(" to ")[-1]  # "12: bytes up to", "0 to 2"
            expect(number(stated) == piece.value, row, f"says {content}, the encoding has {piece.value}")
        at += number(width)
    expect(at == end, where, f"the layout has {at} bytes, the encoding {end}")
    expect(any(re.fullmatch(r"[0-9n +]+ bytes\.", line) and number(line.split(" bytes")[0]) == end for line in lines)
           or name in tables.ENUMERATIONS, where, "gives another total")


def check_state_block(where, lines, length):
    at = 0
    for position, count, _ in rows(lines):
        expect(int(position) == at, where, f"position {position} follows {at}")
        at += int(count)
    expect(at == length, where, f"has {at} bytes instead of {length}")


def check_type(name, text):
    parts = sections(text)
    if name in tables.ENUMERATIONS:
        check_layout(name, [re.sub(f"`{name}(/?)", r"`value\1", line) for line in parts["Wire layout"]], name, {}, False)
        expect(len(rows(parts["Values"])) == tables.ENUMERATIONS[name][-1], name, "has other values")
        return
    if name in tables.STRUCTURES:
        row = tables.STRUCTURES[name]
        check_state_block(f"{name}, state flags", parts["State flags"], row.tracked_size - row.size)
        expect([f"`{field.name}`" for field in row.fields] == [cells[1] for cells in rows(parts["Fields"])], name,
               "has other fields")
        forms = {(f"Variant {variant}", variant) for variant in range(tables.latest(name) + 1)}
        forms = {(title + more, variant, bool(more)) for title, variant in forms for more in ("", " with state flags")}
    else:
        forms = {("Without state flags", 0, False), ("With state flags", 0, True)}
    for title, variant, tracked in forms:
        check_layout(f"{name}, {title}", parts[title], name, {name: variant}, tracked)


def check_links(pages):
    anchors = {name: set(re.findall(r'<a id="([^"]+)">', text)) for name, text in pages.items()}
    for name, text in pages.items():
        for target in re.findall(r"\]\(([^)]+)\)", text):
            page, _, anchor = target.partition("#")
            page = page or name
            expect(page in pages and (not anchor or anchor in anchors[page]), name, f"link to {target}, which is not")
    for name in pages:
        expect(name == "index.md" or f"]({name})" in pages["index.md"], "index.md", f"does not name {name}")


def main():
    additions.add(sys.argv[4])
    pages = {path.name: path.read_text() for path in pathlib.Path(sys.argv[1]).iterdir()}
    types = [*tables.STRUCTURES, *tables.ENUMERATIONS, *tables.MESSAGES]
    expect(set(pages) == {"index.md"} | {name + ".md" for name in types}, "pages",
           f"differ from the types: {set(pages) ^ ({'index.md'} | {name + '.md' for name in types})}")
    check_links(pages)
    listed = collections.Counter(re.findall(r"`(\w+)`", "".join(pages.values())))
    for line in pathlib.Path(sys.argv[3]).read_text().splitlines():
        expect(listed[line.split("\t")[0]] >= 1, "pages", f"do not name {line}")
    for name in types:
        if name + ".md" in pages:
            check_type(name, pages[name + ".md"])
    print("\n".join(faults[:20]) or f"{len(pages)} pages agree with the encoder")
    return 1 if faults else 0


sys.exit(main())
