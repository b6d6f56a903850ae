"""What all records have in common beside their fields and the calls of the extension."""

import re
from collections.abc import Iterator, Sequence
from typing import Any, NamedTuple, Self

from . import _native
from .errors import JsonError, YamlError

Sequence.register(_native.Array)


class Difference(NamedTuple):
    """A field that two records have different values of; None where a record does not have it."""

    path: str
    left: Any
    right: Any


class Record(_native.Record, metaclass=_native.RecordClass):
    """A structure or message. Its class is made from the library's description of the type.

    Fields are attributes: numbers are int, truth values bool, enumerations members of their IntEnum, addresses and
    texts str, structures records, arrays sequences. What is inside a record is a view: it changes with the record, and
    keeps it alive. `copy()` makes a record of its own.
    """

    __slots__ = ()
    #: What the library knows of the type: its name, documentation, fields.
    description: dict[str, Any]

    def to_xml(self) -> str:
        """The record as XML, in one line. Values of enumerations that have no literal are written as numbers."""
        return _numbered(self, self._to_xml(), r"<(\w+) value out of range/>", "{number}")

    def to_yaml(self, *, state_flags: bool = False, variants: bool = False, qualified: bool = False) -> str:
        """The record as a document of YAML."""
        return _native.yaml_of_json(self.to_json(state_flags=state_flags, variants=variants, qualified=qualified))

    @classmethod
    def from_yaml(cls, text: "str | _native.Buffer", **options: Any) -> Self:
        """The record that a document of YAML holds; options are those of from_json()."""
        return cls._from_json_of_yaml(_native.json_of_yaml(text), text, **options)

    @classmethod
    def _from_json_of_yaml(cls, json: str, text: "str | _native.Buffer", **options: Any) -> Self:
        try:
            return cls.from_json(json, **options)
        except JsonError as error:
            line, column = _native.place_in_yaml(text, error.offset or 0)
            raise YamlError(error.reason, code=error.code, name=error.name, path=error.path, line=line,
                            column=column) from None

    def to_text(self) -> str:
        """The record as lines of NAME@TYPE:VALUE."""
        words = r"(?<=@)(\w+):Enum value out of range"
        return _numbered(self, self._to_text(), words, "{type}:Enum value out of range: {number}\n")

    def to_dict(self) -> dict[str, Any]:
        """The record as plain values, from which ``type(record)(**values)`` makes it anew."""
        return {field: _plain(value) for field, value in self.items()}

    def items(self) -> Iterator[tuple[str, Any]]:
        """The fields that the record has, with their values; lengths of texts are left out."""
        for field in self.description["fields"]:
            if not field["is_read_only"] and self.has(field["name"]):
                yield field["name"], getattr(self, field["attribute"])

    def diff(self, other: "Record") -> list[Difference]:
        """The fields in which another record of the same type differs, as a list of Difference."""
        if not isinstance(other, Record) or other.description is not self.description:
            raise TypeError(f"a {self.description['name']} is wanted, not {type(other).__name__}")
        return list(_differences(self._path(), self, other))

    def __str__(self) -> str:
        return self._byte_text() if self.description["is_byte_list"] else self.to_text()

    def __repr__(self) -> str:
        """Python that makes the record anew; fields at their defaults are left out."""
        default = type(self)()
        values = ((name, bytes(value) if self.description["is_byte_list"] else value) for name, value in self.items()
                  if value != getattr(default, self.attribute_of(name)))
        return f"{type(self).__name__}({', '.join(f'{name}={value!r}' for name, value in values)})"

    def __reduce__(self) -> tuple[Any, ...]:
        return type(self).from_bytes, (self.to_bytes(),)

    @classmethod
    def attribute_of(cls, name: str) -> str:
        """The attribute of a field: its name, with an underscore behind it where a method has that name."""
        return next(str(field["attribute"]) for field in cls.description["fields"] if field["name"] == name)


def _plain(value: Any) -> Any:
    if isinstance(value, Record):
        return str(value) if value.description["is_byte_list"] else value.to_dict()
    return [_plain(each) for each in value] if isinstance(value, _native.Array) else value


def _differences(path: str, left: Any, right: Any) -> Iterator[Difference]:
    if left == right:
        return
    if isinstance(left, Record) and isinstance(right, Record) and not left.description["is_byte_list"]:
        others = dict(right.items())
        for name, value in left.items():
            yield from _differences(f"{path}/{name}", value, others.pop(name, None))
        for name, value in others.items():
            yield from _differences(f"{path}/{name}", None, value)
    elif isinstance(left, _native.Array) and isinstance(right, _native.Array):
        for index, (one, another) in enumerate(zip(left, right)):
            yield from _differences(f"{path}[{index}]", one, another)
    else:
        yield Difference(path, _plain(left), _plain(right))


def _unnamed(record: Record) -> Iterator[tuple[str, int]]:
    """Values of enumerations that have no literal, in the order in which records are written."""
    for field in record.description["fields"]:
        if not record.has(field["name"]):
            continue
        value = getattr(record, field["attribute"])
        if field["kind"] == "enumeration" and type(value) is int:
            yield field["type"], value
        for inner in value if isinstance(value, _native.Array) else [value]:
            if isinstance(inner, Record):
                yield from _unnamed(inner)


def _numbered(record: Record, text: str, words: str, replacement: str) -> str:
    """Puts numbers in place of the library's words for values without a literal, of which there are none as a rule."""
    if "value out of range" not in text:
        return text
    values = _unnamed(record)

    def number(match: re.Match[str]) -> str:
        kind, value = next(values, ("", 0))
        return match[0] if kind != match[1] else replacement.format(type=kind, number=value)

    return re.sub(words, number, text)
