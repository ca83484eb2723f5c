# SPDX-License-Identifier: Apache-2.0
"""Digital signatures (ECMA-376-2 section 10)."""

import ctypes
import os
from dataclasses import dataclass
from datetime import datetime
from typing import Any, Callable, Dict, Iterable, Optional, Tuple, Union

from . import _c, _callbacks, _convert
from ._convert import Material
from ._enums import (
    Coverage,
    Digest,
    ReferenceKind,
    ReferenceVerdict,
    SignatureForm,
    ValidationTime,
    Verdict,
    Voucher,
)
from ._stores import Options, Source, on_store


@dataclass(frozen=True)
class Reference:
    """Something that a signature lists.

    Attributes:
        kind: What it is.
        target: The part; the source of the relationships; the Id of the object.
        verdict: Whether it is as it was signed.
        problem: None when it holds.
        remark: What is unusual; None.
        signed_content_type: None but for a part and relationships.
        content_type: As it is; None where there is none.
        digest_method: Its identifier.
        signed_digest: In base64.
        digest: As it is, in base64; None when none can be computed.
        relationships: The IDs of those that are selected.
    """

    kind: ReferenceKind
    target: str
    verdict: ReferenceVerdict
    problem: Optional[str]
    remark: Optional[str]
    signed_content_type: Optional[str]
    content_type: Optional[str]
    digest_method: Optional[str]
    signed_digest: Optional[str]
    digest: Optional[str]
    relationships: Tuple[str, ...]


@dataclass(frozen=True)
class Certificate:
    """A certificate.

    Attributes:
        subject: Whose it is.
        issuer: Whose it is that made it.
        serial_number: Hexadecimal.
        not_before: From when it is valid.
        not_after: Until when it is valid.
        key_size: Bits.
        der: The certificate itself.
    """

    subject: str
    issuer: str
    serial_number: str
    not_before: datetime
    not_after: datetime
    key_size: int
    der: bytes


@dataclass(frozen=True)
class TimeStamp:
    """A time stamp over the value of a signature.

    Attributes:
        time: None when it cannot be read.
        authority: None when it is not known.
        holds: Whether it is a valid one of this signature.
        trusted: Whether its authority is trusted.
        problem: None when there is none.
    """

    time: Optional[datetime]
    authority: Optional[str]
    holds: bool
    trusted: bool
    problem: Optional[str]


@dataclass(frozen=True)
class Signature:
    """A signature, verified.

    Attributes:
        name: As :func:`unsign` takes it.
        part: That holds it.
        form: In which it is stored.
        countersignature: Whether it signs the other signatures.
        holds: The value and all references hold.
        problem: What does not hold first, or why it cannot be read; None.
        voucher: Who vouches for it.
        doubt: Why a certificate is not trusted; None.
        objections: What of ``signers`` and ``weakest_digest`` it does not meet.
        subject: Of the certificate; None for a bare key.
        key_fingerprint: SHA-256 of the SubjectPublicKeyInfo, hexadecimal; None.
        algorithm: The identifier of the signature method; None.
        key_size: Bits.
        time: As the signer claims; None.
        validation_time: For which the certificate was validated; None when none was.
        certificate: Of the signer; None when there is none.
        trust_anchor: The trusted certificate behind it; None.
        weak: Weak algorithms, by name.
        time_stamps: Over the value.
        complete: It covers by itself what it has to.
        covered_parts: What holds.
        uncovered_parts: What it does not cover.
        uncovered_relationships: As "/word/document.xml#rId1".
        uncovered_items: Items that are no parts, which no signature can cover.
        excepted: Parts, relationships and items that are neither signed nor content.
        references: All that it lists.
    """

    name: str
    part: str
    form: SignatureForm
    countersignature: bool
    holds: bool
    problem: Optional[str]
    voucher: Voucher
    doubt: Optional[str]
    objections: Tuple[str, ...]
    subject: Optional[str]
    key_fingerprint: Optional[str]
    algorithm: Optional[str]
    key_size: int
    time: Optional[datetime]
    validation_time: Optional[datetime]
    certificate: Optional[Certificate]
    trust_anchor: Optional[Certificate]
    weak: Tuple[str, ...]
    time_stamps: Tuple[TimeStamp, ...]
    complete: bool
    covered_parts: Tuple[str, ...]
    uncovered_parts: Tuple[str, ...]
    uncovered_relationships: Tuple[str, ...]
    uncovered_items: Tuple[str, ...]
    excepted: Tuple[str, ...]
    references: Tuple[Reference, ...]


