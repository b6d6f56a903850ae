"""Writes test vectors: records and the bytes they must become.

    python3 vectors.py --output FILE [--schema FOLDER] [--types NAME,NAME]

The file is text, one item per line, words separated by single blanks; lines that begin with # are comments. Paths are
those of encoder.py, "." for the outermost instance.

    type NAME LATEST PARTS SIZE TRACKED   of a structure or enumeration: its latest variant, how many fields or values
                                          it has, bytes of an instance without and with state flags
    vector NAME TITLE...                  begins a vector of a structure, enumeration or message; the title says which
    tracked                               it is made under a tracking handle
    domain NAME VARIANT                   ... under a domain that names this variant; all others are at their latest
    word NUMBER                           ... with this header word
    shallow                               the message is created without its payloads
    set PATH KIND VALUE                   a value to store, in any order
        number DECIMAL                    integer, truth value or enumeration
        text HEX | octets HEX             characters ("-" for none), bytes such as an Ethernet address
        ip FAMILY HEX SCOPE               family, 16 address bytes, scope id
        vrf ID TABLE AFI SAFI
    flag PATH NUMBER                      a state flag to store after all values; PATH[*] of an array as a whole
    extra PATH                            an instance that carries extra runtime data
    bytes HEX PATH ITEM...                the next bytes of the encoding and what they are
    end                                   ends the vector

Every leaf of a record differs from its default and, as far as its width allows, from all others; an enumeration is at
the last value of its variant.
"""

import argparse
import itertools
import sys

import additions
import encoder
import tables

HEADER_WORD = 0x5A6B7C8D

# Records that also come with extra runtime data: one of each subject and every array shape.
WITH_EXTRA_DATA = ("ptp_clock", "ptp_port", "ptp_port_data_set", "ptp_bmca_data", "vela_ptp_1pps", "ptp_utc_offset",
                   "ptp_clock_identity", "ptp_stream_runtime_state_arr")


class Source:
    """Draws values: per width none is 0 and none comes twice before all others have."""

    def __init__(self):
        self.counts = {}

    def number(self, code, use="value"):
        bits = {"B": 8, "H": 16, "I": 32, "Q": 64}[code[-1].upper()]
        count = self.counts.setdefault((bits, use), itertools.count(1))
        # Odd steps, so that every number of that width has its turn.
        step = {8: 0x9D if use == "value" else 0x3B, 16: 0x9E37, 32: 0x9E3779B1, 64: 0x9E3779B97F4A7C15}[bits]
        value = 0
        while not value:
            value = next(count) * step % 2**bits
        return value - 2**bits if code[-1].islower() and value >> (bits - 1) else value

    def octets(self, length):
        drawn = b"".join(self.number(">Q").to_bytes(8) for _ in range(0, length, 8))
        return drawn[:length]

    def value(self, kind):
        if kind == "vela_boolean":
            return 1
        if kind in tables.NUMBERS:
            return self.number(tables.NUMBERS[kind])
        if kind in tables.OCTETS:
            return encoder.Octets(self.octets(tables.OCTETS[kind]))
        if kind == "vrf_info":
            return encoder.Vrf(*(self.number(code) for code in (">Q", ">I", ">I", ">I")))
        if kind == "var_string":
            return b"name %d" % self.number(">B")
        if next(self.counts.setdefault("ip", itertools.count())) % 2:
            return encoder.Ip(4, self.octets(4) + bytes(12), 0)
        return encoder.Ip(6, self.octets(16), self.number(">I"))


