# SPDX-License-Identifier: Apache-2.0
"""The enumerations of the C interface, with its values."""

import enum
from typing import Optional, Tuple, Type


class _OpenEnum(enum.IntEnum):
    """An enumeration that a newer library may extend: a value that is not known gets a member ``UNKNOWN_<value>``."""

    @classmethod
    def _missing_(cls, value: object) -> Optional["_OpenEnum"]:
        if not isinstance(value, int) or isinstance(value, bool) or not 0 <= value < 2**32:
            return None
        member = int.__new__(cls, value)
        member._name_ = f"UNKNOWN_{value}"
        member._value_ = value
        known = cls._value2member_map_.setdefault(value, member)
        assert isinstance(known, cls)
        return known

    def __reduce_ex__(self, protocol: object) -> Tuple[Type["_OpenEnum"], Tuple[int]]:
        return type(self), (int(self),)


class ErrorKind(_OpenEnum):
    """What went wrong, for programs; :class:`Error` has it as ``kind``."""

    OTHER = 0
    OUT_OF_MEMORY = 1
    INVALID_ARGUMENT = 2
    CANCELLED = 3
    LIMIT_EXCEEDED = 4
    STORE_IN_USE = 5
    DAMAGED_STORE = 6
    NOT_SUPPORTED = 7
    NOT_FOUND = 8
    PERMISSION_DENIED = 9
    ALREADY_EXISTS = 10
    NOT_PERMITTED = 11
    SYSTEM_ERROR = 12
    INVALID_URI = 20
    INVALID_PART_NAME = 21
    INVALID_CONTENT_TYPE = 22
    INVALID_CONTENT_TYPE_PARAMETER = 23
    CONTENT_TYPE_PARAMETER_NOT_FOUND = 24
    CONTENT_TYPE_NOT_FOUND = 25
    INVALID_CONTENT_TYPE_STREAM = 26
    PART_NOT_FOUND = 27
    PART_ALREADY_EXISTS = 28
    PART_IS_DERIVED_FROM_EXISTING_PART_NAME = 29
    PART_HAS_RELATIONSHIP_NAME = 30
    PART_CREATE_FAILED = 31
    PART_DELETE_FAILED = 32
    INCONSISTENT_PACKAGE = 33
    INVALID_CORE_PROPERTIES_RELATIONSHIPS = 34
    PACKAGE_READ_ONLY = 35
    PACKAGE_CREATE_ONLY = 36
    PACKAGE_NOT_OPEN = 37
    PACKAGE_ALREADY_OPEN = 38
    PACKAGE_NOT_FOUND = 39
    PACKAGE_PERMISSION_DENIED = 40
    PACKAGE_OPEN_FAILED = 41
    PACKAGE_CLOSE_FAILED = 42
    INVALID_PART_STREAM = 43
    INVALID_OBJECT = 44
    RELATIONSHIP_NOT_FOUND = 45
    RELATIONSHIP_ALREADY_EXISTS = 46
    INVALID_RELATIONSHIP_ID = 47
    INVALID_RELATIONSHIP_TYPE = 48
    INVALID_RELATIONSHIP_TARGET = 49
    INVALID_RELATIONSHIP_CONTENT = 50
    INVALID_XML_DOCUMENT = 51
    INVALID_XML_SCHEMA = 52
    INVALID_PART_CONTENT = 53
    UNSUPPORTED_RESOLVE = 54
    UNSUPPORTED_RELATIVIZE = 55
    COULD_NOT_GENERATE_SIGNATURE = 56
    COULD_NOT_REMOVE_SIGNATURE = 57
    SIGNATURE_NOT_FOUND = 58
    INVALID_SIGNATURE = 59
    NOT_IMPLEMENTED = 60


class Take(_OpenEnum):
    """Which of several items of one name, or of several archives in a row, is read by what reads tolerantly."""

    NEITHER = 0
    FIRST = 1
    LAST = 2


class Mode(_OpenEnum):
    """For what a :class:`Store` is opened."""

    READ = 0
    CHANGE = 1  #: an existing package
    CREATE = 2  #: a new package, which replaces an existing one


class Compression(_OpenEnum):
    """How strongly a new part is compressed."""

    NORMAL = 0
    NONE = 1
    MAXIMUM = 2
    FAST = 3


class PropertyKind(_OpenEnum):
    """What the value of a core property is."""

    TEXT = 0
    TIME = 1
    KEYWORDS = 2


class Severity(_OpenEnum):
    """How bad it is when a rule is broken."""

    ERROR = 0
    WARNING = 1
    NOTE = 2


class DifferenceKind(_OpenEnum):
    """In what something differs from one package to another."""

    ADDED = 0
    REMOVED = 1
    RENAMED = 2
    CHANGED = 3


class ContentDifference(_OpenEnum):
    """How the contents of two parts differ."""

    SAME = 0
    XML = 1  #: in what the XML says
    TOO_LARGE = 2  #: as XML, in more than is compared line by line
    BYTES = 3


class SignatureChange(_OpenEnum):
    """What became of a signature from one package to another."""

    BROKEN = 0
    REMOVED = 1
    ADDED = 2
    MENDED = 3


class Digest(_OpenEnum):
    """An algorithm for digests."""

    DEFAULT = 0  #: SHA-256
    MD5 = 1
    SHA1 = 2
    SHA224 = 3
    SHA256 = 4
    SHA384 = 5
    SHA512 = 6


class SignatureForm(_OpenEnum):
    """In which form a signature is stored."""

    STANDARD = 0  #: that of the standard, which other programs check
    OFFICE = 1  #: with what Microsoft Office adds
    LIBRARY = 2  #: of this library alone


class Coverage(_OpenEnum):
    """What a signature has to cover."""

    CONTENT = 0  #: all but core and extended properties and the thumbnail of the package
    ALL = 1
    ANY = 2


class ValidationTime(_OpenEnum):
    """The time at which a certificate has to be valid."""

    NOW = 0
    GIVEN = 1  #: a ``datetime`` says this by itself
    SIGNED = 2  #: what the signature claims, which nothing confirms
    STAMPED = 3  #: that of a time stamp of a trusted authority


class Verdict(_OpenEnum):
    """What the signatures of a package come to. Only ``VALID`` is true."""

    VALID = 0  #: every signature holds, is vouched for and accepted, and covers what it has to by itself
    INVALID = 1  #: one does not hold or cannot be read, or nobody who is accepted vouches for it
    INCOMPLETE = 2  #: one does not cover what it has to
    UNREADABLE = 3  #: the signatures cannot be read
    UNSIGNED = 4
    UNCHECKED = 5  #: there are signatures of a kind alone that is not checked

    def __bool__(self) -> bool:
        return self is Verdict.VALID


class Voucher(_OpenEnum):
    """Who vouches for a signature."""

    NOBODY = 0
    UNTRUSTED_CERTIFICATE = 1
    TRUSTED_CERTIFICATE = 2
    GIVEN_KEY = 3


class ReferenceKind(_OpenEnum):
    """What a signature refers to."""

    OBJECT = 0  #: something in the signature itself
    PART = 1
    RELATIONSHIPS = 2  #: of one source


class ReferenceVerdict(_OpenEnum):
    """Whether what a signature refers to is as it was signed."""

    HOLDS = 0
    DIGEST_DIFFERS = 1
    CONTENT_TYPE_DIFFERS = 2
    MISSING = 3
    NOT_SUPPORTED = 4
    NOT_READABLE = 5
    MISNAMED = 6
