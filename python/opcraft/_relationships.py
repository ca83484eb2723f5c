# SPDX-License-Identifier: Apache-2.0
"""Relationships of a package and of its parts."""

from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, Collection, Iterator, Optional, Tuple, Union

from . import _c, _convert
from ._enums import ErrorKind
from ._errors import make

if TYPE_CHECKING:
    from ._package import Package, Part


@dataclass(frozen=True)
class Relationship:
    """A relationship as it was when it was asked for.

    Attributes:
        source: The name of a part, "/" for the package.
        id: Its ID, of which its source has no other.
        type: A URI that says what the relationship means.
        target: As it is written.
        resolved: An internal target resolved against the source, an external one as a URI; None when it cannot be.
        external: Whether the target lies outside of the package.
        dangling: Internal, and no part is there.
    """

    source: str
    id: str
    type: str
    target: str
    resolved: Optional[str]
    external: bool
    dangling: bool


class Relationships(Collection[Relationship]):
    """The relationships of a package or part: iterated, they come by ID; ``relationships["rId1"]`` is one of them."""

    def __init__(self, package: "Package", source: str) -> None:
        self._package = package
        self._source = source

    def __iter__(self) -> Iterator[Relationship]:
        return iter(self._package._list_relationships(self._source))

    def __len__(self) -> int:
        return len(self._package._list_relationships(self._source))

    def __contains__(self, relationship: object) -> bool:
        """Whether there is a relationship, or one with an ID."""
        return any(relationship in (each, each.id) for each in self)

    def __getitem__(self, id: str) -> Relationship:
        for relationship in self:
            if relationship.id == id:
                return relationship
        raise make(ErrorKind.RELATIONSHIP_NOT_FOUND, f"{self._source}: no relationship with the Id {id!r}")

    def __repr__(self) -> str:
        return f"<opcraft.Relationships of {self._source!r}: {', '.join(each.id for each in self)}>"

    def by_type(self, type: str) -> Tuple[Relationship, ...]:
        """The relationships of a type."""
        return tuple(each for each in self if each.type == type)

    def parts(self, type: Optional[str] = None) -> Tuple["Part", ...]:
        """The parts that relationships, of a type if one is given, lead to; those that are not there are left out."""
        return tuple(
            self._package.resolve(each)
            for each in self
            if not each.external and not each.dangling and type in (None, each.type)
        )

    def add(
        self, type: str, target: Union[str, "Part"], *, external: bool = False, id: Optional[str] = None
    ) -> Relationship:
        """Adds a relationship.

        Args:
            type: A URI that says what it means.
            target: A part or its name; with ``external`` a URI outside of the package.
            external: Whether the target lies outside of the package.
            id: Its ID; a new one if it is None.
        """
        made = self._package._change(
            _c.lib.relationship_create,
            *(_convert.encode(each) for each in (self._source, type, target if isinstance(target, str) else target.name)),
            external,
            _convert.maybe_encode(id),
        )
        return self[_convert.take_text(made)]

    def retarget(self, relationship: Union[str, Relationship], target: Union[str, "Part"]) -> Relationship:
        """Gives an internal relationship, or the one with an ID, another target."""
        id, name = _id(relationship), target if isinstance(target, str) else target.name
        self._edit(_c.lib.relationship_set_target, id, name)
        return self[id]

    def remove(self, relationship: Union[str, Relationship]) -> None:
        """Deletes a relationship, or the one with an ID."""
        self._edit(_c.lib.relationship_delete, _id(relationship))

    def _edit(self, function: Any, *texts: str) -> None:
        arguments = (_convert.encode(each) for each in (self._source, *texts))
        self._package._change(function, *arguments)


def _id(relationship: Union[str, Relationship]) -> str:
    return relationship if isinstance(relationship, str) else relationship.id
