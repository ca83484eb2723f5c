# SPDX-License-Identifier: Apache-2.0
"""The C interface of Opcraft, ``opcraft/opcraft.h``, for ctypes: structures, functions, and the loaded library.

The structures have the names of the header without ``opcraft_``; the header says what their members mean.
"""

import ctypes
import os
from ctypes import CFUNCTYPE, POINTER, c_bool, c_char_p, c_int, c_int64, c_size_t, c_uint, c_uint64, c_void_p
from typing import Any, Dict, List, Tuple, Type

from . import _errors

#: A list of structures, or of texts, is an array of pointers.
_texts = POINTER(c_char_p)


class Struct(ctypes.Structure):
    """A structure that begins with its own size."""

    def __init__(self, **members: Any) -> None:
        super().__init__(ctypes.sizeof(type(self)), **members)


def _list(struct: Type[Struct]) -> Any:
    return POINTER(POINTER(struct))


_place = [
    ("item", c_char_p),
    ("line", c_uint64),
    ("column", c_uint64),
    ("element", c_char_p),
    ("attribute", c_char_p),
    ("value", c_char_p),
    ("id", c_char_p),
]


class error(Struct):
    _fields_ = [("size", c_size_t), ("kind", c_int), ("system_error", c_int), ("message", c_char_p), *_place]


class bytes_(Struct):
    _fields_ = [("size", c_size_t), ("data", c_void_p), ("length", c_size_t)]


class limits(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("items", c_uint64),
        ("item_size", c_uint64),
        ("total_size", c_uint64),
        ("ratio", c_uint64),
        ("name_length", c_uint64),
        ("xml_size", c_uint64),
        ("xml_depth", c_uint64),
        ("xml_nodes", c_uint64),
    ]


class store_options(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("limits", POINTER(limits)),
        ("monitor", c_void_p),
        ("memory", c_uint64),
        ("temporary_folder", c_char_p),
        ("threads", c_uint),
        ("lock_timeout", c_int64),
        ("consistent", c_bool),
        ("take", c_int),
        ("output", c_char_p),
    ]


class store_callbacks(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("has_content_types_stream", c_bool),
        ("open", CFUNCTYPE(c_int, c_void_p, c_int)),
        ("close", CFUNCTYPE(c_int, c_void_p, c_bool)),
        ("list", CFUNCTYPE(c_int, c_void_p, c_void_p)),
        ("begin_read", CFUNCTYPE(c_int, c_void_p, c_char_p, POINTER(c_void_p))),
        ("read", CFUNCTYPE(c_int, c_void_p, c_void_p, c_void_p, c_size_t, POINTER(c_size_t))),
        ("end_read", CFUNCTYPE(None, c_void_p, c_void_p)),
        ("begin_write", CFUNCTYPE(c_int, c_void_p, c_char_p, POINTER(c_void_p))),
        ("write", CFUNCTYPE(c_int, c_void_p, c_void_p, c_void_p, c_size_t)),
        ("end_write", CFUNCTYPE(c_int, c_void_p, c_void_p)),
        ("create", CFUNCTYPE(c_int, c_void_p, c_char_p, c_char_p)),
        ("remove", CFUNCTYPE(c_int, c_void_p, c_char_p)),
    ]


class open_options(Struct):
    _fields_ = [("size", c_size_t), ("tolerant", c_bool)]


class part(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("name", c_char_p),
        ("content_type", c_char_p),
        ("length", c_uint64),
        ("stored_length", c_uint64),
        ("relationships", c_uint64),
    ]


class item(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("name", c_char_p),
        ("length", c_uint64),
        ("stored_length", c_uint64),
        ("reason", c_char_p),
    ]


class part_list(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("count", c_size_t),
        ("parts", _list(part)),
        ("item_count", c_size_t),
        ("items", _list(item)),
    ]


class relationship(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("source", c_char_p),
        ("id", c_char_p),
        ("type", c_char_p),
        ("target", c_char_p),
        ("resolved", c_char_p),
        ("external", c_bool),
        ("dangling", c_bool),
    ]


class relationship_list(Struct):
    _fields_ = [("size", c_size_t), ("count", c_size_t), ("relationships", _list(relationship))]


class keyword(Struct):
    _fields_ = [("size", c_size_t), ("text", c_char_p), ("language", c_char_p)]


class property_(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("name", c_char_p),
        ("kind", c_int),
        ("value", c_char_p),
        ("keyword_count", c_size_t),
        ("keywords", _list(keyword)),
    ]


class property_list(Struct):
    _fields_ = [("size", c_size_t), ("part", c_char_p), ("count", c_size_t), ("properties", _list(property_))]


