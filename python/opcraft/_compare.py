# SPDX-License-Identifier: Apache-2.0
"""How two packages differ in meaning."""

from dataclasses import dataclass
from typing import Optional, Tuple

from . import _c, _convert
from ._enums import ContentDifference, DifferenceKind, SignatureChange
from ._stores import Options, Source, on_two_stores


@dataclass(frozen=True)
class PartDifference:
    """A part that one package alone has, or that differs.

    Attributes:
        kind: Added, removed, renamed or changed.
        name_before: None for an added part; so are the other attributes ``…_before``.
        name_after: None for a removed part; so are the other attributes ``…_after``.
        content_type_before: Its media type.
        content_type_after: Its media type.
        length_before: Its bytes.
        length_after: Its bytes.
        sha256_before: The digest of its bytes, hexadecimal.
        sha256_after: The digest of its bytes, hexadecimal.
        content_type_differs: Whether the media types differ in meaning.
        content: How the contents differ.
        lines_removed: Of the printed XML.
        lines_added: Of the printed XML.
        lines: The differences as a unified diff of the printed XML, without a header; None for none.
        reason: Why XML is compared by bytes, or how it differs other than in lines; None.
    """

    kind: DifferenceKind
    name_before: Optional[str]
    name_after: Optional[str]
    content_type_before: Optional[str]
    content_type_after: Optional[str]
    length_before: int
    length_after: int
    sha256_before: Optional[str]
    sha256_after: Optional[str]
    content_type_differs: bool
    content: ContentDifference
    lines_removed: int
    lines_added: int
    lines: Optional[str]
    reason: Optional[str]

    @property
    def name(self) -> str:
        """After, or else before."""
        return self.name_after or self.name_before or ""


@dataclass(frozen=True)
class RelationshipDifference:
    """A relationship that one package alone has.

    Attributes:
        kind: Added or removed.
        source: The name of a part, "/" for the package.
        id: Its ID.
        type: Its type.
        target: Resolved where it is internal.
        external: Whether it leads out of the package.
        problem: Why it is no relationship, but an entry that is kept as it stands; None.
    """

    kind: DifferenceKind
    source: str
    id: str
    type: str
    target: str
    external: bool
    problem: Optional[str]


@dataclass(frozen=True)
class PropertyDifference:
    """A core property that differs, by the name of its element; None where it is not there."""

    name: str
    before: Optional[str]
    after: Optional[str]


@dataclass(frozen=True)
class ItemDifference:
    """An item that is not a part, and that differs."""

    kind: DifferenceKind
    name: str
    length_before: int
    length_after: int


@dataclass(frozen=True)
class SignatureDifference:
    """What became of a signature.

    Attributes:
        change: What became of it.
        part: That holds it.
        held_before: Whether it held.
        holds_after: Whether it holds.
        reason: Why it does not hold where it does not; None.
    """

    change: SignatureChange
    part: str
    held_before: bool
    holds_after: bool
    reason: Optional[str]


@dataclass(frozen=True)
class Differences:
    """How two packages differ.

    Attributes:
        equal: Whether they mean the same.
        compared_parts: How many parts are in both.
        parts: That differ.
        relationships: That one package alone has.
        properties: Core properties that differ.
        items: That are no parts, and differ.
        signatures: What became of them.
        unread_signatures: Why the signatures of a package could not be read, and were not compared but as parts.
    """

    equal: bool
    compared_parts: int
    parts: Tuple[PartDifference, ...]
    relationships: Tuple[RelationshipDifference, ...]
    properties: Tuple[PropertyDifference, ...]
    items: Tuple[ItemDifference, ...]
    signatures: Tuple[SignatureDifference, ...]
    unread_signatures: Tuple[str, ...]


def compare(
    before: Source,
    after: Source,
    *,
    ignore_ids: bool = False,
    ignore_order: bool = False,
    ignore_core_properties: bool = False,
    ignore_signatures: bool = False,
    lines: bool = True,
    tolerant: bool = False,
    options: Optional[Options] = None,
) -> Differences:
    """How two packages differ in meaning.

    Args:
        before: A package, as :func:`opcraft.open` takes it.
        after: The other one.
        ignore_ids: Whether the IDs of relationships do not count.
        ignore_order: Whether the order of XML elements does not count.
        ignore_core_properties: Whether these do not count.
        ignore_signatures: Whether these do not count.
        lines: Whether ``PartDifference.lines`` are made.
        tolerant: Reads packages in which something is wrong as far as they can be read.
        options: Limits, monitor and others.
    """
    settings = _c.compare_options(
        ignore_ids=ignore_ids,
        ignore_order=ignore_order,
        ignore_core_properties=ignore_core_properties,
        ignore_signatures=ignore_signatures,
        without_lines=not lines,
        tolerant=tolerant,
    )

    def work(first: int, second: int) -> Differences:
        report = _c.lib.compare(first, second, settings)
        return _convert.take(
            report, _c.lib.difference_report_free, lambda report: _convert.value(Differences, report)
        )

    return on_two_stores(before, after, options, work)
