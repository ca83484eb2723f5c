# SPDX-License-Identifier: Apache-2.0
"""The content of parts as file objects."""

import ctypes
import io
import sys
from types import TracebackType
from typing import TYPE_CHECKING, Any, Callable, Optional, Type

from . import _c
from ._enums import ErrorKind
from ._errors import make

if TYPE_CHECKING:
    from ._package import Package

_BUFFER = 256 << 10


class PartStream(io.IOBase):
    """A stream of the library, until it or its package is closed.

    Its handle is no :class:`Handle`: of objects that refer to each other the garbage collector calls what frees those
    before it closes files, which still write then.
    """

    def __init__(self, package: "Package", name: str, pointer: int, free: Callable[[int], None]) -> None:
        super().__init__()
        self.name = name
        self._package = package
        self._handle: Optional[int] = pointer
        self._free = free

    def _pointer(self) -> int:
        if self.closed or self._handle is None:
            raise make(ErrorKind.INVALID_OBJECT, f"{self.name}: the stream is closed")
        return self._handle

    def drop(self) -> None:
        """Frees the handle: nothing more is read or written."""
        handle, self._handle = self._handle, None
        if handle is not None:
            self._free(handle)


class PartReader(PartStream, io.RawIOBase):
    """Reads a part from its start."""

    @property
    def mode(self) -> str:
        return "rb"

    def readable(self) -> bool:
        return True

    def readinto(self, buffer: Any) -> int:
        view = memoryview(buffer).cast("B")
        length = ctypes.c_size_t()
        target = (ctypes.c_char * len(view)).from_buffer(view)
        with self._package._lock:
            self._package._call(_c.lib.reader_read, self._pointer(), target, len(view), ctypes.byref(length))
        return length.value

    def close(self) -> None:
        if not self.closed:
            self._package._end(self)
        super().close()


class PartWriter(PartStream, io.BufferedIOBase):
    """Gives a part new content, whole only when it is closed: of a file that is left to the garbage collector nobody knows
    what lies in buffers above it."""

    def __init__(self, package: "Package", name: str, pointer: int, free: Callable[[int], None]) -> None:
        super().__init__(package, name, pointer, free)
        self._buffer = bytearray()

    @property
    def mode(self) -> str:
        return "wb"

    def writable(self) -> bool:
        return True

    def write(self, data: Any) -> int:
        content = bytes(memoryview(data))
        with self._package._lock:
            self._pointer()
            if len(self._buffer) + len(content) > _BUFFER:
                self.flush()
            if len(content) > _BUFFER:
                self._write(content)
            else:
                self._buffer += content
        return len(content)

    def flush(self) -> None:
        with self._package._lock:
            if self._handle is not None and self._buffer:  # else the package was dropped, with all that was written
                self._write(bytes(self._buffer))
                self._buffer.clear()

    def _write(self, content: bytes) -> None:
        self._package._change_stream(_c.lib.writer_write, self._pointer(), content, len(content))

    def close(self) -> None:
        if self.closed:
            return
        try:
            with self._package._lock:
                if self._handle is not None:
                    self.flush()
                    self._package._change_stream(_c.lib.writer_close, self._pointer())
        finally:
            self._package._end(self)
            super().close()

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        exception: Optional[BaseException],
        traceback: Optional[TracebackType],
    ) -> None:
        """What an exception ends is not whole, and the package is not saved with it."""
        if kind is not None and self.closed:  # by a wrapper, which knows nothing of the exception
            self._package._spoil(self.name)
        elif kind is not None:
            self._package._end(self)
        self.close()

    def __del__(self) -> None:
        if not self.closed and not sys.is_finalizing():
            self._package._end(self)
