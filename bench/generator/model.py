"""What the schema says of the structures that records are made of, and what plain values and peers make of it."""

import dataclasses
import pathlib
import re
import tomllib


@dataclasses.dataclass
class Member:
    """A member of a primitive that is a C structure: a number, or `count` octets."""
    type: str
    name: str
    count: int = 0

    @property
    def value_type(self):
        return f"std::array<u_int8, {self.count}>" if self.count else self.type


@dataclasses.dataclass
class Field:
    name: str
    type: str
    kind: str  # number, truth, choice, octets, opaque, structure
    capacity: int = 0
    unit: str = ""
    width: int = 0
    members: list = dataclasses.field(default_factory=list)
    structure: "Structure | None" = None

    @property
    def is_single_value(self):
        return not self.capacity and self.kind in ("number", "truth", "choice")

    @property
    def value_type(self):
        one = {"choice": "u_int32", "octets": self.members[0].value_type if self.members else "",
               "opaque": self.type + "_values", "structure": self.type + "_values"}.get(self.kind, self.type)
        return f"std::array<{one}, {self.capacity}>" if self.capacity else one

    def member_path(self, member, path):
        """Where plain values have a member; octets are all there is of their type."""
        return path if self.kind == "octets" else f"{path}.{member.name}"


@dataclasses.dataclass
class Structure:
    name: str
    fields: list

    @property
    def is_wrapper(self):
        """A structure around one value: among plain values and in the peers' messages the value stands for it."""
        return len(self.fields) == 1 and self.fields[0].kind != "structure"

    @property
    def is_uniform(self):
        """Numbers of one type alone: an array of plain values, which a codec can run through."""
        return len(self.fields) > 1 and all(
            field.kind == "number" and field.is_single_value and field.type == self.fields[0].type
            for field in self.fields)

    @property
    def has_entries(self):
        return any(field.structure and (field.capacity or field.structure.has_entries) for field in self.fields)

    @property
    def has_parts(self):
        """Whether the peers' messages hold other messages."""
        return any(item.structure for item in items(self))

    @property
    def width(self):
        """Bytes of the encoding, the six of the header included."""
        return 6 + sum(max(field.capacity, 1) * (field.structure.width if field.structure else field.width)
                       for field in self.fields)

    def paths(self, path):
        """The fields, each with where plain values have it."""
        for index, field in enumerate(self.fields):
            step = "" if self.is_wrapper else f"[{index}]" if self.is_uniform else f".{field.name}"
            yield field, path + step

    def with_inner(self, found=None):
        """This structure and those inside, each after those that it holds."""
        found = {} if found is None else found
        for field in self.fields:
            if field.structure:
                field.structure.with_inner(found)
        found.setdefault(self.name, self)
        return list(found.values())


class Schema:
    """Structures by their names, from the files of a folder."""

    _KINDS = {"unsigned_number": "number", "signed_number": "number", "boolean": "truth"}

    def __init__(self, folder):
        self._rows, self._primitives, self._enumerations = {}, {}, set()

        def load(name):
            return tomllib.loads(pathlib.Path(folder, name + ".toml").read_text(encoding="utf-8"))

        for document in map(load, ["primitives", *load("catalogue")["subjects"]]):
            self._rows |= {row["name"]: row for row in document.get("structure", [])}
            self._primitives |= {row["name"]: row for row in document.get("primitives", [])}
            self._enumerations |= {row["name"] for row in document.get("enumeration", [])}

    def structure(self, name):
        return Structure(name, [self._field(name, row) for row in self._rows[name]["fields"]])

    def _field(self, owner, row):
        field = Field(row["name"], row["type"], "structure", row.get("capacity", 0), row.get("unit", ""))
        if field.type in self._rows:
            field.structure = self.structure(field.type)
        elif field.type in self._enumerations:
            field.kind, field.width = "choice", 5
        elif field.type in self._primitives:
            primitive = self._primitives[field.type]
            field.kind, field.width = self._KINDS.get(primitive["class"], primitive["class"]), primitive["width"]
            field.members = [member for member in map(_member, primitive.get("members", []))
                             if member.name != "reserved"]
        if (field.type == "var_string" or "length_of" in row
                or (field.capacity and not field.structure and field.type != "u_int8")):
            raise SystemExit(f"{owner}, {field.name}: records of the benchmarks hold no texts and of arrays only those "
                             "of structures and octets; choose another structure")
        return field


def _member(row):
    type_name, name, count = re.fullmatch(r"(\w+) (\w+)(?:\[(\d+)\])?", row["declaration"]).groups()
    return Member(type_name, name, int(count or 0))


@dataclasses.dataclass
class Item:
    """A field of a peer's message: a number, up to eight octets as one (from `first`), a message or a list of them."""
    name: str
    type: str
    path: str
    first: int | None = None
    structure: Structure | None = None
    capacity: int = 0
    is_address: bool = False

    @property
    def camel(self):
        return self.pascal[0].lower() + self.pascal[1:]

    @property
    def pascal(self):
        return pascal(self.name)

    def value(self, path="from"):
        if self.first is not None:
            return f"packed({path}{self.path}, {self.first})"
        return f"{path}{self.path}" + (" != 0" if self.type == "vela_boolean" else "")


def snake(name):
    return re.sub(r"(?<=[a-z0-9])([A-Z])", r"_\1", name).lower()


def pascal(name):
    return "".join(part[:1].upper() + part[1:] for part in name.split("_"))


def items(structure):
    """What a peer's message has for a structure, in its order."""
    for field, path in structure.paths(""):
        yield from _items_of(field, path, snake(field.name))


def _items_of(field, path, name):
    if field.structure and field.structure.is_wrapper and not field.capacity:
        yield from _items_of(field.structure.fields[0], path, name)
    elif field.structure:
        yield Item(name, field.type, path, structure=field.structure, capacity=field.capacity)
    elif field.capacity:
        yield from _octets(name, path, field.capacity)
    elif field.members:
        for member in field.members:
            member_path = field.member_path(member, path)
            member_name = name if field.kind == "octets" else f"{name}_{member.name}"
            if member.count:
                yield from _octets(member_name, member_path, member.count)
            else:
                yield Item(member_name, member.type, member_path)
    else:
        yield Item(name, "u_int32" if field.kind == "choice" else field.type, path,
                   is_address=field.unit == "IPv4 address")


def _octets(name, path, count):
    for first in range(0, count, 8):
        yield Item(name if count <= 8 else f"{name}_{first}", "octets", path, first)


def messages(structures, found=None):
    """The structures that are messages of the peers, each after those that it holds."""
    found = {} if found is None else found
    for structure in structures:
        messages([item.structure for item in items(structure) if item.structure], found)
        found.setdefault(structure.name, structure)
    return list(found.values())
