# SPDX-License-Identifier: Apache-2.0
"""Where packages lie: files, bytes, file objects, and stores of the caller's; and bounds, progress and cancelling."""

import ctypes
import dataclasses
import fcntl
import hashlib
import io
import os
import signal
import threading
import weakref
from dataclasses import dataclass
from datetime import timedelta
from typing import IO, Any, Callable, Generic, Optional, TypeVar, Union

from . import _c, _callbacks, _convert
from ._callbacks import Store
from ._enums import ErrorKind, Take
from ._errors import make

T = TypeVar("T")

#: What can be opened as a package: the path of a file or folder, the bytes of a file, a binary file object, or a store
#: of the caller's.
Source = Union[str, "os.PathLike[str]", bytes, bytearray, memoryview, IO[bytes], Store]


class Handle:
    """Owns a handle of the library, and keeps what has to live longer than it."""

    def __init__(self, pointer: int, free: Callable[[int], None], *keep: object) -> None:
        self._pointer = pointer
        self._finalizer = weakref.finalize(self, _release, free, pointer, keep)
        self._finalizer.atexit = False  # another thread may still use it then, and the system frees all

    @property
    def pointer(self) -> Optional[int]:
        """None when it was freed, which the garbage collector may do before it finalizes what has the handle."""
        return self._pointer if self._finalizer.alive else None

    def free(self) -> None:
        """Frees the handle; does nothing when called again."""
        self._finalizer()


def _release(free: Callable[[int], None], pointer: int, keep: object) -> None:
    free(pointer)


@dataclass(frozen=True)
class Limits:
    """Bounds on what a package may cost; 0 stands for the default.

    Attributes:
        items: Items of a ZIP file; 250,000 by default.
        item_size: Bytes of one item, inflated; 4 GiB.
        total_size: Bytes of all items that are read, inflated; 16 GiB.
        ratio: Inflated bytes for one compressed byte, above 64 MiB of an item; 250.
        name_length: Bytes of the name of an item; 4,096.
        xml_size: Bytes of an XML part or stream; 64 MiB.
        xml_depth: Nested elements; 128.
        xml_nodes: Elements, attributes and other nodes of an XML part or stream; 1,000,000.
    """

    items: int = 0
    item_size: int = 0
    total_size: int = 0
    ratio: int = 0
    name_length: int = 0
    xml_size: int = 0
    xml_depth: int = 0
    xml_nodes: int = 0


class Monitor:
    """Shows how far work is, and ends it, from any thread; given in :class:`Options`."""

    def __init__(self) -> None:
        self._handle = Handle(_c.lib.monitor_new(), _c.lib.monitor_free)

    @property
    def bytes_read(self) -> int:
        """The bytes of items that were read so far; what is read twice counts twice."""
        return int(_c.lib.monitor_bytes_read(self._handle.pointer))

    def cancel(self) -> None:
        """Ends the work that goes on, and what is begun later, with :class:`Cancelled`."""
        _c.lib.monitor_cancel(self._handle.pointer)


@dataclass(frozen=True)
class Options:
    """How packages are read and saved; the same for everything that opens one.

    Attributes:
        limits: Bounds on what a package may cost.
        monitor: Shows progress and cancels. A key interrupt (Ctrl-C) cancels it, too.
        memory: Bytes of memory for new content until it is saved; 0: 8 MiB.
        temporary_folder: For what exceeds it; None: what TMPDIR names, else ``/var/tmp``.
        threads: The most that read at once; 0: one.
        lock_timeout: How long to wait for other savers of the file; None: no lock, and the second of two saves is
            refused; ``timedelta.max``: without end.
        consistent: Refuses a ZIP file that other programs could read as another package.
        take: Which of several items of one name counts where a package is read tolerantly.
    """

    limits: Optional[Limits] = None
    monitor: Optional[Monitor] = None
    memory: int = 0
    temporary_folder: Union[None, str, "os.PathLike[str]"] = None
    threads: int = 0
    lock_timeout: Optional[timedelta] = None
    consistent: bool = False
    take: Take = Take.NEITHER


