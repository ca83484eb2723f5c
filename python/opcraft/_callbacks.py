# SPDX-License-Identifier: Apache-2.0
"""Stores of the caller's own: methods as callbacks of the library."""

import abc
import contextlib
import ctypes
import errno
import itertools
import os
import signal
import threading
from typing import IO, Any, Callable, Dict, Iterable, Iterator, List, Optional, Tuple, Union

from . import _c, _convert
from ._enums import Mode
from ._errors import Error


class Store(abc.ABC):
    """A place for packages that a program brings itself: a database, an archive of another kind.

    Its methods are called in the thread that opens, changes or closes the package. Part names begin with "/"; None as a
    name means the content types stream. A method says by an exception that it failed: ``KeyError`` or
    ``FileNotFoundError`` where there is no such package or part, ``PermissionError`` where access is denied, and any
    other one. It becomes the cause of the :class:`Error` that the caller sees.

    Example:
        A dictionary as a store::

            class Dictionary(opcraft.Store):
                def __init__(self):
                    self.items = {}
                def open(self, mode):
                    if mode is opcraft.Mode.CREATE:
                        self.items = {}
                def close(self, discard):
                    pass
                def parts(self):
                    return [name for name in self.items if name is not None]
                def open_read(self, name):
                    return io.BytesIO(self.items[name])
                def open_write(self, name):
                    return Writer(self.items, name)  # whose close() stores its bytes
                def create(self, name, content_type):
                    self.items[name] = b""
                def remove(self, name):
                    del self.items[name]
    """

    #: Whether the store keeps content types in a stream, as a ZIP file does; otherwise each part has its own.
    has_content_types_stream: bool = True

    @abc.abstractmethod
    def open(self, mode: Mode) -> None:
        """Makes the package ready to be read, changed or made anew."""

    @abc.abstractmethod
    def close(self, discard: bool) -> None:
        """Saves what was changed, or drops it."""

    @abc.abstractmethod
    def parts(self) -> Iterable[Union[str, Tuple[str, str]]]:
        """The names of all parts, relationships parts included; with their content types, as pairs, where there is no
        content types stream."""

    @abc.abstractmethod
    def open_read(self, name: Optional[str]) -> IO[bytes]:
        """A binary file object with the content; closed at the end of reading."""

    @abc.abstractmethod
    def open_write(self, name: Optional[str]) -> IO[bytes]:
        """A binary file object that takes new content; closed at the end of writing."""

    @abc.abstractmethod
    def create(self, name: str, content_type: str) -> None:
        """Makes an empty part."""

    @abc.abstractmethod
    def remove(self, name: str) -> None:
        """Deletes a part."""


def error_number(exception: BaseException) -> int:
    """The value of errno.h that tells the library of an exception."""
    number = getattr(exception, "errno", None)
    if isinstance(exception, OSError) and isinstance(number, int) and number > 0:
        return number
    if isinstance(exception, (KeyError, FileNotFoundError)):
        return errno.ENOENT
    if isinstance(exception, PermissionError):
        return errno.EACCES
    if isinstance(exception, MemoryError):
        return errno.ENOMEM
    return errno.EIO if isinstance(exception, Exception) else errno.ECANCELED


class Catcher:
    """Calls functions for the library, which gets a number for an exception; the first one is kept."""

    def __init__(self) -> None:
        self._exception: Optional[BaseException] = None
        self._interrupt: Optional[Interrupt] = None

    def guard(self, function: Callable[..., Any]) -> Callable[..., int]:
        def call(*arguments: Any) -> int:
            try:
                with self._interrupt or contextlib.nullcontext():
                    function(*arguments)
                return 0
            except BaseException as exception:
                if self._exception is None or not isinstance(exception, Exception):
                    self._exception = exception
                return error_number(exception)

        return call

    @contextlib.contextmanager
    def raising(self) -> Iterator[None]:
        """For a call of the library: its error gets what a function raised as its cause; an interrupt is raised by
        itself, also where there is no error."""
        self._exception = None
        self._interrupt = Interrupt()
        failure: Optional[Error] = None
        try:
            yield
        except Error as error:
            failure = error
        finally:
            interrupt, self._interrupt = self._interrupt, None
            interrupt.end()
        cause = self._take()
        if cause is not None and not isinstance(cause, Exception):
            raise cause
        if failure is not None:
            raise failure from cause

    def _take(self) -> Optional[BaseException]:
        exception, self._exception = self._exception, None
        return exception


