# SPDX-License-Identifier: Apache-2.0
"""The exceptions of Opcraft."""

import errno
import io
from typing import Any, Dict, Optional, Tuple, Type

from ._enums import ErrorKind


class Error(Exception):
    """A failure of Opcraft; the base class of all others. What is not known is None.

    Attributes:
        kind: What went wrong, for programs.
        message: One sentence, for people; names the file, the item and the value.
        item: The part, or the item that is not a part, with the error in its content.
        line: In the XML of the item, the first being 1.
        column: In UTF-16 units, the first being 1.
        element: The name of the XML element as it is written.
        attribute: The name of the attribute that is wrong.
        value: Of the attribute, or the text of the element.
        id: The Id of the element.
        errno: A value of the module ``errno`` where the system reported one.
    """

    kind: ErrorKind
    message: str
    item: Optional[str]
    line: Optional[int]
    column: Optional[int]
    element: Optional[str]
    attribute: Optional[str]
    value: Optional[str]
    id: Optional[str]
    errno: Any  # of OSError, too

    def __init__(
        self,
        message: str,
        kind: ErrorKind = ErrorKind.OTHER,
        *,
        item: Optional[str] = None,
        line: Optional[int] = None,
        column: Optional[int] = None,
        element: Optional[str] = None,
        attribute: Optional[str] = None,
        value: Optional[str] = None,
        id: Optional[str] = None,
        errno: Optional[int] = None,
    ) -> None:
        super().__init__(message)
        self.kind = kind
        self.message = message
        self.item = item
        self.line = line
        self.column = column
        self.element = element
        self.attribute = attribute
        self.value = value
        self.id = id
        self.errno = errno

    def __str__(self) -> str:
        return self.message

    def __reduce__(self) -> Tuple[Any, ...]:
        return _rebuild, (type(self), {name: getattr(self, name) for name in _FIELDS})


_FIELDS = ("message", "kind", "item", "line", "column", "element", "attribute", "value", "id", "errno")


def _rebuild(cls: Type[Error], fields: Dict[str, Any]) -> Error:
    return cls(**fields)


class NotFound(Error):
    """Something is not there: a file, part, relationship, signature or content type."""


class FileNotFound(NotFound, FileNotFoundError):
    """The package is not there."""


class MemberNotFound(NotFound, KeyError):
    """The package has no such part, relationship or signature."""


class AlreadyExists(Error):
    """A part or relationship of that name is there already."""


class FileAlreadyExists(AlreadyExists, FileExistsError):
    """A file is there already."""


class AccessDenied(Error, PermissionError):
    """The system refuses access."""


class SystemFailure(Error, OSError):
    """The system or a store failed otherwise, as for a full disk; ``errno`` says how."""


class InUse(Error, BlockingIOError):
    """Another program changes the file, or changed it since it was opened; nothing was saved."""


class InvalidData(Error, ValueError):
    """A name, value or package breaks the rules; ``kind`` says which, and ``item`` and ``line`` where."""


class NotPermitted(Error, io.UnsupportedOperation):
    """The way in which the package is open excludes it."""


class Closed(Error, ValueError):
    """The package, or the part's file, is closed."""


class LimitExceeded(Error):
    """The package costs more than the limits allow."""


class NotSupported(Error, NotImplementedError):
    """An encrypted item, an unknown compression method, or something else that Opcraft does not do."""


class Cancelled(Error):
    """A monitor ended the work. A file that was to be saved is the old one or the new one."""


class OutOfMemory(Error, MemoryError):
    """There is no memory left."""