class rule(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("name", c_char_p),
        ("severity", c_int),
        ("subject", c_char_p),
        ("summary", c_char_p),
        ("remedy", c_char_p),
    ]


class finding(Struct):
    _fields_ = [("size", c_size_t), ("rule", POINTER(rule)), ("blocks", c_bool), ("message", c_char_p), *_place]


class finding_list(Struct):
    _fields_ = [("size", c_size_t), ("count", c_size_t), ("findings", _list(finding))]


class lint_options(Struct):
    _fields_ = [("size", c_size_t), ("without_contents", c_bool), ("rules", _texts), ("rule_count", c_size_t)]


class repair_options(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("only", _texts),
        ("only_count", c_size_t),
        ("take", c_int),
        ("breaks_signatures", c_bool),
        ("apply", c_bool),
    ]


class repair_step(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("finding", POINTER(finding)),
        ("change", c_char_p),
        ("loss", c_char_p),
        ("deletes", c_bool),
        ("applies", c_bool),
        ("why", c_char_p),
    ]


class repair_plan(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("applied", c_bool),
        ("step_count", c_size_t),
        ("steps", _list(repair_step)),
        ("broken_signature_count", c_size_t),
        ("broken_signatures", _texts),
        ("left_count", c_size_t),
        ("left", _list(finding)),
    ]


class part_difference(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("kind", c_int),
        ("name_before", c_char_p),
        ("name_after", c_char_p),
        ("content_type_before", c_char_p),
        ("content_type_after", c_char_p),
        ("length_before", c_uint64),
        ("length_after", c_uint64),
        ("sha256_before", c_char_p),
        ("sha256_after", c_char_p),
        ("content_type_differs", c_bool),
        ("content", c_int),
        ("lines_removed", c_uint64),
        ("lines_added", c_uint64),
        ("lines", c_char_p),
        ("reason", c_char_p),
    ]


class relationship_difference(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("kind", c_int),
        ("source", c_char_p),
        ("id", c_char_p),
        ("type", c_char_p),
        ("target", c_char_p),
        ("external", c_bool),
        ("problem", c_char_p),
    ]


class property_difference(Struct):
    _fields_ = [("size", c_size_t), ("name", c_char_p), ("before", c_char_p), ("after", c_char_p)]


class item_difference(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("kind", c_int),
        ("name", c_char_p),
        ("length_before", c_uint64),
        ("length_after", c_uint64),
    ]


class signature_difference(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("change", c_int),
        ("part", c_char_p),
        ("held_before", c_bool),
        ("holds_after", c_bool),
        ("reason", c_char_p),
    ]


class difference_report(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("equal", c_bool),
        ("compared_parts", c_uint64),
        ("part_count", c_size_t),
        ("parts", _list(part_difference)),
        ("relationship_count", c_size_t),
        ("relationships", _list(relationship_difference)),
        ("property_count", c_size_t),
        ("properties", _list(property_difference)),
        ("item_count", c_size_t),
        ("items", _list(item_difference)),
        ("signature_count", c_size_t),
        ("signatures", _list(signature_difference)),
        ("unread_signature_count", c_size_t),
        ("unread_signatures", _texts),
    ]


class compare_options(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("ignore_ids", c_bool),
        ("ignore_order", c_bool),
        ("ignore_core_properties", c_bool),
        ("ignore_signatures", c_bool),
        ("without_lines", c_bool),
        ("tolerant", c_bool),
    ]


class verify_options(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("trust", c_char_p),
        ("trust_length", c_size_t),
        ("system_trust", c_bool),
        ("public_key", c_char_p),
        ("public_key_length", c_size_t),
        ("allow_untrusted", c_bool),
        ("signers", _texts),
        ("signer_count", c_size_t),
        ("weakest_digest", c_int),
        ("coverage", c_int),
        ("time", c_int),
        ("given_time", c_char_p),
        ("strict", c_bool),
    ]


class reference(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("kind", c_int),
        ("target", c_char_p),
        ("verdict", c_int),
        ("problem", c_char_p),
        ("remark", c_char_p),
        ("signed_content_type", c_char_p),
        ("content_type", c_char_p),
        ("digest_method", c_char_p),
        ("signed_digest", c_char_p),
        ("digest", c_char_p),
        ("relationship_count", c_size_t),
        ("relationships", _texts),
    ]


class certificate(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("subject", c_char_p),
        ("issuer", c_char_p),
        ("serial_number", c_char_p),
        ("not_before", c_char_p),
        ("not_after", c_char_p),
        ("key_size", c_uint),
        ("der", c_void_p),
        ("der_length", c_size_t),
    ]


