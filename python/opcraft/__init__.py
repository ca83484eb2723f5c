# SPDX-License-Identifier: Apache-2.0
"""Packages of the Open Packaging Conventions (ECMA-376 Part 2): .docx, .xlsx, .pptx, .3mf, .nupkg and their kin.

Example:
    >>> import opcraft
    >>> with opcraft.open("letter.docx") as package:
    ...     for name, part in package.parts.items():
    ...         print(name, part.content_type, part.size)
    /docProps/app.xml application/vnd.openxmlformats-officedocument.extended-properties+xml 198
    /docProps/core.xml application/vnd.openxmlformats-package.core-properties+xml 585
    /word/document.xml application/vnd.openxmlformats-officedocument.wordprocessingml.document.main+xml 1751
    /word/media/bar.png image/png 109
    /word/styles.xml application/vnd.openxmlformats-officedocument.wordprocessingml.styles+xml 540
"""

from . import _c
from ._callbacks import Store
from ._compare import (
    Differences,
    ItemDifference,
    PartDifference,
    PropertyDifference,
    RelationshipDifference,
    SignatureDifference,
    compare,
)
from ._enums import (
    Compression,
    ContentDifference,
    Coverage,
    DifferenceKind,
    Digest,
    ErrorKind,
    Mode,
    ReferenceKind,
    ReferenceVerdict,
    Severity,
    SignatureChange,
    SignatureForm,
    Take,
    ValidationTime,
    Verdict,
    Voucher,
)
from ._errors import (
    AccessDenied,
    AlreadyExists,
    Cancelled,
    Closed,
    Error,
    FileAlreadyExists,
    FileNotFound,
    InUse,
    InvalidData,
    LimitExceeded,
    MemberNotFound,
    NotFound,
    NotPermitted,
    NotSupported,
    OutOfMemory,
    SystemFailure,
)
from ._lint import Finding, RepairPlan, RepairStep, Rule, lint, repair, rules
from ._package import Item, Package, Part, PartInfo, Parts
from ._package import open_package as open
from ._properties import Keyword, Properties
from ._relationships import Relationship, Relationships
from ._signatures import (
    Certificate,
    Reference,
    Signature,
    SignResult,
    TimeStamp,
    Verification,
    sign,
    unsign,
    verify,
)
from ._stores import Limits, Monitor, Options
from ._version import VERSION as __version__


def library_version() -> str:
    """The version of the C library that is loaded."""
    version: bytes = _c.lib.version()
    return version.decode("ascii")


__all__ = [name for name in dir() if not name.startswith("_")]
