# SPDX-License-Identifier: Apache-2.0
"""Packages and their parts."""

import contextlib
import io
import os
import sys
import threading
import warnings
import weakref
from dataclasses import dataclass
from types import TracebackType
from typing import IO, Any, Callable, Dict, Iterator, List, Mapping, Optional, Tuple, Type, TypeVar, Union, cast

from . import _c, _convert, _lint, _stores
from ._enums import Compression, ErrorKind, Mode
from ._errors import Error, LimitExceeded, make
from ._properties import Properties
from ._relationships import Relationship, Relationships
from ._stores import Handle, Options, Source
from ._streams import PartReader, PartStream, PartWriter

T = TypeVar("T")

#: What goes through the library in one call; more goes in blocks, between which Ctrl-C is heard.
_BLOCK = 4 << 20
_BUFFER = 256 << 10

_MODES = {"r": Mode.READ, "r+": Mode.CHANGE, "w": Mode.CREATE, "x": Mode.CREATE}


@dataclass(frozen=True)
class PartInfo:
    """What a part looks like.

    Attributes:
        name: "/word/document.xml".
        content_type: "text/xml".
        size: Bytes; None where the store does not tell.
        stored_size: Bytes, compressed; None where the store does not tell.
        relationships: How many the part has.
    """

    name: str
    content_type: str
    size: Optional[int] = _convert.renamed("length")
    stored_size: Optional[int] = _convert.renamed("stored_length")
    relationships: int = 0


@dataclass(frozen=True)
class Item:
    """An item of the store that is not a part.

    Attributes:
        name: In the store.
        size: Bytes; None where the store does not tell.
        stored_size: Bytes, compressed; None where the store does not tell.
        reason: Why it is no part, in words.
    """

    name: str
    size: Optional[int] = _convert.renamed("length")
    stored_size: Optional[int] = _convert.renamed("stored_length")
    reason: str = ""


class Part:
    """A part of an open package. Two are equal when they are the same part of the same :class:`Package`."""

    __slots__ = ("_package", "_name")

    def __init__(self, package: "Package", name: str) -> None:
        self._package = package
        self._name = name

    @property
    def name(self) -> str:
        """Its name, "/word/document.xml"."""
        return self._name

    @property
    def info(self) -> PartInfo:
        """Everything about the part but its content, as a value that stays when the package is closed."""
        return self._package._info(self._name)

    @property
    def content_type(self) -> str:
        """Its media type, "text/xml"; it can be set."""
        known = self._package._known_info(self._name)
        return known.content_type if known else self._package._content_type(self._name)

    @content_type.setter
    def content_type(self, content_type: str) -> None:
        self._edit(_c.lib.part_set_content_type, _convert.encode(content_type))

    @property
    def size(self) -> Optional[int]:
        """Its bytes; None where the store does not tell."""
        return self.info.size

    @property
    def relationships(self) -> Relationships:
        """The relationships that the part is the source of."""
        return Relationships(self._package, self._name)

    def read(self) -> bytes:
        """The whole content; :meth:`open` reads it in constant memory."""
        try:
            result = self._package._read(_c.lib.part_read, _convert.encode(self._name), _BLOCK)
        except LimitExceeded:  # or the bound of one call alone
            with self.open() as stream, io.BytesIO() as content:
                for block in iter(lambda: stream.read(_BLOCK), b""):
                    content.write(block)
                return content.getvalue()
        return _convert.take(
            result, _c.lib.bytes_free, lambda content: _convert.read_bytes(content.data, content.length)
        )

    def read_text(self, encoding: str = "utf-8-sig") -> str:
        """The whole content as text; a byte order mark is left out. XML says by itself how it is encoded, so
        :meth:`read` is what its parsers want."""
        return self.read().decode(encoding)

    def write(self, content: Union[bytes, bytearray, memoryview, str]) -> None:
        """Gives the part new content; a text is written as UTF-8."""
        data = _to_bytes(content)
        if len(data) <= _BLOCK:
            self._edit(_c.lib.part_write, data, len(data))
            return
        with self.open("wb") as stream:
            for start in range(0, len(data), _BLOCK):
                stream.write(data[start : start + _BLOCK])

    def open(self, mode: str = "rb") -> IO[bytes]:
        """The content as a buffered binary file, which reads ("rb") from the start or writes ("wb") new content.

        One file of a part is open at a time. One that writes has to be closed, best by ``with``: the package cannot be
        saved else, nor when an exception ends the ``with``, until the part is written anew or deleted. A wrapper such as
        :class:`io.TextIOWrapper` does not tell of an exception, so that both belong in the ``with``. One that reads is
        closed with the package.
        """
        if mode == "rb":
            return self._package._open_reader(self._name)
        if mode == "wb":
            return self._package._open_writer(self._name)
        raise ValueError(f'the mode of a part is "rb" or "wb", not {mode!r}')

    def move(self, name: str) -> "Part":
        """Gives the part another name, with every relationship that leads to it; returns it under that name.

        When it fails with ``PART_CREATE_FAILED``, a store failed half-way: the package is to be discarded.
        """
        self._edit(_c.lib.part_move, _convert.encode(name))
        return Part(self._package, name)

    def delete(self) -> None:
        """Deletes the part and its relationships. Relationships that lead to it stay."""
        self._edit(_c.lib.part_delete)

    def _edit(self, function: Any, *arguments: Any) -> None:
        self._package._change(function, _convert.encode(self._name), *arguments)

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Part):
            return NotImplemented
        return self._package is other._package and _fold(self._name) == _fold(other._name)

    def __hash__(self) -> int:
        return hash((id(self._package), _fold(self._name)))

    def __repr__(self) -> str:
        return f"<opcraft.Part {self._name}>"


