#!/usr/bin/env python3
"""Has tshark take captures apart with the dissector, and compares with `ptpcfg decode --explain`.

    check.py CASE --tshark PROGRAM --dissector FILE --ptpcfg PROGRAM --oracle FOLDER --schema FOLDER
"""

import argparse
import os
import pathlib
import random
import re
import socket
import struct
import subprocess
import sys
import tempfile

SKIPPED = 77


def all_messages(oracle):
    """Title and bytes of every vector of every message."""
    for name in oracle.tables.MESSAGES:
        for title, record in oracle.vectors.cases(name):
            yield f"{name}, {title}", oracle.encoder.joined(oracle.encoder.encode(name, record))


def compare(oracle, tshark, ptpcfg, folder, titled):
    """Holds each packet against --explain: the items, and whether anything is wrong."""
    captures.write(folder / "compared.pcap", [data for _, data in titled])
    packets = tshark.packets(folder / "compared.pcap")
    assert len(packets) == len(titled), f"{len(packets)} packets of {len(titled)}"
    faults = []
    for (title, data), packet in zip(titled, packets):
        items, is_wrong = reading.explained(ptpcfg, data)
        faults += [f"{title}: {line}" for line in reading.differences(items, packet)[:3]]
        if is_wrong != bool(packet.experts):
            faults.append(f"{title}: --explain {'finds a' if is_wrong else 'finds no'} fault, the dissector {packet.experts}")
    assert not faults, "\n".join(faults[:20])


def case_messages(oracle, tshark, ptpcfg, folder):
    """Every message with every leaf distinct, tracked or not, at every variant, with extra data, without payloads."""
    titled = list(all_messages(oracle))
    assert {title.split(",")[0] for title, _ in titled} == set(oracle.tables.MESSAGES)
    compare(oracle, tshark, ptpcfg, folder, titled)


def case_hostile(oracle, tshark, ptpcfg, folder):
    """Messages cut at every length, with flipped bits, with wrong lengths, counts and jumps."""
    known = dict(all_messages(oracle))
    chosen = [data for title, data in known.items() if title.startswith(
        ("ptp_clock_cfg_message, variant=0 tracked", "ptp_utc_offset_cmd_message, variant=1 untracked",
         "ptp_virtual_port_cfg_message, variant=0 untracked", "ptp_port_runtime_state_msg_message, variant=0 tracked"))]
    assert len(chosen) == 4
    # From the second byte on: one that is cut off wholly is no packet.
    titled = [(f"{number}, cut at {length}", data[:length])
              for number, data in enumerate(chosen) for length in range(1, len(data))]
    draw = random.Random(1)
    for turn in range(400):
        data = bytearray(draw.choice(chosen))
        for _ in range(draw.choice((1, 1, 3))):
            data[draw.randrange(len(data))] ^= 1 << draw.randrange(8)
        titled.append((f"flipped {turn}", bytes(data)))
    for length in (0, 5, 27, 42, 43, 2**31, 2**32 - 1):
        titled.append((f"said to have {length}", chosen[0][:12] + struct.pack(">I", length) + chosen[0][16:]))
    titled += [("two messages", chosen[0] + chosen[1]), ("bytes behind", chosen[0] + b"\0\1\2")]
    compare(oracle, tshark, ptpcfg, folder, titled)


def case_bundles(oracle, tshark, ptpcfg, folder):
    """Offsets in a bundle are those of --explain; damaged bundles get notes and end."""
    messages = [data for title, data in all_messages(oracle) if title.endswith("variant=0 untracked")]
    whole = captures.bundle(messages)
    damaged = {"count_too_large": whole[:8] + b"\xff" * 4 + whole[12:], "length_wrong": whole[:-1],
               "bytes_left": whole + b"\0", "truncated": whole[:9]}
    draw = random.Random(2)
    noise = [bytes(draw.randrange(256) if draw.random() < 0.01 else byte for byte in whole) for _ in range(20)]
    captures.write(folder / "bundles.pcap", [whole, *damaged.values(), *noise])
    packets = tshark.packets(folder / "bundles.pcap")
    assert len(packets) == 1 + len(damaged) + len(noise)
    items, is_wrong = reading.explained(ptpcfg, whole)
    found = reading.differences([item for item in items if item.path != "bundle"], packets[0])
    assert not found and not is_wrong and not packets[0].experts, found[:5]
    assert len(packets[0].messages) == len(messages)
    for expert, packet in zip(damaged, packets[1:]):
        assert expert in packet.experts, f"no {expert} but {packet.experts}"


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def send_and_listen(ptpcfg, folder, listen_at, send_to, relay):
    """Two programs exchange three messages by way of the relay, which keeps what passes."""
    sent = folder / "sent.bin"
    listener = subprocess.Popen([ptpcfg, "listen", listen_at, "--count", "3"], stdout=subprocess.DEVNULL)
    try:
        assert relay.ready.wait(30), "nobody listens"
        subprocess.run([ptpcfg, "send", send_to, str(sent)], check=True, timeout=30)
        assert listener.wait(20) == 0
    finally:
        listener.kill()
        listener.wait()
    return relay.finish()


