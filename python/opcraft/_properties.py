# SPDX-License-Identifier: Apache-2.0
"""The core properties of a package (ECMA-376-2 section 8)."""

from dataclasses import dataclass
from datetime import datetime
from typing import TYPE_CHECKING, Any, Callable, Dict, Generic, Iterable, List, Optional, Tuple, TypeVar, Union, overload

from . import _c, _convert
from ._enums import PropertyKind

if TYPE_CHECKING:
    from ._package import Package

T = TypeVar("T")
S = TypeVar("S")


@dataclass(frozen=True)
class Keyword:
    """A keyword with the language that it is in, or None."""

    text: str
    language: Optional[str] = None


Keywords = Iterable[Union[str, Keyword]]


class _Property(Generic[T, S]):
    """An attribute for a property, which has a name of its own in the package."""

    def __init__(self, element: str, encode: Callable[[Any, Any], None], doc: str) -> None:
        self.element = element
        self.encode = encode
        self.__doc__ = doc

    def __set_name__(self, owner: Any, name: str) -> None:
        self.name = name

    @overload
    def __get__(self, properties: None, owner: Any) -> "_Property[T, S]":
        ...

    @overload
    def __get__(self, properties: "Properties", owner: Any) -> T:
        ...

    def __get__(self, properties: Optional["Properties"], owner: Any) -> Any:
        return self if properties is None else properties._values()[self.element]

    def __set__(self, properties: "Properties", value: S) -> None:
        properties.update(**{self.name: value})

    def __delete__(self, properties: "Properties") -> None:
        properties.update(**{self.name: None})


def _encode_text(change: Any, value: Optional[str]) -> None:
    if value is not None and not isinstance(value, str):
        raise TypeError(f"a text is wanted, not {value!r}")
    change.value = _convert.maybe_encode(value)


def _encode_time(change: Any, value: Optional[datetime]) -> None:
    if value is not None and not isinstance(value, datetime):
        raise TypeError(f"a datetime is wanted, not {value!r}")
    change.kind = PropertyKind.TIME
    change.value = None if value is None else _convert.from_time(value)


def _encode_keywords(change: Any, value: Optional[Keywords]) -> None:
    if isinstance(value, str):
        raise TypeError(f"a list of keywords is wanted, not the text {value!r}")
    keywords = [each if isinstance(each, Keyword) else Keyword(each) for each in value or ()]
    change.kind = PropertyKind.KEYWORDS
    change.keywords, change.keyword_count = _convert.pointers(
        _c.keyword,
        (_c.keyword(text=_convert.encode(each.text), language=_convert.maybe_encode(each.language)) for each in keywords),
    )


def _text(element: str, doc: str) -> _Property[Optional[str], Optional[str]]:
    return _Property(element, _encode_text, doc)


def _time(element: str, doc: str) -> _Property[Optional[datetime], Optional[datetime]]:
    return _Property(element, _encode_time, doc)


class Properties:
    """The core properties of a package; what is set is in the package at once, and saved with it.

    A property that is not there is None, and ``keywords`` is empty. Set to None, or deleted, a property goes. Times are
    in UTC; one that is set needs a time zone.
    """

    category = _text("category", "What kind of content it is, as “Letter”.")
    content_status = _text("contentStatus", "As “Draft” or “Final”.")
    created = _time("created", "When the content was created.")
    creator = _text("creator", "Who mainly made the content.")
    description = _text("description", "What the content is about.")
    identifier = _text("identifier", "A reference to the content within a context.")
    keywords: _Property[Tuple[Keyword, ...], Optional[Keywords]] = _Property(
        "keywords", _encode_keywords, "A tuple of :class:`Keyword`; set, texts do as well."
    )
    language = _text("language", "The language of the content.")
    last_modified_by = _text("lastModifiedBy", "Who made the last change.")
    last_printed = _time("lastPrinted", "When the content was printed last.")
    modified = _time("modified", "When the content was changed last.")
    revision = _text("revision", "The number of the revision.")
    subject = _text("subject", "The topic of the content.")
    title = _text("title", "The name of the content.")
    version = _text("version", "The number of the version.")

    def __init__(self, package: "Package") -> None:
        self._package = package

    def __repr__(self) -> str:
        there = {name: value for name, value in self.as_dict().items() if value}
        return f"<opcraft.Properties: {', '.join(f'{name}={value!r}' for name, value in there.items())}>"

    def __setattr__(self, name: str, value: object) -> None:
        if not name.startswith("_") and name not in _PROPERTIES:
            raise AttributeError(f"there is no core property {name!r}")
        super().__setattr__(name, value)

    @property
    def part(self) -> Optional[str]:
        """The name of the part that holds the properties; None when the package has none."""
        return self._list(lambda found: _convert.maybe(found.part))

    def as_dict(self) -> Dict[str, Any]:
        """All properties by the names of the attributes."""
        values = self._values()
        return {name: values[property.element] for name, property in _PROPERTIES.items()}

    def update(self, **changes: Any) -> None:
        """Sets properties at once, and leaves the others as they are: ``update(title="A", creator=None)``."""
        structs = []
        for name, value in changes.items():
            if name not in _PROPERTIES:
                raise AttributeError(f"there is no core property {name!r}")
            struct = _c.property_(name=_PROPERTIES[name].element.encode())
            _PROPERTIES[name].encode(struct, value)
            structs.append(struct)
        self._package._set_properties(structs)

    def _values(self) -> Dict[str, Any]:
        values: Dict[str, Any] = {property.element: None for property in _PROPERTIES.values()}
        values["keywords"] = ()
        new = self._package._new_properties
        found = self._list(_read_properties) if new is None else map(_read_property, new.values())
        values.update((name, value) for name, value in found if value is not None)
        return values

    def _list(self, convert: Callable[[Any], T]) -> T:
        result = self._package._read(_c.lib.package_list_properties)
        return _convert.take(result, _c.lib.property_list_free, convert)


def _read_properties(found: Any) -> List[Tuple[str, Any]]:
    return [_read_property(each) for each in _convert.items(found.properties, found.count)]


def _read_property(struct: Any) -> Tuple[str, Any]:
    value: Any = _convert.maybe(struct.value)
    if struct.kind == PropertyKind.KEYWORDS:
        keywords = _convert.items(struct.keywords, struct.keyword_count)
        value = tuple(_convert.value(Keyword, each) for each in keywords)
    elif struct.kind == PropertyKind.TIME and struct.value is not None:
        value = _convert.time(struct.value)
    return _convert.text(struct.name), value


_PROPERTIES: Dict[str, _Property[Any, Any]] = {
    name: attribute for name, attribute in vars(Properties).items() if isinstance(attribute, _Property)
}