class Interrupt:
    """Ctrl-C in the main thread, as a context manager in which its handler is called at once; outside it is put off: an
    exception that a handler raises as ctypes calls a function is lost, and the library takes what was not done for done.
    """

    def __init__(self) -> None:
        self._pending: List[int] = []
        self._is_allowed = False
        handler = signal.getsignal(signal.SIGINT)
        is_main = threading.current_thread() is threading.main_thread()
        self._handler = handler if is_main and callable(handler) else None
        if self._handler is not None:
            signal.signal(signal.SIGINT, self._come)

    def _come(self, number: int, frame: Any) -> None:
        self._pending.append(number)
        if self._is_allowed:
            self._handle()

    def _handle(self) -> None:
        while self._pending and self._handler is not None:
            self._handler(self._pending.pop(), None)

    def __enter__(self) -> None:
        self._is_allowed = True
        self._handle()

    def __exit__(self, *exception: object) -> None:
        self._is_allowed = False

    def end(self) -> None:
        """Gives the signal back to the program."""
        if self._handler is not None:
            signal.signal(signal.SIGINT, self._handler)
        self._handle()


class Adapter(Catcher):
    """The callbacks of a store. An exception does not cross the library: its number does."""

    def __init__(self, store: Store) -> None:
        super().__init__()
        self._store = store
        self._streams: Dict[int, IO[bytes]] = {}
        self._numbers = itertools.count(1)
        functions: Dict[str, Callable[..., Any]] = {
            "open": lambda _, mode: store.open(Mode(mode)),
            "close": lambda _, discard: store.close(discard),
            "list": self._list,
            "begin_read": lambda _, name, stream: self._begin(store.open_read, name, stream),
            "read": self._read,
            "end_read": self._end,
            "begin_write": lambda _, name, stream: self._begin(store.open_write, name, stream),
            "write": self._write,
            "end_write": self._end,
            "create": lambda _, name, content_type: store.create(_convert.text(name), _convert.text(content_type)),
            "remove": lambda _, name: store.remove(_convert.text(name)),
        }
        types: Dict[str, Any] = dict(_c.store_callbacks._fields_)
        self.callbacks = _c.store_callbacks(
            has_content_types_stream=store.has_content_types_stream,
            **{name: types[name](self.guard(function)) for name, function in functions.items()},
        )

    def _list(self, _: None, listing: int) -> None:
        for entry in self._store.parts():
            name, content_type = (entry, None) if isinstance(entry, str) else entry
            failure = _c.lib.listing_add(listing, _convert.encode(name), _convert.maybe_encode(content_type))
            if failure:
                raise OSError(failure, os.strerror(failure), name)

    def _begin(self, open_stream: Callable[[Optional[str]], IO[bytes]], name: Optional[bytes], stream: Any) -> None:
        number = next(self._numbers)
        self._streams[number] = open_stream(_convert.maybe(name))
        stream[0] = number

    def _read(self, _: None, stream: int, buffer: int, capacity: int, length: Any) -> None:
        data = bytes(memoryview(self._streams[stream].read(capacity)))
        if len(data) > capacity:
            raise ValueError(f"read({capacity}) gave {len(data)} bytes")
        ctypes.memmove(buffer, data, len(data))
        length[0] = len(data)

    def _write(self, _: None, stream: int, data: int, length: int) -> None:
        rest = memoryview(ctypes.string_at(data, length))
        while rest:
            written = self._streams[stream].write(rest)
            rest = rest[len(rest) if written is None else written :]

    def _end(self, _: None, stream: int) -> None:
        self._streams.pop(stream).close()