def case_channels(oracle, tshark, ptpcfg, folder):
    """What really passes over TCP, and between Unix sockets by way of a relay: recognised without being told."""
    known = [data for title, data in all_messages(oracle) if title.endswith("variant=0 untracked")][:3]
    (folder / "sent.bin").write_bytes(b"".join(known))
    names = ["ptp_clock_cfg", "ptp_port_cfg", "ptp_stream_cfg"]
    door, behind = free_port(), free_port()
    relay = captures.Relay(socket.AF_INET, socket.SOCK_STREAM, ("127.0.0.1", door), ("127.0.0.1", behind))
    packets = send_and_listen(ptpcfg, folder, f"tcp:127.0.0.1:{behind}", f"tcp:127.0.0.1:{door}", relay)
    captures.write(folder / "tcp.pcap", packets, captures.RAW_IP)
    shown = tshark.packets(folder / "tcp.pcap")
    assert [name for packet in shown for name in packet.messages] == names, [packet.messages for packet in shown]
    confirmed = tshark.run(folder / "tcp.pcap", "-T", "fields", "-e", "ptp_cfg.frame.confirmed").replace(",", " ").split()
    assert sum(map(int, confirmed)) == 3, confirmed

    relay = captures.Relay(socket.AF_UNIX, socket.SOCK_SEQPACKET, str(folder / "door"), str(folder / "behind"))
    packets = send_and_listen(ptpcfg, folder, f"unix:{folder}/behind", f"unix:{folder}/door", relay)
    captures.write(folder / "unix.pcap", packets, captures.RAW_IP)
    shown = tshark.packets(folder / "unix.pcap")
    assert [name for packet in shown for name in packet.messages] == names, [packet.messages for packet in shown]


def case_streams(oracle, tshark, ptpcfg, folder):
    """Frames across segments, long ones, wrong ones; NATS; and streams that are something else."""
    known = [data for title, data in all_messages(oracle) if title.endswith("variant=0 untracked")]
    frames = b"".join(struct.pack(">I", len(data)) + data for data in (*known, captures.bundle(known)))
    counts = {}
    for name, size in (("bytes", 700), ("whole", 60000)):
        stream = captures.Stream()
        for start in range(0, len(frames), size):
            stream.add(frames[start:start + size])
        stream.add(struct.pack(">IIII", 0x80000000 + len(known), 0, 2**31 - 1, 0xFFFFFFFF))
        captures.write(folder / "frames.pcap", stream.packets, captures.RAW_IP)
        packets = tshark.packets(folder / "frames.pcap")
        counts[name] = [message for packet in packets for message in packet.messages]
        experts = {expert for packet in packets for expert in packet.experts}
        assert experts == {"length_wrong", "truncated", "not_a_message"}, [(p.messages, p.experts) for p in packets if p.experts]
    assert counts["bytes"] == counts["whole"] and len(counts["whole"]) == 2 * len(known), counts

    stream = captures.Stream(server_port=4222)
    body = b"NATS/1.0\r\n\r\n" + known[1]
    lines = b"PING\r\nMSG ptp.clock 1 %d\r\n%s\r\nHPUB ptp.port 12 %d\r\n%s\r\nPUB other 3\r\nabc\r\nMSG x 1 99999999999\r\n" % (
        len(known[0]), known[0], len(body), body)
    stream.add(lines[:100])
    stream.add(lines[100:])
    captures.write(folder / "nats.pcap", stream.packets, captures.RAW_IP)
    assert [name for packet in tshark.packets(folder / "nats.pcap") for name in packet.messages] == \
        ["ptp_clock_cfg", "ptp_port_cfg"]

    other = captures.Stream()
    draw = random.Random(3)
    for data in (b"GET / HTTP/1.0\r\n\r\n", b"\0\0\0\x40" + bytes(64), b"\xbc" * 40, draw.randbytes(5000), b"\1"):
        other.add(data)
    captures.write(folder / "other.pcap", other.packets, captures.RAW_IP)
    assert not any(name.startswith("ptp_cfg") for packet in tshark.packets(folder / "other.pcap") for name in packet.names)