_CLASSES: Dict[ErrorKind, Type[Error]] = {
    ErrorKind.NOT_FOUND: FileNotFound,
    ErrorKind.PACKAGE_NOT_FOUND: FileNotFound,
    ErrorKind.PART_NOT_FOUND: MemberNotFound,
    ErrorKind.RELATIONSHIP_NOT_FOUND: MemberNotFound,
    ErrorKind.SIGNATURE_NOT_FOUND: MemberNotFound,
    ErrorKind.CONTENT_TYPE_NOT_FOUND: NotFound,
    ErrorKind.CONTENT_TYPE_PARAMETER_NOT_FOUND: NotFound,
    ErrorKind.ALREADY_EXISTS: FileAlreadyExists,
    ErrorKind.PART_ALREADY_EXISTS: AlreadyExists,
    ErrorKind.PART_IS_DERIVED_FROM_EXISTING_PART_NAME: AlreadyExists,
    ErrorKind.RELATIONSHIP_ALREADY_EXISTS: AlreadyExists,
    ErrorKind.PERMISSION_DENIED: AccessDenied,
    ErrorKind.PACKAGE_PERMISSION_DENIED: AccessDenied,
    ErrorKind.SYSTEM_ERROR: SystemFailure,
    ErrorKind.PACKAGE_OPEN_FAILED: SystemFailure,
    ErrorKind.PACKAGE_CLOSE_FAILED: SystemFailure,
    ErrorKind.PART_CREATE_FAILED: SystemFailure,
    ErrorKind.PART_DELETE_FAILED: SystemFailure,
    ErrorKind.INVALID_PART_STREAM: SystemFailure,
    ErrorKind.STORE_IN_USE: InUse,
    ErrorKind.INVALID_ARGUMENT: InvalidData,
    ErrorKind.DAMAGED_STORE: InvalidData,
    ErrorKind.INVALID_URI: InvalidData,
    ErrorKind.INVALID_PART_NAME: InvalidData,
    ErrorKind.INVALID_CONTENT_TYPE: InvalidData,
    ErrorKind.INVALID_CONTENT_TYPE_PARAMETER: InvalidData,
    ErrorKind.INVALID_CONTENT_TYPE_STREAM: InvalidData,
    ErrorKind.PART_HAS_RELATIONSHIP_NAME: InvalidData,
    ErrorKind.INCONSISTENT_PACKAGE: InvalidData,
    ErrorKind.INVALID_CORE_PROPERTIES_RELATIONSHIPS: InvalidData,
    ErrorKind.INVALID_RELATIONSHIP_ID: InvalidData,
    ErrorKind.INVALID_RELATIONSHIP_TYPE: InvalidData,
    ErrorKind.INVALID_RELATIONSHIP_TARGET: InvalidData,
    ErrorKind.INVALID_RELATIONSHIP_CONTENT: InvalidData,
    ErrorKind.INVALID_XML_DOCUMENT: InvalidData,
    ErrorKind.INVALID_PART_CONTENT: InvalidData,
    ErrorKind.INVALID_SIGNATURE: InvalidData,
    ErrorKind.UNSUPPORTED_RESOLVE: InvalidData,
    ErrorKind.UNSUPPORTED_RELATIVIZE: InvalidData,
    ErrorKind.NOT_PERMITTED: NotPermitted,
    ErrorKind.PACKAGE_READ_ONLY: NotPermitted,
    ErrorKind.PACKAGE_CREATE_ONLY: NotPermitted,
    ErrorKind.PACKAGE_NOT_OPEN: Closed,
    ErrorKind.INVALID_OBJECT: Closed,
    ErrorKind.LIMIT_EXCEEDED: LimitExceeded,
    ErrorKind.NOT_SUPPORTED: NotSupported,
    ErrorKind.NOT_IMPLEMENTED: NotSupported,
    ErrorKind.CANCELLED: Cancelled,
    ErrorKind.OUT_OF_MEMORY: OutOfMemory,
}


#: What stands for the exceptions of the system where nothing else is known.
_NUMBERS: Dict[Type[Error], int] = {
    FileNotFound: errno.ENOENT,
    FileAlreadyExists: errno.EEXIST,
    AccessDenied: errno.EACCES,
    InUse: errno.EBUSY,
}


def make(kind: ErrorKind, message: str, **fields: Any) -> Error:
    """The exception for a kind."""
    cls = _CLASSES.get(kind, Error)
    fields.setdefault("errno", None)
    if fields["errno"] is None:
        fields["errno"] = _NUMBERS.get(cls)
    return cls(message, kind, **fields)


def from_c(error: Any) -> Error:
    """The exception for an ``opcraft_error``, which the caller frees."""

    def text(value: Optional[bytes]) -> Optional[str]:
        return None if value is None else value.decode("utf-8", "replace")

    return make(
        ErrorKind(error.kind),
        text(error.message) or "",
        item=text(error.item),
        line=error.line or None,
        column=error.column or None,
        element=text(error.element),
        attribute=text(error.attribute),
        value=text(error.value),
        id=text(error.id),
        errno=error.system_error or None,
    )
