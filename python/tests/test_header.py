# SPDX-License-Identifier: Apache-2.0
"""What Python says of the C interface is what the header says, by a C program that is compiled with it."""

import ctypes
import re
import subprocess

from conftest import TOP
from opcraft import _c, _enums, _version

HEADER = (TOP / "include" / "opcraft" / "opcraft.h").read_text(encoding="utf-8")
CODE = re.sub(r"/\*.*?\*/", "", HEADER, flags=re.S)
STRUCTS = re.findall(r"typedef struct opcraft_(\w+) \{", CODE)
ENUMERATORS = re.findall(r"\b(OPCRAFT_[A-Z0-9_]+)\s*=", CODE)

# The enumerations of Python by what the names of their values begin with.
PREFIXES = {
    "ERROR": _enums.ErrorKind,
    "TAKE": _enums.Take,
    "MODE": _enums.Mode,
    "COMPRESSION": _enums.Compression,
    "PROPERTY": _enums.PropertyKind,
    "SEVERITY": _enums.Severity,
    "DIFFERENCE": _enums.DifferenceKind,
    "CONTENT": _enums.ContentDifference,
    "SIGNATURE": _enums.SignatureChange,
    "DIGEST": _enums.Digest,
    "FORM": _enums.SignatureForm,
    "COVERAGE": _enums.Coverage,
    "TIME": _enums.ValidationTime,
    "VERDICT": _enums.Verdict,
    "VOUCHER": _enums.Voucher,
    "REFERENCE": _enums.ReferenceKind,
}


def struct_of(name):
    return getattr(_c, name, None) or getattr(_c, name + "_")


def members_of_header(name):
    body = re.search(rf"typedef struct opcraft_{name} \{{(.*?)\}} opcraft_{name};", CODE, flags=re.S)[1]
    declared = [each for each in body.split(";") if each.strip()]
    return [(re.search(r"\(\*(\w+)\)", each) or re.search(r"(\w+)\s*$", each))[1] for each in declared]


def lines_of_c():
    for name in STRUCTS:
        yield f'printf("{name} %zu\\n", sizeof(opcraft_{name}));'
        for member in members_of_header(name):
            place = f"offsetof(opcraft_{name}, {member}), sizeof(((opcraft_{name} *)0)->{member})"
            yield f'printf("{name}.{member} %zu %zu\\n", {place});'
    for enumerator in ENUMERATORS:
        yield f'printf("{enumerator} %d\\n", (int){enumerator});'


def lines_of_python():
    for name in STRUCTS:
        struct = struct_of(name)
        yield f"{name} {ctypes.sizeof(struct)}"
        for member, *_ in struct._fields_:
            place = getattr(struct, member)
            yield f"{name}.{member} {place.offset} {place.size}"
    for enumerator in ENUMERATORS:
        prefix, _, name = enumerator[len("OPCRAFT_") :].partition("_")
        enum = PREFIXES[prefix]
        if prefix == "REFERENCE" and name not in enum.__members__:
            enum = _enums.ReferenceVerdict
        yield f"{enumerator} {enum[name].value}"


def test_structures_and_enumerations_are_those_of_the_header(folder):
    program = "\n".join(["#include <opcraft/opcraft.h>", "#include <stdio.h>", "int main(void) {", *lines_of_c(), "}"])
    (folder / "layout.c").write_text(program)
    subprocess.run(["gcc", "-std=c99", "-Werror", "-I", TOP / "include", "layout.c", "-o", "layout"], check=True)
    printed = subprocess.run(["./layout"], check=True, capture_output=True, text=True).stdout
    assert len(STRUCTS) > 10 and len(ENUMERATORS) > 50
    assert list(lines_of_python()) == printed.splitlines()


def test_nothing_is_left_out_on_either_side():
    structs = {each for each in vars(_c).values() if isinstance(each, type) and issubclass(each, _c.Struct)}
    assert structs - {_c.Struct} == {struct_of(name) for name in STRUCTS}
    values = sum(len(enum) for enum in {*PREFIXES.values(), _enums.ReferenceVerdict})
    assert values == len(ENUMERATORS)
    functions = re.findall(r"OPCRAFT_C_API [^;(]*?opcraft_(\w+)\(([^;]*?)\);", CODE, flags=re.S)
    known = {**_c._PLAIN, **_c._FAILING}
    for name, arguments in functions:
        count = len(known[name][1]) + (name in _c._FAILING)
        assert (name, count) == (name, 0 if arguments == "void" else arguments.count(",") + 1)
        assert (name in _c._FAILING) == ("opcraft_error**" in arguments), name
    assert {name for name, _ in functions} == set(known)


def test_the_version_is_that_of_the_library():
    assert _version.VERSION == _c.lib.version().decode()
