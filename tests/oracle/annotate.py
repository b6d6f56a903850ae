"""Rewrites golden/: encodings taken apart line by line, for review and as a reference.

A change of these files is a change of what travels between releases. test_oracle.py fails when they are not what the
oracle encodes; after rewriting them, check every changed line by hand.
"""

import pathlib

import encoder
import vectors

GOLDEN = pathlib.Path(__file__).parent / "golden"
NAMES = ("ptp_clock", "ptp_port", "ptp_port_data_set", "ptp_master_attribute", "vela_ptp_1pps", "ptp_utc_offset",
         "ptp_port_data_set_info_message", "ptp_port_runtime_state_msg_message")
PER_LINE = 8


def annotated(name, tracked):
    pieces = encoder.encode(name, vectors.fill(name, tracked=tracked))
    yield f"# {name}, {'tracked' if tracked else 'untracked'}: {len(encoder.joined(pieces))} bytes"
    yield "# offset, bytes, path and item, value"
    offset = 0
    for piece in pieces:
        what = f"{piece.path} {'' if piece.item == 'value' else piece.item}".strip()
        value = f"{piece.value}, to offset {offset + piece.value}" if piece.item == "jump" else piece.value
        for start in range(0, len(piece.data), PER_LINE):
            octets = piece.data[start:start + PER_LINE].hex(" ")
            yield f"{offset + start:6}  {octets:{3 * PER_LINE}} {what}: {value}" if not start else \
                f"{offset + start:6}  {octets}"
        offset += len(piece.data)


def text(name):
    """The contents of one file."""
    return "\n".join([*annotated(name, False), "", *annotated(name, True)]) + "\n"


if __name__ == "__main__":
    for each in NAMES:
        (GOLDEN / f"{each}.txt").write_text(text(each), encoding="ascii")
