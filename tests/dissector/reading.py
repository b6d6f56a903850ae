"""What ptpcfg and the dissector say of the same bytes, in one form: items of offset, width, path and value."""

import re
import subprocess
import xml.etree.ElementTree as tree
from typing import NamedTuple

import tables

FIRST_BYTE, FIRST_PATH = 8, 33  # columns of decode --explain
ERRORS = {"truncated", "not_a_message", "unknown_message", "bytes_left", "length_wrong", "jump_wrong", "count_too_large"}

# What stands before the value of an enumeration or a list of bytes, and is shown below it.
BEFORE_VALUE = ("ptp_cfg.variant.", "ptp_cfg.record.flag", "ptp_cfg.record.extra", "ptp_cfg.record.jump")


class Item(NamedTuple):
    offset: int
    width: int
    path: str
    value: str


def explained(ptpcfg, data):
    """The items of decode --explain, and whether it found a fault."""
    run = subprocess.run([ptpcfg, "decode", "--from", "bin", "--explain", "-"], input=data, capture_output=True)
    if run.returncode not in (0, 1):
        raise RuntimeError(run.stderr.decode())
    items = []
    for line in run.stdout.decode("utf-8", "backslashreplace").split("\n"):
        width = len(line[FIRST_BYTE:FIRST_PATH].split())
        what = line[FIRST_PATH:]
        if what:
            path, _, value = what.partition("  ")
            items.append(Item(int(line[:6]), width, path, value.strip()))
        elif line:
            items[-1] = items[-1]._replace(width=items[-1].width + width)
    return items, run.returncode == 1


def is_record(name):
    """Whether a field's name is that of an embedded record or a payload that is one."""
    owner, _, member = name.removeprefix("ptp_cfg.").partition(".")
    if owner + "_message" in tables.MESSAGES:
        return member in tables.STRUCTURES
    fields = tables.STRUCTURES[owner].fields if owner in tables.STRUCTURES else []
    return any(field.name == member and field.type in tables.STRUCTURES for field in fields)


def is_part(name):
    """Whether a field is a part of a value, such as the scope of an address."""
    return name.count(".") == 3 and not is_state(name)


def is_state(name):
    return name.count(".") == 3 and name.endswith(".state")


class Packet:
    """One packet as tshark shows it."""

    def __init__(self, element):
        self.text = tree.tostring(element, encoding="unicode")
        self.names = [field.get("name") for field in element.iter("field")]
        self.experts = {name.removeprefix("ptp_cfg.") for name in self.names} & ERRORS
        self.items = []
        self.messages = [field.get("show") for field in element.iter("field") if field.get("name") == "ptp_cfg.message"]
        for proto in element.iter("proto"):
            if proto.get("name") == "ptp_cfg":
                self._add(proto, "")
        for field in element.iter("field"):  # messages within a bundle
            if field.get("name") == "ptp_cfg":
                self._add(field, "")
            elif field.get("name") == "ptp_cfg.not_understood":
                self._keep(field, "(not understood)")
        self.items.sort()

    def _keep(self, field, path, parent=None):
        # tshark takes an item that begins before the one it stands in for one with an offset in that.
        is_before = parent is not None and parent.get("show") and field.get("name").startswith(BEFORE_VALUE)
        offset = int(field.get("pos")) - (int(parent.get("pos")) if is_before else 0)
        self.items.append(Item(offset, int(field.get("size")), path, value_of(field)))

    def _add(self, element, path):
        for field in element.findall("field"):
            name, label = field.get("name"), field.get("showname") or field.get("show")
            step = label.partition(": ")[0]
            here = f"{path}/{step}" if path else step
            if not name.startswith("ptp_cfg.") or is_part(name) or not field.get("size") or \
                    name in ("ptp_cfg.identity", "ptp_cfg.not_understood", "ptp_cfg.bundle"):
                continue
            if name == "ptp_cfg.array":
                self._add(field, path)
            elif is_record(name) or name in ("ptp_cfg.header", "ptp_cfg.cut"):
                self._add(field, here)
            else:
                is_own = step == path.rpartition("/")[2] + " state"  # of what it stands in, as a whole
                self._keep(field, path + " state" if is_own else here, element)
                self._add(field, here)


def value_of(field):
    """What is compared of a value: the text of --explain, but for what Wireshark writes in its own way."""
    name, show, label = field.get("name"), field.get("show"), field.get("showname") or ""
    if is_state(name):
        return " ".join(str(byte) for byte in bytes.fromhex(field.get("value")))
    if name == "ptp_cfg.record.flag":
        return label.partition(", ")[2]
    literal = re.fullmatch(r"[^:]*: (\w+|no literal) \((\d+)\)", label)
    return f"{literal[2]} {literal[1]}" if literal else show


def is_same(theirs, ours):
    """Whether values agree: those of --explain, and the dissector's. Variants and jumps say more."""
    if theirs == ours or theirs == ours.replace(":", "") or theirs.split(":")[0].split(",")[0] == ours:
        return True
    if theirs in ("true", "false"):
        return {"true": "1", "false": "0"}[theirs] == {"True": "1", "False": "0"}.get(ours, ours)
    if re.fullmatch(r"[\d.]+", ours):  # an IPv4 address that is a number
        octets = [int(octet) for octet in ours.split(".")]
        return len(octets) == 4 and theirs.split(" ")[0] == str(int.from_bytes(bytes(octets), "big"))
    if theirs.endswith("has no literal"):
        return ours.split(" ")[0] == theirs.split(" ")[0]
    return theirs.startswith('"') or "missing" in theirs


def differences(explained_items, packet, wording=("header/", "/extra data", "(newer fields)", "(not understood)")):
    """Lines that say where the two differ."""
    theirs, ours = sorted(explained_items), packet.items
    found = []
    for a, b in zip(theirs, ours):
        if a[:3] != b[:3]:
            return found + [f"{a} is {b} to the dissector"]
        if not any(word in a.path for word in wording) and not is_same(a.value, b.value):
            found.append(f"{a} has the value {b.value!r} to the dissector")
    return found + [f"{item} is missed" for item in theirs[len(ours):]] + [f"{item} is too much" for item in ours[len(theirs):]]


class Tshark:
    """tshark with the dissector, and with nothing of the user's own configuration."""

    def __init__(self, program, dissector, folder):
        self.command = [program, "-X", f"lua_script:{dissector}", "-n"]
        self.environment = {"HOME": str(folder), "PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8"}

    def run(self, capture, *options):
        run = subprocess.run([*self.command, "-r", str(capture), *options], capture_output=True, timeout=100,
                             env=self.environment)
        output = run.stdout.decode("utf-8", "replace")
        errors = run.stderr.decode("utf-8", "replace")
        for text in (output, errors):
            fault = re.search(r"Lua Error|Lua:|\.lua:\d+|Dissector bug|\[Malformed", text)
            if fault or run.returncode != 0:
                raise RuntimeError(f"{capture}: {text[max(fault.start() - 100, 0):][:300] if fault else errors}")
        return output

    def packets(self, capture, *options):
        return [Packet(packet) for packet in tree.fromstring(self.run(capture, "-T", "pdml", *options)).iter("packet")]