def fill(name, level=None, tracked=False, text=None, extra=False):
    """A record of a type in which every part is at variant `level`, or at its latest when that is older."""
    variants = {part: level for part in tables.parts(name) if level is not None and tables.latest(part) > level}
    record = encoder.Record(flags={} if tracked else None, variants=variants,
                            header_word=HEADER_WORD if name in tables.MESSAGES else 0)
    source = Source()

    def fill_value(kind, path):
        if kind in tables.STRUCTURES:
            if extra:
                record.extra.add(path)
            for part in tables.STRUCTURES[kind].fields:
                if part.since <= record.variant(kind) and not part.length_of:
                    fill_field(part, encoder.join(path, part.name))
        elif kind in tables.ENUMERATIONS:
            record.values[path] = tables.ENUMERATIONS[kind][record.variant(kind)] - 1
        else:
            record.values[path] = text if kind == "var_string" and text is not None else source.value(kind)

    def fill_field(part, where):
        places = encoder.elements(where, part.capacity)
        for place in places:
            fill_value(part.type, place)
        if tracked:
            for place in [where + "[*]"] * bool(part.capacity) + places:
                record.flags[place] = source.number(">B", "flag")

    if name in tables.MESSAGES:
        for payload in tables.MESSAGES[name].payloads:
            fill_value(payload, payload)
    else:
        fill_value(name, "" if name in tables.STRUCTURES else "value")
    return record


def cases(name):
    """Titles and records of all vectors of a type."""
    oldest_first = range(max(map(tables.latest, tables.parts(name))) + 1)
    for tracked in (False, True):
        how = "tracked" if tracked else "untracked"
        for level in oldest_first:
            yield f"variant={level} {how}", fill(name, level, tracked)
        if name in WITH_EXTRA_DATA:
            yield f"extra data, {how}", fill(name, tracked=tracked, extra=True)
        if name in tables.STRUCTURES and any(part.length_of for part in tables.STRUCTURES[name].fields):
            for length in (0, 255):
                text = bytes((7 * index + 1) % 256 for index in range(length))
                yield f"text of {length} characters, {how}", fill(name, tracked=tracked, text=text)
        if name in tables.MESSAGES and tables.MESSAGES[name].payloads[0] in tables.STRUCTURES:
            record = encoder.Record(flags={} if tracked else None, header_word=HEADER_WORD,
                                    null=set(tables.MESSAGES[name].payloads))
            yield f"no payload, {how}", record


def value_text(value):
    match value:
        case encoder.Ip(family, address, scope):
            return f"ip {family} {address.hex()} {scope}"
        case encoder.Vrf():
            return "vrf " + " ".join(map(str, value))
        case encoder.Octets():
            return f"octets {value.hex()}"
        case bytes():
            return f"text {value.hex() or '-'}"
    return f"number {value}"


def lines(name):
    """The part of the file that is about one type."""
    if name in tables.STRUCTURES:
        structure = tables.STRUCTURES[name]
        yield f"type {name} {tables.latest(name)} {len(structure.fields)} {structure.size} {structure.tracked_size}"
    elif name in tables.ENUMERATIONS:
        yield f"type {name} {tables.latest(name)} {tables.ENUMERATIONS[name][-1]} 16 16"
    for title, record in cases(name):
        yield f"vector {name} {title}"
        if record.flags is not None:
            yield "tracked"
        yield from (f"domain {part} {variant}" for part, variant in record.variants.items())
        if name in tables.MESSAGES:
            yield f"word {record.header_word}"
        if record.null:
            yield "shallow"
        yield from (f"set {path} {value_text(value)}" for path, value in record.values.items())
        yield from (f"flag {path} {flag}" for path, flag in (record.flags or {}).items())
        yield from (f"extra {path or '.'}" for path in sorted(record.extra))
        for piece in encoder.encode(name, record):
            yield f"bytes {piece.data.hex()} {piece.path or '.'} {piece.item}"
        yield "end"


def main():
    parser = argparse.ArgumentParser(description="Writes test vectors of the wire format.")
    parser.add_argument("--output", required=True, metavar="FILE")
    parser.add_argument("--schema", metavar="FOLDER", help="add what it has beyond the tables")
    parser.add_argument("--types", metavar="NAME,NAME", help="only these (default: all)")
    options = parser.parse_args()
    if options.schema:
        additions.add(options.schema)
    everything = [*tables.STRUCTURES, *tables.ENUMERATIONS, *tables.MESSAGES]
    names = options.types.split(",") if options.types else everything
    unknown = set(names) - set(everything)
    if unknown:
        sys.exit("vectors.py: there is no type " + ", ".join(sorted(unknown)))
    with open(options.output, "w", encoding="ascii") as out:
        out.write("# Test vectors; vectors.py describes the format.\n")
        for name in names:
            out.writelines(line + "\n" for line in lines(name))


if __name__ == "__main__":
    main()