def case_filters(oracle, tshark, ptpcfg, folder):
    """Fields of each kind are found by their values; so are notes."""
    known = dict(all_messages(oracle))
    captures.write(folder / "all.pcap", [*known.values(), b"\xbc"])
    clock = sum(title.startswith("ptp_clock_cfg_message, variant") for title in known)
    expected = {
        'ptp_cfg.message == "ptp_clock_cfg" && ptp_cfg.ptp_clock_cfg.ptp_clock': clock + 2,  # two without payload
        "ptp_cfg.ptp_clock.clk_profile == 4": clock // 2,
        'ptp_cfg.ptp_clock.clk_profile == "VELA_PTP_PHASE_PROFILE_G8275_1"': clock // 2,
        "ptp_cfg.ptp_clock.modify == 1 && ptp_cfg.header.tracked == 0": clock // 2,
        "ptp_cfg.ptp_clock.modify.state > 0": clock // 2,
        "ptp_cfg.ptp_clock_default_ds.clk_id[0:2] == 9d:3a && ptp_cfg.ptp_clock_cfg.ptp_clock": clock,
        "ptp_cfg.truncated": 1,
        "ptp_cfg.variant.ptp_utc_offset < 2 && ptp_cfg.header.tracked == 1": 3,
    }
    for text, count in expected.items():
        lines = tshark.run(folder / "all.pcap", "-Y", text).splitlines()
        assert len(lines) == count, f"{text}: {len(lines)} packets instead of {count}"
    columns = tshark.run(folder / "all.pcap", "-c", "1")
    assert "PTP_CFG" in columns and "ptp_clock_cfg" in columns, columns
    for text in opaque_filters(oracle, tshark, folder / "all.pcap"):
        assert tshark.run(folder / "all.pcap", "-Y", text), text
    page = (pathlib.Path(__file__).parents[2] / "docs/wireshark.md").read_text()
    documented = [text for text in re.findall(r"`(ptp_cfg\.[^`]+)`", page) if ".TYPE" not in text and ".MESSAGE" not in text]
    assert len(documented) > 20
    together = " || ".join(f"({text})" for text in documented if "ports:" not in text)
    assert tshark.run(folder / "all.pcap", "-Y", together)


def opaque_filters(oracle, tshark, capture):
    """For an address of each kind, and for parts of a VRF, a filter by a value that is shown."""
    kinds = {"ip_address": (".v4", ".v6"), "en_address": ("",), "vrf_info": ("", ".table")}
    paths = {f"ptp_cfg.{name}.{field.name}{part}": (field.type, part)
             for name, structure in oracle.tables.STRUCTURES.items() for field in structure.fields
             for part in kinds.get(field.type, ())}
    options = [word for path in paths for word in ("-e", path)]
    filters = {}
    for line in tshark.run(capture, "-T", "fields", "-E", "separator=|", *options).splitlines():
        for path, shown in zip(paths, line.split("|")):
            if shown:
                quote = '"' * (paths[path] == ("vrf_info", ""))
                filters[paths[path]] = f"{path} == {quote}{shown.split(',')[0]}{quote}"
    assert len(filters) == 5, filters
    return filters.values()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("case")
    for option in ("tshark", "dissector", "ptpcfg", "oracle", "schema"):
        parser.add_argument("--" + option, required=True)
    options = parser.parse_args()
    if not os.access(options.tshark, os.X_OK):
        print("SKIPPED: tshark is not installed (Debian: apt-get install tshark); nothing was compared")
        return SKIPPED
    sys.path[:0] = [options.oracle, str(pathlib.Path(__file__).parent)]
    global captures, reading
    import additions
    import captures
    import encoder
    import reading
    import tables
    import vectors

    additions.add(options.schema)
    oracle = argparse.Namespace(encoder=encoder, tables=tables, vectors=vectors)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        tshark = reading.Tshark(options.tshark, options.dissector, folder)
        globals()["case_" + options.case](oracle, tshark, options.ptpcfg, folder)
    return 0


sys.exit(main())
