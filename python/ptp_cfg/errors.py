"""What goes wrong. Every exception of the package is an Error and says where, what, and the library's code for it."""

from typing import Any

__all__ = ["Error", "FieldError", "FieldTypeError", "EncodeError", "DecodeError", "TextError", "JsonError", "XmlError",
           "YamlError", "DomainError", "ChannelError", "RecordingError"]


class Error(Exception):
    """Something that the library refused.

    code    its error word, for example 22; name is that of the code, for example "VELA_EINVAL", or None
    path    the field, as in "ptp_clock_cfg/ptp_clock/clk_id/ptp_clk_id[3]"; "" when it is about none
    reason  what is wrong and what to do
    """

    def __init__(self, reason: str, *, code: int = 0, name: str | None = None, path: str = "", offset: int = -1,
                 line: int = 0, column: int = 0) -> None:
        super().__init__(reason)
        self.reason = reason
        self.code = code
        self.name = name
        self.path = path
        self.offset = offset if offset >= 0 else None
        self.line = line or None
        self.column = column or None

    def __reduce__(self) -> tuple[Any, ...]:
        return _again, (type(self), self.reason, self.__dict__)

    def place(self) -> str:
        """Where it is, in words; "" when that is not known."""
        return self.path

    def __str__(self) -> str:
        place = self.place()
        return f"{place}: {self.reason}" if place else self.reason


class FieldError(Error, ValueError):
    """A value that a field cannot hold, or a field that a record does not have."""


class FieldTypeError(Error, TypeError):
    """A value of a type that a field does not take."""


class EncodeError(Error, ValueError):
    """A record that cannot be written."""


class DecodeError(Error, ValueError):
    """Bytes that are no record; `offset` is where, or None."""

    def place(self) -> str:
        return " ".join(filter(None, ["" if self.offset is None else f"offset {self.offset}", self.path]))


class TextError(Error, ValueError):
    """A text that is no record; `line` and `column`, in bytes, count from 1."""

    def place(self) -> str:
        where = "" if self.line is None else f"line {self.line}, column {self.column}"
        return ": ".join(filter(None, [where, self.path]))


class JsonError(TextError):
    """A text that is not the JSON of a record."""


class XmlError(TextError):
    """A text that is not the XML of a record."""


class YamlError(TextError):
    """A text that is not the YAML of a record."""


class DomainError(Error, ValueError):
    """A file that describes no domain."""


class ChannelError(Error):
    """A channel that could not do what it was asked to; `code` is often an errno."""


class RecordingError(Error):
    """A recording that could not be read or written; `code` is often an errno."""


def _again(made: type[Error], reason: str, state: dict[str, Any]) -> Error:
    error = made(reason)
    error.__dict__.update(state)
    return error