class Parts(Mapping[str, Part]):
    """The parts of a package by name, in the order of their names, without relationships parts. Names that differ in
    the case of ASCII letters alone are the same."""

    def __init__(self, package: "Package") -> None:
        self._package = package

    def __iter__(self) -> Iterator[str]:
        return iter(self._package._infos())

    def __len__(self) -> int:
        return len(self._package._infos())

    def __contains__(self, name: object) -> bool:
        return isinstance(name, str) and self._package._find(name) is not None

    def __getitem__(self, name: str) -> Part:
        found = self._package._find(name)
        if found is None:
            raise make(ErrorKind.PART_NOT_FOUND, f"{name}: the package has no such part")
        return Part(self._package, found)

    def __repr__(self) -> str:
        return f"<opcraft.Parts: {', '.join(self)}>"


class Package:
    """An open package; :func:`opcraft.open` opens it. In a ``with`` statement it is saved at the end, unless an
    exception ends the block, which leaves everything as it was.

    Threads may share it; their calls come one after another.
    """

    def __init__(
        self,
        source: Source,
        mode: str,
        tolerant: bool,
        options: Optional[Options],
        output: Union[None, str, "os.PathLike[str]"],
    ) -> None:
        self._handle: Optional[Handle] = None
        if mode not in _MODES:
            raise ValueError(f'the mode of a package is "r", "r+", "w" or "x", not {mode!r}')
        self._mode = mode
        self._source = source
        self._options = options
        self._output = output
        self._lock = threading.RLock()
        self._is_called = False
        self._is_changed = mode in ("w", "x")
        self._listing: Optional[_Listing] = None
        self._new_properties: Optional[Dict[bytes, Any]] = {} if self._is_changed else None  # of a new package
        self._streams: "weakref.WeakSet[PartStream]" = weakref.WeakSet()
        self._unused: List[PartStream] = []
        self._is_saved = False
        if mode != "r":
            _stores.check_writable(source)
        self._check_new()
        self._store = _stores.OpenStore(
            source, options, output, new=_MODES[mode] is Mode.CREATE, changes=mode != "r"
        )
        try:
            open_options = _c.open_options(tolerant=tolerant)
            self._handle = self._store.call_opening(
                lambda: Handle(
                    _c.lib.package_open(self._store.pointer, _MODES[mode], open_options),
                    _c.lib.package_free,
                    self._store,
                )
            )
        except BaseException:
            self._store.free()
            raise

    # -- Parts --------------------------------------------------------------------------------------------------------

    @property
    def parts(self) -> Parts:
        """The parts by name."""
        return Parts(self)

    @property
    def items(self) -> Tuple[Item, ...]:
        """What lies in the store and is no part, in the order of the store."""
        return self._list().items

    def create_part(
        self,
        name: str,
        content_type: str,
        content: Union[None, bytes, bytearray, memoryview, str] = None,
        *,
        compression: Compression = Compression.NORMAL,
    ) -> Part:
        """Creates a part, empty or with content.

        Args:
            name: "/word/document.xml".
            content_type: "text/xml".
            content: Bytes, or a text that is written as UTF-8.
            compression: How strongly the part is compressed.
        """
        data = None if content is None else _to_bytes(content)  # what cannot be written makes no part
        self._change(_c.lib.part_create, _convert.encode(name), _convert.encode(content_type), compression)
        part = Part(self, name)
        if data is not None:
            try:
                part.write(data)
            except BaseException:
                self._spoil(name)
                raise
        return part

    def delete(self, part: Union[str, Part]) -> None:
        """Deletes a part and its relationships. Relationships that lead to it stay."""
        self._part(part).delete()

    def move(self, part: Union[str, Part], name: str) -> Part:
        """Gives a part another name, with every relationship that leads to it."""
        return self._part(part).move(name)

    def _part(self, part: Union[str, Part]) -> Part:
        return part if isinstance(part, Part) else Part(self, part)

    # -- Relationships and properties ---------------------------------------------------------------------------------

    @property
    def relationships(self) -> Relationships:
        """The relationships that the package itself is the source of."""
        return Relationships(self, "/")

    def all_relationships(self) -> Tuple[Relationship, ...]:
        """The relationships of the package and of all parts."""
        return self._list_relationships(None)

    def resolve(self, relationship: Relationship) -> Part:
        """The part that a relationship leads to.

        Raises:
            NotFound: It leads out of the package, or the part is not there.
        """
        path = (relationship.resolved or "").partition("#")[0].partition("?")[0]
        found = None if relationship.external or not path else self._find(path)
        if found is None:
            target = f"{relationship.source}, {relationship.id}: {relationship.target!r}"
            raise make(ErrorKind.PART_NOT_FOUND, f"{target} leads to no part of the package")
        return Part(self, found)

    @property
    def properties(self) -> Properties:
        """The core properties: title, creator and others."""
        return Properties(self)

    @properties.setter
    def properties(self, values: Mapping[str, Any]) -> None:
        raise AttributeError("the properties of a package are set one by one, or by properties.update()")

    # -- What is wrong ------------------------------------------------------------------------------------------------

    @property
    def findings(self) -> Tuple["_lint.Finding", ...]:
        """What was wrong with a package that was opened with ``tolerant``."""
        result = self._read(_c.lib.package_list_findings)
        return _convert.take(result, _c.lib.finding_list_free, _lint.read_findings)

    def lint(self, *, contents: bool = True, rules: Tuple[str, ...] = ()) -> Tuple["_lint.Finding", ...]:
        """Holds the package to all rules as :func:`opcraft.lint` does, and as it lies in its store: a package with
        changes is saved and closed first."""
        self._pointer()
        if self._is_changed:
            raise make(ErrorKind.NOT_PERMITTED, "a package with changes cannot be held to the rules; save it first")
        return _lint.lint(self._source, contents=contents, rules=rules, options=self._options)

    # -- The end ------------------------------------------------------------------------------------------------------

    @property
    def mode(self) -> str:
        """As it was opened: "r", "r+", "w" or "x"."""
        return self._mode

    @property
    def closed(self) -> bool:
        """Whether the package is closed."""
        return self._handle is None

    def close(self) -> None:
        """Saves what was changed, and closes. A file is the old one or the new one, whatever happens.

        After a failure the package is still open, with all changes, and can be closed again. A file object into which
        the package could not be written may hold a part of it; closing again writes it anew. Closing a package that is
        closed does nothing.
        """
        with self._lock:
            if self._handle is None:
                return
            self._close_streams()
            if self._mode != "r":
                self._save()
            self.discard()

    def _close_streams(self) -> None:
        """What writes is closed by the program, which knows what of the content lies in buffers of its own."""
        for stream in list(self._streams):
            if stream.writable():
                raise make(ErrorKind.STORE_IN_USE, f"{stream.name}: the file that writes the part is not closed")
            stream.close()

    def _save(self) -> None:
        if not self._is_saved:
            self._check_new()
            self._write_new_properties()
            pointer = self._pointer()
            self._store.call_long(lambda: bool(_c.lib.package_close(pointer)))
            self._is_changed = False
            self._is_saved = True
        self._store.saved()

    def discard(self) -> None:
        """Closes without saving. Does nothing to a package that is closed."""
        with self._lock:
            handle, self._handle = self._handle, None
            if handle is None:
                return
            self._listing = None
            for stream in list(self._streams):
                stream.drop()
            try:
                self._store.call(handle.free)
            finally:
                self._store.free()

    def __enter__(self) -> "Package":
        self._pointer()
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        exception: Optional[BaseException],
        traceback: Optional[TracebackType],
    ) -> None:
        try:
            if kind is None:
                self.close()
        finally:
            self.discard()

    def __del__(self) -> None:
        if getattr(self, "_handle", None) is not None and not sys.is_finalizing():
            try:
                warnings.warn(f"unclosed package {self!r}", ResourceWarning, source=self)
            finally:
                self.discard()

    def __repr__(self) -> str:
        source = self._source if isinstance(self._source, (str, os.PathLike)) else type(self._source).__name__
        return f"<opcraft.Package {str(source)!r}, mode {self._mode!r}{', closed' if self.closed else ''}>"

    # -- What parts, relationships and properties call ----------------------------------------------------------------

    def _pointer(self) -> int:
        if self._handle is None or self._handle.pointer is None:
            raise make(ErrorKind.PACKAGE_NOT_OPEN, "the package is closed")
        return self._handle.pointer

    def _check_new(self) -> None:
        """For the mode "x": a file that is there is not replaced."""
        path = self._output if self._output is not None else self._source
        if self._mode == "x" and isinstance(path, (str, os.PathLike)) and os.path.lexists(path):
            raise make(ErrorKind.ALREADY_EXISTS, f"{os.fspath(path)}: the file exists")
        if self._mode == "x" and _stores.holds_bytes(path):
            raise make(ErrorKind.ALREADY_EXISTS, "the file object is not empty")

    def _call(self, function: Callable[..., T], *arguments: Any) -> T:
        """One call of the library at a time; a store of the caller's must not call back."""
        with self._lock:
            if self._is_called:
                raise RuntimeError("a store used the package that it was called by")
            self._is_called = True
            try:
                while self._unused:
                    self._unused.pop().drop()
                return self._store.call(function, *arguments)
            finally:
                self._is_called = False

    def _read(self, function: Callable[..., T], *arguments: Any) -> T:
        with self._lock:
            return self._call(function, self._pointer(), *arguments)

    def _change(self, function: Callable[..., T], *arguments: Any) -> T:
        """A call that changes the package; the listing is made anew then, also after a failure."""
        with self._lock:
            return self._change_stream(function, self._pointer(), *arguments)

    def _change_stream(self, function: Callable[..., T], *arguments: Any) -> T:
        with self._lock:
            self._listing = None
            result = self._call(function, *arguments)
            self._is_changed = True
            return result

    def _set_properties(self, changes: List[Any]) -> None:
        """In a package that is created nothing is written twice: its properties are kept until it is saved."""
        with self._lock:
            if self._new_properties is None:
                self._change(_c.lib.package_set_properties, *_convert.pointers(_c.property_, changes))
            else:
                self._pointer()
                self._new_properties.update((change.name, change) for change in changes)

    def _write_new_properties(self) -> None:
        if self._new_properties:
            changes = list(self._new_properties.values())
            self._change(_c.lib.package_set_properties, *_convert.pointers(_c.property_, changes))
        self._new_properties = None

    def _list(self) -> "_Listing":
        with self._lock:
            self._pointer()
            if self._listing is None:
                result = self._read(_c.lib.package_list_parts)
                self._listing = _convert.take(result, _c.lib.part_list_free, _Listing)
            return self._listing

    def _infos(self) -> Dict[str, PartInfo]:
        return self._list().parts

    def _known_info(self, name: str) -> Optional[PartInfo]:
        with self._lock:
            self._pointer()
            return self._listing.parts.get(name) if self._listing is not None else None

    def _info(self, name: str) -> PartInfo:
        found = self._find(name)
        if found is None:
            raise make(ErrorKind.PART_NOT_FOUND, f"{name}: the package has no such part")
        return self._infos()[found]

    def _find(self, name: str) -> Optional[str]:
        """The name of a part as it is written in the package."""
        listing = self._list()
        return name if name in listing.parts else listing.folded().get(_fold(name))

    def _content_type(self, name: str) -> str:
        return _convert.take_text(self._read(_c.lib.part_content_type, _convert.encode(name)))

    def _list_relationships(self, source: Optional[str]) -> Tuple[Relationship, ...]:
        result = self._read(_c.lib.package_list_relationships, _convert.maybe_encode(source))
        return _convert.take(
            result,
            _c.lib.relationship_list_free,
            lambda found: tuple(
                _convert.value(Relationship, each) for each in _convert.items(found.relationships, found.count)
            ),
        )

    def _open_reader(self, name: str) -> io.BufferedReader:
        with self._lock:
            pointer = self._read(_c.lib.part_open, _convert.encode(name))
            stream = PartReader(self, name, pointer, _c.lib.reader_free)
            self._streams.add(stream)
            return io.BufferedReader(stream, _BUFFER)

    def _open_writer(self, name: str) -> IO[bytes]:
        with self._lock:
            pointer = self._change(_c.lib.part_rewrite, _convert.encode(name))
            stream = PartWriter(self, name, pointer, _c.lib.writer_free)
            self._streams.add(stream)
            return cast(IO[bytes], stream)

    def _spoil(self, name: str) -> None:
        """The part has no content that can be saved any longer."""
        with contextlib.suppress(Error):
            self._end(cast(PartStream, self._open_writer(name)))

    def _end(self, stream: PartStream) -> None:
        """A stream is closed, perhaps by the garbage collector in the middle of a call."""
        with self._lock:
            self._streams.discard(stream)
            if self._is_called:
                self._unused.append(stream)
            else:
                self._store.call(stream.drop)


