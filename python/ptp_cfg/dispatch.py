"""Handlers of messages, each by the type that it takes."""

import inspect
import logging
from collections.abc import Callable
from typing import Any, TypeVar

from . import _native, model
from .channel import Channel
from .errors import DecodeError
from .records import Record
from .wire import split

_log = logging.getLogger("ptp_cfg")
_M = TypeVar("_M", bound=Record)
_R = TypeVar("_R")


class Dispatcher:
    """Gives each message to the function that is registered for its type.

        handlers = ptp_cfg.Dispatcher()

        @handlers.on(ptp_cfg.ptp_clock_cfg_message)
        def configure(message): ...

    It is called with a message, so that a channel takes it as a handler: ``channel.process(handlers)``. A message of a
    type without a handler is given to `otherwise`, or without that logged as a warning.
    """

    def __init__(self, otherwise: Callable[[Any], Any] | None = None) -> None:
        self._handlers: dict[type, Callable[[Any], Any]] = {}
        self._otherwise: Callable[[Any], Any] = otherwise or self._log_unhandled

    def on(self, type: type[_M]) -> Callable[[Callable[[_M], _R]], Callable[[_M], _R]]:
        """A decorator that registers a function for the messages of a type, which can have one."""
        if type not in model.messages.values():
            raise TypeError(f"a class of messages is wanted, not {type!r}")

        def register(handler: Callable[[_M], _R]) -> Callable[[_M], _R]:
            if self._handlers.setdefault(type, handler) is not handler:
                raise ValueError(f"{type.__name__} has a handler")
            return handler

        return register

    def __call__(self, message: Record) -> Any:
        """Gives one message to its handler; what that returns."""
        return self._handlers.get(type(message), self._otherwise)(message)

    def dispatch(self, data: "_native.Buffer", on_fault: Callable[[DecodeError], Any] | None = None) -> int:
        """Gives each message of a bundle, or of a single message's bytes, to its handler; how many there were."""
        messages = split(data, on_fault)
        for message in messages:
            self(message)
        return len(messages)

    async def serve(self, channel: Channel) -> None:
        """Gives what arrives at a channel to the handlers, one after the other, until the channel is closed.

        Handlers may be coroutines, which are awaited.
        """
        async for message in channel:
            result = self(message)
            if inspect.isawaitable(result):
                await result

    @staticmethod
    def _log_unhandled(message: Record) -> None:
        _log.warning("no handler takes a %s", type(message).__name__)
