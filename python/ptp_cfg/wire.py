"""Messages of whatever type as bytes, alone and in bundles, and what each byte is."""

from collections.abc import Callable, Iterable
from typing import Any, NamedTuple

from . import _native
from .errors import DecodeError
from .records import Record


def decode(data: "_native.Buffer") -> Any:
    """The message that all of the bytes hold, of whatever type."""
    return _native.decode(data)



class Item(NamedTuple):
    """A stretch of bytes that means one thing."""

    offset: int
    width: int
    path: str
    value: str


class Explanation(NamedTuple):
    """What bytes hold. `problem` says what makes no sense from `problem_offset` on; None when all does."""

    items: list[Item]
    problem_offset: int
    problem: str | None


def explain(data: "_native.Buffer", type: type[Record] | None = None) -> Explanation:
    """Says of every byte of a message, or of a record of a type, what it is."""
    name = None if type is None else type.description["name"]
    items, offset, problem = _native.explain(data, name)
    return Explanation([Item(*row) for row in items], offset, problem)


def bundle(messages: Iterable[Record]) -> bytes:
    """The bytes of a bundle of messages."""
    return _native.make_bundle(messages)


def split(data: "_native.Buffer", on_fault: Callable[[DecodeError], Any] | None = None) -> list[Any]:
    """The messages of a bundle or of a single message's bytes, as a list.

    What is wrong with a message is raised; or given to `on_fault`, and the messages behind it still come.
    """
    messages: list[Any] = []
    try:
        places = _native.split_bundle(data)
    except DecodeError as error:
        _tell(on_fault, error)
        return messages
    for offset, message, code, reason in places:
        try:
            if message is None:
                raise DecodeError(reason or "", code=code or 0, offset=offset)
            messages.append(decode(message))
        except DecodeError as error:
            _tell(on_fault, error)
    return messages


def _tell(on_fault: Callable[[DecodeError], Any] | None, error: DecodeError) -> None:
    if on_fault is None:
        raise error
    on_fault(error)