def _lock_milliseconds(timeout: Optional[timedelta]) -> int:
    if timeout is None:
        return 0
    return -1 if timeout == timedelta.max else max(1, timeout // timedelta(milliseconds=1))


def _path(path: Union[None, str, "os.PathLike[str]"]) -> Optional[bytes]:
    if path is None:
        return None
    encoded = os.fsencode(path)
    if b"\0" in encoded:
        raise ValueError(f"a zero character in the path {path!r}")
    return encoded


_SMALL = 1 << 20


class OpenStore:
    """A store of the library for a source; remembers what went wrong in callbacks and file objects."""

    def __init__(
        self,
        source: Source,
        options: Optional[Options] = None,
        output: Union[None, str, "os.PathLike[str]"] = None,
        *,
        new: bool = False,
        changes: bool = False,
    ) -> None:
        """
        :param new: The package is to be created: what a file object holds already is not read.
        :param changes: The package is to be saved.
        """
        given = options or Options()
        self._monitor = given.monitor or Monitor()
        self._file: Optional[IO[bytes]] = None
        self._adapter: Optional[_callbacks.Adapter] = None
        self._read: Optional[bytes] = None  # the digest of what the file object held, until it is written
        self._size = 0
        limits = _c.limits(**vars(given.limits)) if given.limits else None
        settings = _c.store_options(
            limits=ctypes.pointer(limits) if limits else None,
            monitor=self._monitor._handle.pointer,
            memory=given.memory,
            temporary_folder=_path(given.temporary_folder),
            threads=given.threads,
            lock_timeout=_lock_milliseconds(given.lock_timeout),
            consistent=given.consistent,
            take=given.take,
            output=_path(output),
        )
        self._saves_to_file = changes and output is None
        pointer = self._make(source, settings, new)
        self._handle = Handle(pointer, _c.lib.store_free, self._monitor, self._adapter)

    def _make(self, source: Source, settings: Any, new: bool) -> int:
        if isinstance(source, (str, os.PathLike)):
            self._size = os.path.getsize(source) if os.path.isfile(source) else 0
            return int(_c.lib.store_new_file(_path(source), settings))
        if isinstance(source, Store):
            self._adapter = _callbacks.Adapter(source)
            return int(_c.lib.store_new_callbacks(self._adapter.callbacks, None, settings))
        if isinstance(source, (bytes, bytearray, memoryview)):
            content = bytes(source)
        elif hasattr(source, "write" if new else "read"):
            self._file = source
            content = b"" if new else _read_file(source)
        else:
            raise TypeError(f"a path, bytes, a binary file object or a Store is wanted, not {type(source).__name__}")
        self._size = len(content)
        if self._file is not None and self._saves_to_file and not new:
            self._read = hashlib.sha256(content).digest()
        return int(_c.lib.store_new_memory(content, len(content), settings))

    @property
    def pointer(self) -> int:
        if self._handle.pointer is None:
            raise make(ErrorKind.PACKAGE_NOT_OPEN, "the package is closed")
        return self._handle.pointer

    def data(self) -> bytes:
        """The bytes of a store in memory as they were last saved."""
        length = ctypes.c_size_t()
        data = _c.lib.store_data(self.pointer, ctypes.byref(length))
        return _convert.read_bytes(data, length.value)

    def saved(self) -> None:
        """After a save: the file object gets what was saved."""
        if self._file is not None and self._saves_to_file:
            if self._read is not None and hashlib.sha256(_read_file(self._file)).digest() != self._read:
                raise make(ErrorKind.STORE_IN_USE, "the file object was changed since it was read; nothing is written")
            self._read = None
            _write_file(self._file, self.data())

    def call(self, work: Callable[..., T], *arguments: Any) -> T:
        """Does work of the library. What the store of the caller raises is the cause of the error, but an interrupt
        is raised by itself."""
        if self._adapter is None:
            return work(*arguments)
        with self._adapter.raising():
            return work(*arguments)

    def call_long(self, work: Callable[[], T]) -> T:
        """Does work that may take long, and that Ctrl-C ends. A store of the caller's is called in this thread."""
        return self.call(work) if self._adapter is not None else interruptible(work, self._monitor)

    def call_opening(self, work: Callable[[], T]) -> T:
        """Opens a package, which takes long only when it is large; another thread would take longer than a small one."""
        return self.call(work) if self._size < _SMALL else self.call_long(work)

    def free(self) -> None:
        """Frees the store, after what uses it."""
        self._handle.free()


def on_store(
    source: Source,
    options: Optional[Options],
    work: Callable[[int], T],
    *,
    output: Union[None, str, "os.PathLike[str]"] = None,
    changes: bool = False,
) -> T:
    """Does work on a store that is opened for it alone."""
    if changes:
        check_writable(source)
    store = OpenStore(source, options, output, changes=changes)
    try:
        result = store.call_long(lambda: work(store.pointer))
        if changes:
            store.saved()
        return result
    finally:
        store.free()


def on_two_stores(before: Source, after: Source, options: Optional[Options], work: Callable[[int, int], T]) -> T:
    """Does work that reads two stores."""
    given = options or Options()
    given = dataclasses.replace(given, monitor=given.monitor or Monitor())
    stores = OpenStore(before, given), OpenStore(after, given)
    inner, outer = stores if isinstance(after, Store) else stores[::-1]
    try:  # the outer one decides in which thread the work is done: one that calls back, if there is any
        return outer.call_long(lambda: inner.call(work, *(store.pointer for store in stores)))
    finally:
        for store in stores:
            store.free()


def _read_file(file: IO[bytes]) -> bytes:
    if file.seekable():
        file.seek(0)
    content = file.read()
    if not isinstance(content, bytes):
        raise TypeError("the file object is open for text; a package needs a binary one")
    return content


def check_writable(source: Source) -> None:
    """Before anything is done that could not be saved."""
    if isinstance(source, (bytes, bytearray, memoryview)):
        raise TypeError("bytes cannot be changed; use io.BytesIO for a package in memory")
    file: Any = source
    if hasattr(file, "write") and not isinstance(file, Store):
        if not (file.writable() and file.seekable()):
            raise io.UnsupportedOperation("a change of a package needs a file object that is writable and seekable")
        if _appends(file):
            raise io.UnsupportedOperation("a change of a package needs a file object that does not append")


def holds_bytes(source: Any) -> bool:
    """Whether it is a file object that is not empty."""
    if not hasattr(source, "seek") or isinstance(source, Store):
        return False
    source.seek(0, os.SEEK_END)
    return bool(source.tell())


def _appends(file: IO[bytes]) -> bool:
    try:
        return bool(fcntl.fcntl(file.fileno(), fcntl.F_GETFL) & os.O_APPEND)
    except (AttributeError, OSError):  # io.UnsupportedOperation, too: not a file of the system
        return False


def _write_file(file: IO[bytes], content: bytes) -> None:
    file.seek(0)
    rest = memoryview(content)
    while rest:
        written = file.write(rest)
        rest = rest[len(rest) if written is None else written :]  # raw files may write less
    if file.tell() != len(content):
        raise OSError(f"the file object wrote {len(content)} bytes from its start to {file.tell()}")
    file.truncate()
    file.flush()


# -- Ctrl-C -----------------------------------------------------------------------------------------------------------


def interruptible(work: Callable[[], T], monitor: Monitor) -> T:
    """Does work of the library so that Ctrl-C ends it: in the main thread, where signals arrive, it is left to another
    thread, and cancelled when a handler raises."""
    if threading.current_thread() is not threading.main_thread() or signal.getsignal(signal.SIGINT) in (
        signal.SIG_IGN,
        signal.SIG_DFL,
        None,
    ):
        return work()
    job: _Job[T] = _Job(work)
    try:
        threading.Thread(target=job.run, name="opcraft", daemon=True).start()
        job.done.wait()
    except BaseException:
        monitor.cancel()
        job.end()
        raise
    return job.result()


class _Job(Generic[T]):
    """Work that is done in another thread, unless it is ended before it begins."""

    def __init__(self, work: Callable[[], T]) -> None:
        self._work = work
        self._lock = threading.Lock()
        self._has_begun = False
        self._has_ended = False
        self._result: Any = None
        self._exception: Optional[BaseException] = None
        self.done = threading.Event()

    def run(self) -> None:
        with self._lock:
            self._has_begun = not self._has_ended
        try:
            if self._has_begun:
                self._result = self._work()
        except BaseException as exception:
            self._exception = exception
        finally:
            self.done.set()

    def end(self) -> None:
        """Returns when nothing is or will be under way, however often Ctrl-C is pressed."""
        while True:
            try:
                with self._lock:
                    self._has_ended = True
                if self._has_begun:
                    self.done.wait()
                return
            except BaseException:
                continue

    def result(self) -> T:
        try:
            if self._exception is not None:
                raise self._exception
            result: T = self._result
            return result
        finally:
            self._exception = None  # which refers to this frame
