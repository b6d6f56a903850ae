"""Recordings: what was received, with its time, in files that turn over."""

import asyncio
import datetime
import logging
import os
from collections.abc import Callable
from typing import Any, Self

from . import _native
from .errors import DecodeError, RecordingError
from .records import Record
from .wire import split

_log = logging.getLogger("ptp_cfg")

_DAMAGED = 0x80000000
_DOMAINS = ("gable", "wicket", "skein", "osprey")


class Entry:
    """A record of a recording: bytes with their time and source."""

    __slots__ = ("data", "time_ns", "source", "file", "offset")

    def __init__(self, data: bytes, time_ns: int, source: int, file: str, offset: int) -> None:
        self.data, self.time_ns, self.source, self.file, self.offset = data, time_ns, source, file, offset

    @property
    def time(self) -> datetime.datetime:
        """The time, to the microsecond, in UTC."""
        seconds, rest = divmod(self.time_ns, 1_000_000_000)
        return datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc).replace(microsecond=rest // 1000)

    @property
    def damaged(self) -> bool:
        """Whether the transport refused these bytes, because they are no message."""
        return bool(self.source & _DAMAGED)

    @property
    def domain(self) -> str | None:
        """The transport domain, where the source is one as `ptpcfg record` stores it; else None."""
        number = self.source & ~_DAMAGED
        return _DOMAINS[number] if number < len(_DOMAINS) else None

    def messages(self, on_fault: Callable[[DecodeError], Any] | None = None) -> list[Any]:
        """The messages that the bytes hold, as ptp_cfg.split() gives them."""
        return split(self.data, on_fault)

    def __repr__(self) -> str:
        return f"<Entry {self.time.isoformat()} {len(self.data)} bytes>"


class Recording(_native.Recording):
    """The records of a file and of those that it turned over to, the oldest first.

    Iterating gives entries, in an ordinary loop or an asynchronous one. Places that are torn or damaged are logged as
    warnings, or given to `on_fault` as a RecordingError, and passed.
    """

    def __init__(self, path: str | os.PathLike[str], on_fault: Callable[[RecordingError], Any] | None = None) -> None:
        self._on_fault: Callable[[RecordingError], Any] = on_fault or self._log_fault
        self._ahead: asyncio.Future[Entry | None] | None = None
        self._open(path)

    def __iter__(self) -> Self:
        return self

    def __next__(self) -> Entry:
        while True:
            place = self._next()
            if place is None:
                raise StopIteration
            kind, source, time_ns, data, file, offset, _, reason = place
            if kind == "record":
                return Entry(data or b"", time_ns, source, file, offset)
            self._on_fault(RecordingError(reason or "", code=22, name="VELA_EINVAL", path=f"{file}, {kind}", offset=offset))

    def __aiter__(self) -> Self:
        return self

    async def __anext__(self) -> Entry:
        if self._ahead is None or self._ahead.get_loop() is not asyncio.get_running_loop():
            self._ahead = asyncio.ensure_future(asyncio.to_thread(lambda: next(self, None)))
        entry = await asyncio.shield(self._ahead)  # what a cancelled task asked for is for the next
        self._ahead = None
        if entry is None:
            raise StopAsyncIteration
        return entry

    def __enter__(self) -> Self:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    @staticmethod
    def _log_fault(error: RecordingError) -> None:
        _log.warning("a place of a recording was passed: %s", error)


class Recorder(_native.Recorder):
    """Adds records to a file, which turns over by size.

    max_file_bytes, files, mode, allow_other_users and allow_links are those of vela_recorder.h; 0 is the default.
    `repaired` says what was cut off or found damaged when the file was opened, "" for nothing.
    """

    def __init__(self, path: str | os.PathLike[str], *, max_file_bytes: int = 0, files: int = 0, mode: int = 0,
                 allow_other_users: bool = False, allow_links: bool = False) -> None:
        self.repaired = self._open(path, max_file_bytes, files, mode, allow_other_users, allow_links)

    def append(self, message: "Record | _native.Buffer", *, time_ns: int = 0, source: int = 0) -> None:
        """Adds a message, or bytes; a time of 0 is now."""
        self._append(message.to_bytes() if isinstance(message, Record) else message, time_ns, source)

    def __enter__(self) -> Self:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()
