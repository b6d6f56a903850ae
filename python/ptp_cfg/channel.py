"""Channels between programs, as iterators of the messages that arrive."""

import asyncio
import collections
import errno
import logging
import threading
import time
from collections.abc import Callable
from types import TracebackType
from typing import Any, NamedTuple, Self

from . import _native
from .errors import ChannelError, DecodeError, Error
from .records import Record
from .wire import bundle, split

_log = logging.getLogger("ptp_cfg")


class Event(NamedTuple):
    """What happened to a channel: kind is "connected", "disconnected", "refused", "lost", "unread" or "dropped"."""

    kind: str
    code: int
    messages: int
    text: str
    data: bytes | None


class Channel(_native.Channel):
    """An end of a channel. Several threads may use it; whoever waits lets the others run.

    Iterating gives messages until the channel is closed, in an ordinary loop or an asynchronous one. What arrives and
    is no message is logged as a warning, or given to `on_fault`. A channel does its work while it is iterated,
    received from, processed or finished.
    """

    _messages: "collections.deque[Any]"
    _on_fault: Callable[[DecodeError], Any]
    _turn: "threading.RLock"  # of threads that receive
    _waiter: "asyncio.Future[None] | None" = None

    def __init__(self) -> None:
        raise TypeError("open a channel by Channel.listen() or Channel.connect()")

    @classmethod
    def listen(cls, uri: str | None = None, *, domain: str = "gable", on_event: Callable[[Event], Any] | None = None,
               on_fault: Callable[[DecodeError], Any] | None = None, **options: int) -> Self:
        """The end that waits for others at inproc:NAME, unix:PATH, tcp:HOST:PORT or nats://HOST:PORT/SUBJECT."""
        return cls._opened(True, uri, domain, on_event, on_fault, options)

    @classmethod
    def connect(cls, uri: str | None = None, *, domain: str = "gable",
                on_event: Callable[[Event], Any] | None = None,
                on_fault: Callable[[DecodeError], Any] | None = None, **options: int) -> Self:
        """An end that looks for a listening one, again and again."""
        return cls._opened(False, uri, domain, on_event, on_fault, options)

    @classmethod
    def _opened(cls, listens: bool, uri: str | None, domain: str, on_event: Callable[[Event], Any] | None,
                on_fault: Callable[[DecodeError], Any] | None, options: dict[str, int]) -> Self:
        self = cls.__new__(cls)
        self._messages = collections.deque()
        self._turn = threading.RLock()
        self._on_fault = on_fault or self._log_fault
        tell = None if on_event is None else lambda *values: on_event(Event(*values))
        self._open(listens, domain, uri, tell, options)
        return self

    # ---- sending

    def send(self, *messages: "Record | _native.Buffer") -> None:
        """Sends messages, several as one bundle; or bytes, as they are. What cannot be sent now is queued."""
        self._send(_encoded(messages))

    def reply(self, *messages: "Record | _native.Buffer") -> None:
        """Sends to the peer whose message a handler of process() is given."""
        self._reply(_encoded(messages))

    # ---- receiving

    def process(self, handler: Callable[[Any], Any] | None = None, limit: int = 0) -> int:
        """Does what there is to do, without waiting; the number of bundles that arrived.

        Their messages are given to the handler, or without one kept for the iterators. A handler may send and reply.
        """
        take = self._messages.append if handler is None else handler
        with self._turn:
            return self._process(lambda data: [take(message) for message in split(data, self._on_fault)], limit)

    def receive(self, timeout: float | None = None) -> Any:
        """The next message; waits for it, at most `timeout` seconds, else TimeoutError."""
        end = None if timeout is None else time.monotonic() + timeout
        while (message := self._taken()) is None:
            left = -1 if end is None else max(0, int((end - time.monotonic()) * 1000 + 0.999))
            if self._wait(left):
                self.process()
            elif left == 0:
                raise TimeoutError("no message arrived in time")
        return message

    def _taken(self) -> Any:
        """A message that arrived before, or None: another thread may have been faster."""
        try:
            return self._messages.popleft()
        except IndexError:
            return None

    def __iter__(self) -> Self:
        return self

    def __next__(self) -> Any:
        while (message := self._taken()) is None:
            try:
                if self._wait(-1):
                    self.process()
            except ChannelError:
                if not self.closed:
                    raise
                raise StopIteration from None
        return message

    # ---- the same for asyncio

    async def areceive(self) -> Any:
        """receive() for asyncio, for one task at a time; asyncio.wait_for() limits the time.

        A task that is cancelled while it waits has taken nothing.
        """
        while (message := self._taken()) is None:
            await self._readable()
            self.process()
        return message

    def __aiter__(self) -> Self:
        return self

    async def __anext__(self) -> Any:
        try:
            return await self.areceive()
        except ChannelError:
            if not self.closed:
                raise
            raise StopAsyncIteration from None

    async def _readable(self) -> None:
        if self._waiter is not None:
            raise ChannelError("another task waits for this channel's messages; let it give them on",
                               code=errno.EBUSY, name="EBUSY")
        loop = asyncio.get_running_loop()
        ready = loop.create_future()
        self._waiter = ready
        descriptor = self.fileno()
        loop.add_reader(descriptor, _wake, ready)
        try:
            await ready
        finally:
            self._waiter = None
            loop.remove_reader(descriptor)

    # ---- the end

    def finish(self, timeout: float | None = None) -> bool:
        """Sends what is queued and waits until the peers have read it; False when that took longer than `timeout`.

        What arrives meanwhile is kept for the iterators. Nothing more can be sent afterwards.
        """
        end = None if timeout is None else time.monotonic() + timeout
        while not self._finish_once():
            left = -1 if end is None else int((end - time.monotonic()) * 1000 + 0.999)
            if end is not None and left <= 0:
                return False
            self._wait(left)
        return True

    def _finish_once(self) -> int:
        with self._turn:
            return self._finish(lambda data: self._messages.extend(split(data, self._on_fault)))

    def close(self) -> None:
        """Closes the channel; what is queued is lost, so finish() it first. Who waits for messages is woken."""
        waiter = self._waiter
        if waiter is not None and not self.closed:
            waiter.get_loop().call_soon_threadsafe(_wake, waiter)
        with self._turn:
            self._close()

    def __enter__(self) -> Self:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None:
        """Finishes, for a second at most when there is no error, and closes."""
        if kind is None and not self.closed:
            self.finish(1)
        self.close()

    async def __aenter__(self) -> Self:
        return self

    async def __aexit__(self, kind: type[BaseException] | None, error: BaseException | None,
                        trace: TracebackType | None) -> None:
        if kind is None and not self.closed:
            await asyncio.to_thread(self.finish, 1)
        self.close()

    @staticmethod
    def _log_fault(error: Error) -> None:
        _log.warning("a message that arrived was not understood: %s", error)


def _wake(waiter: "asyncio.Future[None]") -> None:
    if not waiter.done():
        waiter.set_result(None)


def _encoded(messages: "tuple[Record | _native.Buffer, ...]") -> "_native.Buffer":
    if len(messages) == 1 and not isinstance(messages[0], Record):
        return messages[0]
    return messages[0].to_bytes() if len(messages) == 1 else bundle(messages)  # type: ignore