class time_stamp(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("time", c_char_p),
        ("authority", c_char_p),
        ("holds", c_bool),
        ("trusted", c_bool),
        ("problem", c_char_p),
    ]


class signature(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("name", c_char_p),
        ("part", c_char_p),
        ("form", c_int),
        ("countersignature", c_bool),
        ("holds", c_bool),
        ("problem", c_char_p),
        ("voucher", c_int),
        ("doubt", c_char_p),
        ("objection_count", c_size_t),
        ("objections", _texts),
        ("subject", c_char_p),
        ("key_fingerprint", c_char_p),
        ("algorithm", c_char_p),
        ("key_size", c_uint),
        ("time", c_char_p),
        ("validation_time", c_char_p),
        ("certificate", POINTER(certificate)),
        ("trust_anchor", POINTER(certificate)),
        ("weak_count", c_size_t),
        ("weak", _texts),
        ("time_stamp_count", c_size_t),
        ("time_stamps", _list(time_stamp)),
        ("complete", c_bool),
        ("covered_part_count", c_size_t),
        ("covered_parts", _texts),
        ("uncovered_part_count", c_size_t),
        ("uncovered_parts", _texts),
        ("uncovered_relationship_count", c_size_t),
        ("uncovered_relationships", _texts),
        ("uncovered_item_count", c_size_t),
        ("uncovered_items", _texts),
        ("excepted_count", c_size_t),
        ("excepted", _texts),
        ("reference_count", c_size_t),
        ("references", _list(reference)),
    ]


class verification(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("verdict", c_int),
        ("problem", c_char_p),
        ("signature_count", c_size_t),
        ("signatures", _list(signature)),
        ("loose_count", c_size_t),
        ("loose", _texts),
        ("unchecked_count", c_size_t),
        ("unchecked", _texts),
        ("external_targets", c_uint64),
    ]


class signer(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("public_key", c_char_p),
        ("public_key_length", c_size_t),
        ("sign", CFUNCTYPE(c_int, c_void_p, c_int, c_void_p, c_size_t, c_void_p, c_size_t, POINTER(c_size_t))),
        ("data", c_void_p),
    ]


class sign_options(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("signer", POINTER(signer)),
        ("key", c_char_p),
        ("key_length", c_size_t),
        ("pkcs12", c_char_p),
        ("pkcs12_length", c_size_t),
        ("password", c_char_p),
        ("certificate", c_char_p),
        ("certificate_length", c_size_t),
        ("chain", c_char_p),
        ("chain_length", c_size_t),
        ("form", c_int),
        ("digest", c_int),
        ("comments", c_char_p),
        ("parts", _texts),
        ("part_count", c_size_t),
        ("countersign", c_bool),
    ]


class sign_result(Struct):
    _fields_ = [
        ("size", c_size_t),
        ("name", c_char_p),
        ("parts", c_uint64),
        ("relationships", c_uint64),
        ("warning_count", c_size_t),
        ("warnings", _texts),
    ]


_handle = c_void_p
_size = POINTER(c_size_t)

#: Result and arguments of each function that cannot fail.
_PLAIN: Dict[str, Tuple[Any, List[Any]]] = {
    "version": (c_char_p, []),
    "error_free": (None, [POINTER(error)]),
    "error_kind_name": (c_char_p, [c_int]),
    "bytes_free": (None, [POINTER(bytes_)]),
    "text_free": (None, [c_void_p]),
    "monitor_free": (None, [_handle]),
    "monitor_bytes_read": (c_uint64, [_handle]),
    "monitor_cancel": (None, [_handle]),
    "listing_add": (c_int, [_handle, c_char_p, c_char_p]),
    "store_free": (None, [_handle]),
    "store_data": (c_void_p, [_handle, _size]),
    "package_free": (None, [_handle]),
    "part_list_free": (None, [POINTER(part_list)]),
    "reader_free": (None, [_handle]),
    "writer_free": (None, [_handle]),
    "relationship_list_free": (None, [POINTER(relationship_list)]),
    "property_list_free": (None, [POINTER(property_list)]),
    "rules": (_list(rule), [_size]),
    "finding_list_free": (None, [POINTER(finding_list)]),
    "repair_plan_free": (None, [POINTER(repair_plan)]),
    "difference_report_free": (None, [POINTER(difference_report)]),
    "verification_free": (None, [POINTER(verification)]),
    "sign_result_free": (None, [POINTER(sign_result)]),
}

