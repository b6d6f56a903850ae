#!/usr/bin/env python3
"""Times the package beside Debian's python3-protobuf with the same records: compare.py FOLDER_OF_BENCH_PB2

Each pair of calls is timed turn by turn in the processor's own time, and of several rounds the fastest counts. Prints a
table for docs/python.md.
"""

import platform
import sys
import time
import timeit

sys.path.insert(0, sys.argv[1])
import bench_pb2  # noqa: E402
from google.protobuf import __version__ as protobuf_version  # noqa: E402
from google.protobuf import json_format  # noqa: E402
from google.protobuf.internal import api_implementation  # noqa: E402

import ptp_cfg  # noqa: E402

ROUNDS = 5
SECONDS = 0.03  # of each round

# Scenario, structure; the peer's message has its name without underscores.
RECORDS = {"one_field_command": "ptp_clock_delete", "clock_record": "ptp_clock",
           "stream_statistics": "ptp_stream_runtime_state_arr", "stream_list": "ptp_ipv4_streams_arr"}


def pascal(name):
    return "".join(part[:1].upper() + part[1:] for part in name.split("_"))


def filled(made):
    """A record in which every number differs from its default."""
    values = {}
    for number, field in enumerate(made.description["fields"], 1):
        if field["is_read_only"]:
            continue
        if field["kind"] == "structure":
            value = filled(getattr(ptp_cfg, field["type"]))
        elif field["kind"] == "enumeration":
            value = list(getattr(ptp_cfg, field["type"]))[-1]
        elif field["kind"] == "boolean":
            value = True
        elif field["kind"] == "opaque":
            value = {"en_address": "00:1b:19:00:00:01", "ip_address": "2001:db8::1", "vrf_info": "1:2:3:4"}[field["type"]]
        else:
            value = number % 100 + 3
        values[field["attribute"]] = [value] * field["capacity"] if field["is_array"] else value
    return made(**values)


def fill(message, record):
    """Gives the peer's message the values of a record, as far as their shapes agree; wrapped and packed values get
    numbers of the same width."""
    for field in message.DESCRIPTOR.fields:
        target = getattr(message, field.name)
        if field.label == field.LABEL_REPEATED:
            for entry in getattr(record, field.name):
                fill(target.add(), entry)
        elif field.message_type is not None:
            inner = next((value for name, value in record.items() if plain(name) == plain(field.name)), record)
            fill(target, inner)
        else:
            value = next((value for name, value in record.items() if plain(name) == plain(field.name)), None)
            wide = field.type in (field.TYPE_FIXED64, field.TYPE_FIXED32)
            setattr(message, field.name, int(value) if isinstance(value, int) and not wide else
                    0xAABBCC01 if field.type == field.TYPE_FIXED32 else 0xAABBCCFFFE000330 if wide else 53)
    return message


def plain(name):
    return name.replace("_", "").lower()


def pair(ours, theirs):
    """Nanoseconds of one call of each."""
    return [min(column) for column in zip(*((once(ours), once(theirs)) for _ in range(ROUNDS)))]


def once(call):
    """The processor's time of one call, of as many as take long enough to be told."""
    number, spent = 1, 0.0
    while spent < SECONDS:
        number *= 4
        spent = timeit.timeit(call, number=number, timer=time.process_time)
    return spent / number * 1e9


def row(scenario, structure):
    made, peer = getattr(ptp_cfg, structure), getattr(bench_pb2, pascal(structure))
    record = filled(made)
    message = fill(peer(), record)
    data, peer_data = record.to_bytes(), message.SerializeToString()
    assert made.from_bytes(data) == record and peer.FromString(peer_data) == message
    cells = [scenario, f"{len(data)} / {len(peer_data)}"]
    for ours, theirs in ((record.to_bytes, message.SerializeToString),
                         (lambda: made.from_bytes(data), lambda: peer.FromString(peer_data)),
                         (record.to_json, lambda: json_format.MessageToJson(message, indent=None)),
                         (lambda text=record.to_json(): made.from_json(text),
                          lambda text=json_format.MessageToJson(message): json_format.Parse(text, peer()))):
        one, other = pair(ours, theirs)
        cells.append(f"{one:.0f} / {other:.0f}: **{other / one:.1f}**")
    return cells


def main():
    print(f"Python {platform.python_version()}, python3-protobuf {protobuf_version} with its "
          f"{api_implementation.Type()} backend: nanoseconds of the\nprocessor's "
          "time here and there, and how many times as long it takes there.\n")
    print("| record | bytes, here / there | encode | decode | to JSON | from JSON |")
    print("|---|---:|---:|---:|---:|---:|")
    for scenario, structure in RECORDS.items():
        print("| " + " | ".join(row(scenario, structure)) + " |")


if __name__ == "__main__":
    main()
