# SPDX-License-Identifier: Apache-2.0
"""Values of Python out of structures of the C interface, and the other way round."""

import ctypes
import dataclasses
import functools
import os
import re
from datetime import datetime, timedelta, timezone
from typing import Any, Callable, Iterable, List, Mapping, Optional, Tuple, Type, TypeVar, Union, get_type_hints

from . import _c

T = TypeVar("T")

_UNKNOWN_SIZE = 2**64 - 1
_W3CDTF = re.compile(r"(\d{4})-(\d\d)-(\d\d)T(\d\d):(\d\d)(?::(\d\d)(?:\.(\d+))?)?Z")


def renamed(name: str) -> Any:
    """A field of a dataclass that has another name in its structure."""
    return dataclasses.field(metadata={"member": name})


def text(value: bytes) -> str:
    return value.decode("utf-8", "surrogateescape")


def maybe(value: Optional[bytes]) -> Optional[str]:
    return None if value is None else text(value)


def encode(value: str) -> bytes:
    """UTF-8 for the library, which does not take a zero character."""
    data = value.encode("utf-8")
    if b"\0" in data:
        raise ValueError(f"a zero character in {value!r}")
    return data


def maybe_encode(value: Optional[str]) -> Optional[bytes]:
    return None if value is None else encode(value)


def time(value: bytes) -> datetime:
    """A time as the library writes it: W3CDTF in UTC."""
    found = _W3CDTF.fullmatch(value.decode("ascii", "replace"))
    if not found:
        raise ValueError(f"{text(value)!r} is not a time in UTC")
    year, month, day, hour, minute = (int(each) for each in found.groups()[:5])
    second = int(found[6] or 0)
    microsecond = int(((found[7] or "") + "000000")[:6])
    moment = datetime(year, month, day, hour, minute, 0, microsecond, timezone.utc)
    return moment + timedelta(seconds=second)  # 60 is a leap second


def from_time(value: datetime) -> bytes:
    """@throws ValueError for a time without a zone, which could be any."""
    if value.utcoffset() is None:
        raise ValueError(f"{value!r} has no time zone; use datetime.timezone.utc or another one")
    utc = value.astimezone(timezone.utc).replace(tzinfo=None)
    return (utc.isoformat() + "Z").encode("ascii")


def items(pointer: Any, count: int) -> List[Any]:
    """The structures of a list."""
    return [pointer[i].contents for i in range(count)]


def texts(values: Iterable[str]) -> Tuple[Any, int]:
    """An array of texts for the library, and how many they are."""
    if isinstance(values, str):
        raise TypeError(f"a list of names is wanted, not the text {values!r}")
    encoded = [encode(value) for value in values]
    return (ctypes.c_char_p * len(encoded))(*encoded), len(encoded)


def pointers(struct: Type[_c.Struct], values: Iterable[_c.Struct]) -> Tuple[Any, int]:
    """An array of pointers to structures for the library, and how many they are."""
    found: List[Any] = [ctypes.pointer(each) for each in values]
    array: Any = ctypes.POINTER(struct) * len(found)
    return array(*found), len(found)


def read_bytes(pointer: Optional[int], length: int) -> bytes:
    return ctypes.string_at(pointer, length) if pointer else b""


def take_text(pointer: int) -> str:
    """A text that the library gave away."""
    try:
        return text(ctypes.string_at(pointer))
    finally:
        _c.lib.text_free(pointer)


def take(pointer: Any, free: Callable[[Any], None], convert: Callable[[Any], T]) -> T:
    """What a structure holds that the library gave away."""
    try:
        return convert(pointer.contents)
    finally:
        free(pointer)


Material = Union[bytes, str, "os.PathLike[str]"]


def material(value: Union[None, Material, Iterable[Material]]) -> Tuple[Optional[bytes], int]:
    """Keys or certificates: bytes (PEM or DER), the path of a file, or several of these; and their length."""
    if value is None:
        return None, 0
    if isinstance(value, (bytes, bytearray, memoryview)):
        data = bytes(value)
    elif isinstance(value, (str, os.PathLike)):
        with open(value, "rb") as file:
            data = file.read()
    else:
        data = b"\n".join(_to_pem(material(each)[0] or b"") for each in value)
    return data, len(data)


def _to_pem(data: bytes) -> bytes:
    """A certificate, which in DER begins with a SEQUENCE, so that it can stand in a row."""
    if data[:1] != b"\x30":
        return data
    import ssl

    return ssl.DER_cert_to_PEM_cert(data).encode("ascii")


# -- dataclasses ------------------------------------------------------------------------------------------------------


def value(cls: Type[T], struct: Any) -> T:
    """The dataclass with the members of a structure that have the names of its fields."""
    kind: Any = cls
    result: T = kind(*[read(struct) for read in _readers(kind)])
    return result


@functools.lru_cache(maxsize=None)
def _readers(cls: Any) -> List[Callable[[Any], Any]]:
    hints = get_type_hints(cls)
    return [_reader(field.metadata.get("member", field.name), hints[field.name]) for field in dataclasses.fields(cls)]


def _reader(name: str, hint: Any) -> Callable[[Any], Any]:
    """What reads a member as a type: the types of the dataclasses in this package, and no others."""
    arguments: Tuple[Any, ...] = getattr(hint, "__args__", ())
    if Ellipsis in arguments:
        return _list_reader(name, arguments[0])
    optional = type(None) in arguments
    kind = arguments[0] if optional else hint
    if kind is bytes:
        return lambda struct: read_bytes(getattr(struct, name), getattr(struct, name + "_length"))
    if kind is int and optional:
        return lambda struct: _size_or_position(name, getattr(struct, name))
    if dataclasses.is_dataclass(kind):
        return lambda struct: value(kind, getattr(struct, name).contents) if getattr(struct, name) else None
    convert = _CONVERTERS.get(kind, kind)
    if optional:
        return lambda struct: None if getattr(struct, name) is None else convert(getattr(struct, name))
    return lambda struct: convert(getattr(struct, name))


_CONVERTERS: Mapping[Any, Callable[[Any], Any]] = {str: text, datetime: time, int: int, bool: bool}


def _size_or_position(name: str, number: int) -> Optional[int]:
    """Positions begin with 1; a size that is not known is the largest number."""
    return None if number == (0 if name in ("line", "column") else _UNKNOWN_SIZE) else number


def _list_reader(name: str, kind: Any) -> Callable[[Any], Any]:
    def count(struct: Any) -> int:
        members = dict(struct._fields_)
        names = (name[:-1] + "_count", name[:-3] + "y_count", name + "_count", "count")
        return int(getattr(struct, next(each for each in names if each in members)))

    if kind is str:
        return lambda struct: tuple(text(getattr(struct, name)[i]) for i in range(count(struct)))
    return lambda struct: tuple(value(kind, each) for each in items(getattr(struct, name), count(struct)))
