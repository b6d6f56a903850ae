"""Encodes instances and messages as they travel, from tables.py alone.

A record is given by path: "default_data_set/clk_id/ptp_clk_id[3]" names an element of an array in a structure in a
structure; in a message the first step is the payload, in an enumeration that stands alone the path is "value". The
outermost instance has the path "".
"""

import struct
from dataclasses import dataclass, field
from typing import NamedTuple

import tables

TRACKED = 0x08
EXTRA_DATA = 0x20


class Octets(bytes):
    """An en_address or another primitive that is nothing but its bytes."""


class Ip(NamedTuple):
    """An ip_address."""

    family: int = 0
    address: bytes = bytes(16)
    scope: int = 0


class Vrf(NamedTuple):
    """A vrf_info."""

    id: int = 0
    table_id: int = 0
    afi: int = 0
    safi: int = 0


@dataclass
class Record:
    """What an instance or message holds; what is not named is 0, empty or at its latest variant.

    Values are integers, bytes of a text, Octets, Ip or Vrf.
    """

    values: dict = field(default_factory=dict)
    flags: dict | None = None  # state flags; None: not tracked. PATH[*] is the flag of an array as a whole
    variants: dict = field(default_factory=dict)  # by type name
    extra: set = field(default_factory=set)  # instances that carry extra runtime data
    null: set = field(default_factory=set)  # payloads, or "", that are absent
    header_word: int = 0  # of a message

    def variant(self, name):
        return self.variants.get(name, tables.latest(name))


class Piece(NamedTuple):
    """Consecutive bytes of an encoding and what they mean."""

    path: str
    item: str  # "value", or what else stands there: "variant", "jump", "state flag", ...
    data: bytes
    value: object


def encode(name, record):
    """The pieces of the encoding of a structure, enumeration or message."""
    if name in tables.MESSAGES:
        return _message(record, name)
    return _structure(record, name, "") if name in tables.STRUCTURES else _value(record, name, "value")


def joined(pieces):
    return b"".join(piece.data for piece in pieces)


def join(path, step):
    return f"{path}/{step}" if path else step


def elements(where, capacity):
    """The paths of a field's values: one per element of an array."""
    return [f"{where}[{index}]" for index in range(capacity)] or [where]


def _piece(path, item, code, value):
    return Piece(path, item, struct.pack(code, value), value)


def _structure(record, name, path):
    variant = -1 if path in record.null else record.variant(name)
    flags = (TRACKED if record.flags is not None else 0) | (EXTRA_DATA if path in record.extra else 0)
    head = [_piece(path, "variant", ">b", variant), _piece(path, "object flag", ">B", flags)]
    if flags & EXTRA_DATA:
        head.append(Piece(path, "extra data", bytes(9), 0))
    body = []
    for part in tables.STRUCTURES[name].fields:
        if part.since <= variant:
            body += _field(record, part, path)
    return head + [_piece(path, "jump", ">I", 4 + len(joined(body)))] + body


def _field(record, part, path):
    where = join(path, part.name)
    if part.length_of:  # the only field without a state flag
        return [_piece(where, "value", ">B", len(record.values.get(join(path, part.length_of), b"")))]
    places = elements(where, part.capacity)
    pieces = [piece for place in places for piece in _value(record, part.type, place)]
    if record.flags is not None:
        flagged = [where + "[*]"] + places if part.capacity else places
        pieces += [_piece(place, "state flag", ">B", record.flags.get(place, 0)) for place in flagged]
    return pieces


def _value(record, kind, path):
    if kind in tables.STRUCTURES:
        return _structure(record, kind, path)
    if kind in tables.ENUMERATIONS:
        return [_piece(path, "variant", ">b", record.variant(kind)),
                _piece(path, "value", ">I", record.values.get(path, 0))]
    if kind in tables.NUMBERS:
        return [_piece(path, "value", tables.NUMBERS[kind], record.values.get(path, 0))]
    if kind == "ip_address":
        ip = record.values.get(path, Ip())
        return [_piece(path, "family", ">B", ip.family), Piece(path, "address", ip.address, ip.address.hex()),
                _piece(path, "scope id", ">I", ip.scope)]
    if kind == "vrf_info":
        vrf = record.values.get(path, Vrf())
        return [_piece(path, "id", ">Q", vrf.id), _piece(path, "table id", ">I", vrf.table_id),
                _piece(path, "afi", ">I", vrf.afi), _piece(path, "safi", ">I", vrf.safi)]
    if kind in tables.OCTETS:
        octets = record.values.get(path, Octets(tables.OCTETS[kind]))
        return [Piece(path, "value", octets, octets.hex())]
    text = record.values.get(path, b"")
    return [Piece(path, "value", text, text)] if text else []


def _message(record, name):
    message = tables.MESSAGES[name]
    payloads = [piece for payload in message.payloads for piece in _value(record, payload, payload)]
    return [
        _piece("", "tag", ">B", 0xBC),
        Piece("", "address", b"\xff" * 6, "ff" * 6),
        _piece("", "tracked", ">B", int(record.flags is not None)),
        _piece("", "header word", ">I", record.header_word),
        _piece("", "length", ">I", 27 + 16 + len(joined(payloads))),
        Piece("", "zeros", bytes(11), 0),
        Piece("", "identity", message.luid, message.luid.hex()),
    ] + payloads