@dataclass(frozen=True)
class Verification:
    """What verifying a package gave. It is true only when its verdict is ``Verdict.VALID``.

    Attributes:
        verdict: What the signatures come to.
        problem: Why the signatures cannot be read; None.
        signatures: In the order of the package.
        loose: Parts that look like signatures, but are not tied to the package.
        unchecked: Items with signatures of a kind that is not checked.
        external_targets: Relationships that lead out of the package: what they lead to is never signed.
    """

    verdict: Verdict
    problem: Optional[str]
    signatures: Tuple[Signature, ...]
    loose: Tuple[str, ...]
    unchecked: Tuple[str, ...]
    external_targets: int

    def __bool__(self) -> bool:
        return self.verdict is Verdict.VALID


@dataclass(frozen=True)
class SignResult:
    """What signing did.

    Attributes:
        name: Of the new signature.
        parts: How many it covers.
        relationships: How many it covers.
        warnings: What it cannot cover, and weak keys and digests.
    """

    name: str
    parts: int
    relationships: int
    warnings: Tuple[str, ...]


def verify(
    source: Source,
    *,
    trust: Union[None, Material, Iterable[Material]] = None,
    system_trust: bool = False,
    public_key: Optional[Material] = None,
    allow_untrusted: bool = False,
    signers: Iterable[str] = (),
    weakest_digest: Digest = Digest.DEFAULT,
    coverage: Coverage = Coverage.CONTENT,
    time: Union[datetime, ValidationTime] = ValidationTime.NOW,
    strict: bool = False,
    options: Optional[Options] = None,
) -> Verification:
    """Verifies all signatures of a package. A signature that does not hold is a verdict, not an error.

    Nobody is trusted unless ``trust``, ``system_trust`` or ``public_key`` says so. Whether a certificate was revoked is
    not checked; the network is never used. A ZIP file that other programs could read as another package is refused.

    Args:
        source: The package, as :func:`opcraft.open` takes it.
        trust: The certificates that are trusted: the path of a file, bytes (PEM or DER), or several of these.
        system_trust: Whether those of the system are trusted, too.
        public_key: The only key that counts, path or bytes; certificates do not then, and none are given.
        allow_untrusted: Does not ask who signed.
        signers: Who is accepted: the subject of a trusted certificate as ``Signature.subject`` gives it, or the SHA-256
            fingerprint of a key or certificate in hexadecimal; none: everybody who is trusted.
        weakest_digest: The weakest that is accepted; ``DEFAULT``: each.
        coverage: What each signature has to cover.
        time: At which a certificate has to be valid.
        strict: Reads relationships by the letter of the standard only.
        options: Limits, monitor and others.
    """
    given = time if isinstance(time, datetime) else None
    trusted, trusted_length = _convert.material(trust)
    key, key_length = _convert.material(public_key)
    names, count = _convert.texts(signers)
    settings = _c.verify_options(
        trust=trusted,
        trust_length=trusted_length,
        system_trust=system_trust,
        public_key=key,
        public_key_length=key_length,
        allow_untrusted=allow_untrusted,
        signers=names,
        signer_count=count,
        weakest_digest=weakest_digest,
        coverage=coverage,
        time=ValidationTime.GIVEN if given else time,
        given_time=_convert.from_time(given) if given else None,
        strict=strict,
    )
    return on_store(
        source,
        options,
        lambda store: _convert.take(
            _c.lib.verify(store, settings), _c.lib.verification_free, lambda found: _convert.value(Verification, found)
        ),
    )