class _Listing:
    """The parts and other items of a package."""

    def __init__(self, found: Any) -> None:
        infos = (_convert.value(PartInfo, each) for each in _convert.items(found.parts, found.count))
        self.parts = {info.name: info for info in infos}
        self.items = tuple(_convert.value(Item, each) for each in _convert.items(found.items, found.item_count))
        self._folded: Optional[Dict[str, str]] = None

    def folded(self) -> Dict[str, str]:
        if self._folded is None:
            self._folded = {_fold(name): name for name in self.parts}
        return self._folded


def _to_bytes(content: Union[bytes, bytearray, memoryview, str]) -> bytes:
    return content.encode("utf-8") if isinstance(content, str) else bytes(memoryview(content))


_LOWER = {each: each + 32 for each in range(ord("A"), ord("Z") + 1)}


def _fold(name: str) -> str:
    """Names are equivalent when they differ in the case of ASCII letters alone (ECMA-376-2 section 6.2.2)."""
    return name.lower() if name.isascii() else name.translate(_LOWER)


def open_package(
    source: Source,
    mode: str = "r",
    *,
    tolerant: bool = False,
    output: Union[None, str, "os.PathLike[str]"] = None,
    options: Optional[Options] = None,
) -> Package:
    """Opens a package.

    Args:
        source: The path of a file, or for reading of a folder with an unpacked package; the bytes of a file; a binary
            file object, which is read whole, and written whole when the package is saved; or a :class:`Store`.
        mode: "r" to read; "r+" to change; "w" for a new package, which replaces an existing one; "x" for a new one
            that replaces none. What is written to a new package is read again only once it is saved.
        tolerant: Reads a package in which something is wrong as far as it can be read; ``Package.findings`` says what.
        output: A file that is written instead of the one that was opened.
        options: Limits, monitor and others.

    Raises:
        FileNotFound: There is nothing to open.
        InvalidData: It is not a package, or something in it breaks the rules.
        LimitExceeded: It costs more than the limits allow.
    """
    return Package(source, mode, tolerant, options, output)