#: Result and arguments, but for the last one, ``opcraft_error**``, of each function that can fail. A text that the
#: caller frees is a ``c_void_p``.
_FAILING: Dict[str, Tuple[Any, List[Any]]] = {
    "monitor_new": (_handle, []),
    "store_new_file": (_handle, [c_char_p, POINTER(store_options)]),
    "store_new_memory": (_handle, [c_char_p, c_size_t, POINTER(store_options)]),
    "store_new_callbacks": (_handle, [POINTER(store_callbacks), c_void_p, POINTER(store_options)]),
    "package_open": (_handle, [_handle, c_int, POINTER(open_options)]),
    "package_close": (c_bool, [_handle]),
    "package_list_parts": (POINTER(part_list), [_handle]),
    "package_has_part": (c_bool, [_handle, c_char_p, POINTER(c_bool)]),
    "part_content_type": (c_void_p, [_handle, c_char_p]),
    "part_read": (POINTER(bytes_), [_handle, c_char_p, c_uint64]),
    "part_open": (_handle, [_handle, c_char_p]),
    "reader_read": (c_bool, [_handle, c_void_p, c_size_t, _size]),
    "part_create": (c_bool, [_handle, c_char_p, c_char_p, c_int]),
    "part_write": (c_bool, [_handle, c_char_p, c_void_p, c_size_t]),
    "part_rewrite": (_handle, [_handle, c_char_p]),
    "writer_write": (c_bool, [_handle, c_void_p, c_size_t]),
    "writer_close": (c_bool, [_handle]),
    "part_delete": (c_bool, [_handle, c_char_p]),
    "part_move": (c_bool, [_handle, c_char_p, c_char_p]),
    "part_set_content_type": (c_bool, [_handle, c_char_p, c_char_p]),
    "package_list_relationships": (POINTER(relationship_list), [_handle, c_char_p]),
    "relationship_create": (c_void_p, [_handle, c_char_p, c_char_p, c_char_p, c_bool, c_char_p]),
    "relationship_set_target": (c_bool, [_handle, c_char_p, c_char_p, c_char_p]),
    "relationship_delete": (c_bool, [_handle, c_char_p, c_char_p]),
    "package_list_properties": (POINTER(property_list), [_handle]),
    "package_set_properties": (c_bool, [_handle, _list(property_), c_size_t]),
    "package_list_findings": (POINTER(finding_list), [_handle]),
    "lint": (POINTER(finding_list), [_handle, POINTER(lint_options)]),
    "repair": (POINTER(repair_plan), [_handle, POINTER(repair_options)]),
    "compare": (POINTER(difference_report), [_handle, _handle, POINTER(compare_options)]),
    "verify": (POINTER(verification), [_handle, POINTER(verify_options)]),
    "sign": (POINTER(sign_result), [_handle, POINTER(sign_options)]),
    "unsign": (c_bool, [_handle, c_char_p, POINTER(c_uint64)]),
}

LIBRARY = "libopcraft-c.so.1"


def _load() -> ctypes.CDLL:
    path = os.environ.get("OPCRAFT_LIBRARY") or LIBRARY
    try:
        return ctypes.CDLL(path)
    except OSError as reason:
        raise ImportError(
            f"The C library of Opcraft cannot be loaded: {reason}. On Debian it is in the package libopcraft-c1 "
            f"(apt install libopcraft-c1); elsewhere, OPCRAFT_LIBRARY names the path of {LIBRARY}."
        ) from reason


_library = _load()


def _function(name: str) -> Any:
    """A function of the library by its name without ``opcraft_``."""
    try:
        function = getattr(_library, "opcraft_" + name)
    except AttributeError:
        raise ImportError(
            f"{_library._name} is too old for this version of the Python package: opcraft_{name} is missing. "
            "Install the version of libopcraft-c1 that belongs to it."
        ) from None
    if name in _PLAIN:
        function.restype, function.argtypes = _PLAIN[name]
    else:
        function.restype, arguments = _FAILING[name]
        function.argtypes = [*arguments, POINTER(POINTER(error))]
    return function


class _Functions:
    """The functions of the library, ``c.version()`` for ``opcraft_version``; each is looked up once."""

    def __getattr__(self, name: str) -> Any:
        if name not in _PLAIN and name not in _FAILING:
            raise AttributeError(name)
        plain = _function(name)
        function = plain if name in _PLAIN else _checked(plain)
        setattr(self, name, function)
        return function


def _checked(function: Any) -> Any:
    """The function without its last argument; raises the error that it stores there."""

    def call(*arguments: Any) -> Any:
        failure = POINTER(error)()
        result = function(*arguments, ctypes.byref(failure))
        if failure:
            raise _take_error(failure)
        return result

    return call


def _take_error(failure: Any) -> "_errors.Error":
    try:
        return _errors.from_c(failure.contents)
    finally:
        lib.error_free(failure)


lib: Any = _Functions()