def sign(
    source: Source,
    *,
    key: Optional[Material] = None,
    certificate: Optional[Material] = None,
    chain: Union[None, Material, Iterable[Material]] = None,
    pkcs12: Optional[Material] = None,
    password: Optional[str] = None,
    signer: Optional[Callable[[Digest, bytes], bytes]] = None,
    public_key: Optional[Material] = None,
    form: SignatureForm = SignatureForm.STANDARD,
    digest: Digest = Digest.DEFAULT,
    comments: Optional[str] = None,
    parts: Iterable[str] = (),
    countersign: bool = False,
    output: Union[None, str, "os.PathLike[str]"] = None,
    options: Optional[Options] = None,
) -> SignResult:
    """Signs a package, and saves it. When it fails, nothing is changed.

    One of ``key``, ``pkcs12`` and ``signer`` is given; keys and certificates are paths of files or bytes.

    Args:
        source: The package, as :func:`opcraft.open` takes it.
        key: A private key, PEM or DER.
        certificate: Of the signer, PEM or DER; None: a bare key, which does not identify anybody.
        chain: Further certificates that are written into the signature; only with ``certificate``.
        pkcs12: A bundle with private key, certificate and chain.
        password: Of ``key`` or ``pkcs12``.
        signer: For a key that lies elsewhere: signs bytes, with the digest that it is given. RSA with PKCS#1 v1.5,
            elliptic curves in DER.
        public_key: Of ``signer``, PEM or DER.
        form: In which the signature is stored.
        digest: For what it covers and for its value; not MD5 or SHA-1.
        comments: The purpose, only with ``SignatureForm.OFFICE``.
        parts: The names of the parts that are signed alone; none: all parts and relationships.
        countersign: Signs all signatures instead.
        output: A file that is written instead of the one that was opened.
        options: Limits, monitor and others.
    """
    key_data, key_length = _convert.material(key)
    bundle, bundle_length = _convert.material(pkcs12)
    own, own_length = _convert.material(certificate)
    further, further_length = _convert.material(chain)
    names, count = _convert.texts(parts)
    catcher = _callbacks.Catcher()
    if (signer is None) != (public_key is None):
        raise TypeError("signer and public_key are given together")
    settings = _c.sign_options(
        signer=ctypes.pointer(_make_signer(signer, public_key, catcher)) if signer and public_key else None,
        key=key_data,
        key_length=key_length,
        pkcs12=bundle,
        pkcs12_length=bundle_length,
        password=_convert.maybe_encode(password),
        certificate=own,
        certificate_length=own_length,
        chain=further,
        chain_length=further_length,
        form=form,
        digest=digest,
        comments=_convert.maybe_encode(comments),
        parts=names,
        part_count=count,
        countersign=countersign,
    )

    def work(store: int) -> SignResult:
        with catcher.raising():
            result = _c.lib.sign(store, settings)
        return _convert.take(result, _c.lib.sign_result_free, lambda found: _convert.value(SignResult, found))

    return on_store(source, options, work, output=output, changes=True)


def _make_signer(
    signer: Callable[[Digest, bytes], bytes], public_key: Material, catcher: "_callbacks.Catcher"
) -> "_c.signer":
    def call(_: Any, digest: int, octets: int, length: int, signature: int, capacity: int, written: Any) -> None:
        made = bytes(memoryview(signer(Digest(digest), ctypes.string_at(octets, length))))
        if len(made) > capacity:
            raise ValueError(f"a signature of {len(made)} bytes; {capacity} are the most")
        ctypes.memmove(signature, made, len(made))
        written[0] = len(made)

    key, length = _convert.material(public_key)
    types: Dict[str, Any] = dict(_c.signer._fields_)
    return _c.signer(public_key=key, public_key_length=length, sign=types["sign"](catcher.guard(call)))


def unsign(
    source: Source,
    name: Optional[str] = None,
    *,
    output: Union[None, str, "os.PathLike[str]"] = None,
    options: Optional[Options] = None,
) -> int:
    """Removes the signature of a name, or all of them, and saves; returns how many were removed.

    Args:
        source: The package, as :func:`opcraft.open` takes it.
        name: As ``Signature.name``; None: all.
        output: A file that is written instead of the one that was opened.
        options: Limits, monitor and others.
    """
    removed = ctypes.c_uint64()
    encoded = _convert.maybe_encode(name)
    on_store(
        source,
        options,
        lambda store: bool(_c.lib.unsign(store, encoded, ctypes.byref(removed))),
        output=output,
        changes=True,
    )
    return removed.value
