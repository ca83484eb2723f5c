# SPDX-License-Identifier: Apache-2.0
"""The content of parts as file objects."""

import ctypes
import io
from typing import TYPE_CHECKING, Any, Optional

from . import _c
from ._enums import ErrorKind
from ._errors import make
from ._stores import Handle

if TYPE_CHECKING:
    from ._package import Package


class PartStream(io.RawIOBase):
    """A stream of the library, until it or its package is closed."""

    def __init__(self, package: "Package", name: str, pointer: int, free: Any) -> None:
        super().__init__()
        self.name = name
        self._package = package
        self._handle: Optional[Handle] = Handle(pointer, free, package._store)

    def _pointer(self) -> Optional[int]:
        if self.closed or self._handle is None:
            raise make(ErrorKind.INVALID_OBJECT, f"{self.name}: the stream is closed")
        return self._handle.pointer

    def drop(self) -> None:
        """The package is dropped: nothing more is read or written."""
        handle, self._handle = self._handle, None
        if handle is not None:
            handle.free()


class PartReader(PartStream):
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


class PartWriter(PartStream):
    """Gives a part new content."""

    @property
    def mode(self) -> str:
        return "wb"

    def writable(self) -> bool:
        return True

    def write(self, data: Any) -> int:
        content = bytes(memoryview(data))
        with self._package._lock:
            if self._handle is not None or self.closed:  # else the package was dropped, with all that was written
                self._package._change_stream(_c.lib.writer_write, self._pointer(), content, len(content))
        return len(content)

    def close(self) -> None:
        if self.closed:
            return
        try:
            with self._package._lock:
                if self._handle is not None:
                    self._package._change_stream(_c.lib.writer_close, self._pointer())
        finally:
            self._package._end(self)
            super().close()
