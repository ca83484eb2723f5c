# SPDX-License-Identifier: Apache-2.0
"""Packages, parts, relationships and properties: what Python adds to the C interface."""

import copy
import errno
import gc
import hashlib
import io
import os
import pathlib
import pickle
import shutil
import warnings
import xml.etree.ElementTree
import zipfile
from datetime import datetime, timedelta, timezone

import opcraft
import pytest

DOCUMENT = "/word/document.xml"
STYLES = "/word/styles.xml"


def sources(folder):
    data = (folder / "letter.docx").read_bytes()
    unpacked = folder / "unpacked"
    with zipfile.ZipFile("letter.docx") as letter:
        letter.extractall(unpacked)
    return ["letter.docx", folder / "letter.docx", data, bytearray(data), memoryview(data), io.BytesIO(data), unpacked]


def test_every_kind_of_source_is_read_alike(folder):
    results = []
    for source in [*sources(folder), open("letter.docx", "rb")]:
        with opcraft.open(source) as package:
            results.append({name: part.read() for name, part in package.parts.items()})
        if hasattr(source, "close"):
            source.close()
    assert len(results[0]) == 5 and all(each == results[0] for each in results)


def test_parts_are_a_mapping():
    with opcraft.open("letter.docx") as package:
        parts = package.parts
        assert list(parts) == sorted(parts) and len(parts) == 5
        assert DOCUMENT in parts and "/WORD/Document.XML" in parts
        assert "/other.xml" not in parts and "no name" not in parts and 3 not in parts
        assert parts["/WORD/Document.XML"] == parts[DOCUMENT] and parts["/WORD/Document.XML"].name == DOCUMENT
        assert parts.get("/other.xml") is None
        with pytest.raises(KeyError) as raised:
            parts["/other.xml"]
        assert raised.value.kind is opcraft.ErrorKind.PART_NOT_FOUND
        part = parts[STYLES]
        assert (part.content_type, part.size) == (part.info.content_type, len(part.read()))
        assert part.info.stored_size < part.size


@pytest.mark.parametrize(
    ("call", "classes", "kind"),
    [
        (lambda p: opcraft.open("nothing.docx"), (opcraft.NotFound, FileNotFoundError), "PACKAGE_NOT_FOUND"),
        (lambda p: opcraft.open(b"no ZIP file"), (opcraft.InvalidData, ValueError), "DAMAGED_STORE"),
        (lambda p: opcraft.open("letter.docx", "x"), (opcraft.AlreadyExists, FileExistsError), "ALREADY_EXISTS"),
        (
            lambda p: opcraft.open("letter.docx", options=opcraft.Options(limits=opcraft.Limits(items=2))),
            (opcraft.LimitExceeded,),
            "LIMIT_EXCEEDED",
        ),
        (lambda p: p.create_part("/a.xml", "text/xml"), (opcraft.NotPermitted, io.UnsupportedOperation), "PACKAGE_READ_ONLY"),
        (lambda p: opcraft.Part(p, "/a.xml").read(), (opcraft.NotFound, KeyError), "PART_NOT_FOUND"),
        (lambda p: opcraft.Part(p, "a.xml").read(), (opcraft.InvalidData, ValueError), "INVALID_PART_NAME"),
        (lambda p: p.relationships["rId9"], (opcraft.NotFound, KeyError), "RELATIONSHIP_NOT_FOUND"),
        (lambda p: p.resolve(p.parts[DOCUMENT].relationships["rId3"]), (opcraft.NotFound,), "PART_NOT_FOUND"),
        (lambda p: [p.discard(), p.parts[DOCUMENT]], (opcraft.Closed, ValueError), "PACKAGE_NOT_OPEN"),
        (lambda p: [p.discard(), p.__enter__()], (opcraft.Closed, ValueError), "PACKAGE_NOT_OPEN"),
        (lambda p: opcraft.open(io.BytesIO(b"x"), "x"), (opcraft.AlreadyExists, FileExistsError), "ALREADY_EXISTS"),
        (lambda p: opcraft.open("letter.docx", "rw"), (ValueError,), None),
        (lambda p: opcraft.open("letter.docx\0"), (ValueError,), None),
        (lambda p: opcraft.open(b"", "r+"), (TypeError,), None),
        (lambda p: opcraft.open(7), (TypeError,), None),
        (lambda p: opcraft.open(io.StringIO("text")), (TypeError,), None),
        (lambda p: opcraft.open(io.BufferedReader(io.BytesIO()), "r+"), (io.UnsupportedOperation,), None),
        (lambda p: p.parts[DOCUMENT].open("r"), (ValueError,), None),
        (lambda p: p.parts[DOCUMENT].write(5), (TypeError,), None),
    ],
)
def test_failures_are_exceptions_that_users_catch(call, classes, kind):
    with opcraft.open("letter.docx") as package, pytest.raises(Exception) as raised:
        call(package)
    assert all(isinstance(raised.value, each) for each in classes)
    if kind:
        assert isinstance(raised.value, opcraft.Error) and raised.value.kind is opcraft.ErrorKind[kind]
        again = pickle.loads(pickle.dumps(raised.value))
        assert (type(again), vars(again), str(again)) == (type(raised.value), vars(raised.value), raised.value.message)


def test_an_error_knows_its_place_and_number(folder):
    with zipfile.ZipFile("letter.docx") as whole, zipfile.ZipFile("broken.docx", "w") as broken:
        for name in whole.namelist():
            data = whole.read(name)
            broken.writestr(name, data.replace(b'Id="rId1"', b'Id="1"') if name == "_rels/.rels" else data)
    with pytest.raises(opcraft.InvalidData) as raised:
        opcraft.open("broken.docx")
    error = raised.value
    assert (error.element, error.attribute, error.value) == ("Relationship", "Id", "1")
    assert "_rels/.rels" in error.item and error.line >= 1 and error.column >= 1 and error.errno is None
    assert pickle.loads(pickle.dumps(error)).line == error.line
    with opcraft.open("broken.docx", tolerant=True) as package:
        assert DOCUMENT in package.parts
    with pytest.raises(FileNotFoundError) as raised:
        opcraft.open("nothing.docx")
    assert raised.value.errno == 2


def test_values_of_a_newer_library_are_members_of_their_own():
    kind = opcraft.ErrorKind(999)
    assert (kind.name, kind.value, kind) == ("UNKNOWN_999", 999, opcraft.ErrorKind(999))
    assert pickle.loads(pickle.dumps(kind)) is copy.deepcopy(kind) is kind
    with pytest.raises(ValueError):
        opcraft.ErrorKind("nothing")


@pytest.mark.parametrize("how", ["file", "other file", "file object", "bytes object"])
def test_a_block_that_ends_saves_and_one_that_fails_does_not(how, folder):
    before = (folder / "letter.docx").read_bytes()
    output = "other.docx" if how == "other file" else None
    source = {"file object": lambda: open("letter.docx", "r+b"), "bytes object": lambda: io.BytesIO(before)}.get(
        how, lambda: "letter.docx"
    )()

    def result():
        return source.getvalue() if how == "bytes object" else pathlib.Path(output or "letter.docx").read_bytes()

    with pytest.raises(ZeroDivisionError), opcraft.open(source, "r+", output=output) as package:
        package.delete(DOCUMENT)
        package.parts[STYLES].open("wb").write(b"lost")
        1 / 0
    assert package.closed and (output and not os.path.exists(output) or result() == before)
    with opcraft.open(source, "r+", output=output) as package:
        package.parts[DOCUMENT].write("<räd/>")
    if how == "file object":
        source.close()
    with opcraft.open(result()) as package:
        assert package.parts[DOCUMENT].read_text() == "<räd/>"
    if output:
        assert (folder / "letter.docx").read_bytes() == before


class Flaky(io.BytesIO):
    """Takes no more than a thousand bytes as long as it is full."""

    is_full = False

    def write(self, data):
        if self.is_full and self.tell() >= 1000:
            raise OSError(errno.ENOSPC, "full")
        return super().write(data[:1000])


def test_what_a_file_object_does_not_take_is_written_again(folder):
    file = Flaky((folder / "letter.docx").read_bytes())
    package = opcraft.open(file, "r+")
    package.parts[DOCUMENT].write("<new/>")
    file.is_full = True
    for _ in range(2):
        with pytest.raises(OSError, match="full"):
            package.close()
        assert not package.closed
    file.is_full = False
    package.close()
    with opcraft.open(file) as package:
        assert package.parts[DOCUMENT].read() == b"<new/>"
    with opcraft.open(file, "r+") as package:
        package.parts[DOCUMENT].write("<one/>")
        with pytest.raises(opcraft.InUse, match="changed"), opcraft.open(file, "r+") as other:
            package.close()
            other.parts[DOCUMENT].write("<two/>")
    with open("letter.docx", "a+b") as appending, pytest.raises(io.UnsupportedOperation, match="append"):
        opcraft.open(appending, "r+")


def test_a_file_that_is_left_to_the_garbage_collector_or_ended_by_an_exception_is_not_taken_for_whole():
    def forget(package):
        cycle = [io.TextIOWrapper(package.parts[DOCUMENT].open("wb"))]
        cycle[0].write("lost in its buffer")
        cycle.append(cycle)

    def end(package):
        with pytest.raises(InterruptedError), package.parts[DOCUMENT].open("wb") as writer:
            writer.write(b"<half")
            raise InterruptedError

    def end_text(package):
        with pytest.raises(InterruptedError), package.parts[DOCUMENT].open("wb") as writer:
            with io.TextIOWrapper(writer) as text:
                text.write("<half")
                raise InterruptedError

    with opcraft.open("letter.docx", "r+") as package:
        for leave in (forget, end, end_text):
            leave(package)
            gc.collect()
            with pytest.raises(OSError, match="not written to its end"):
                package.close()
        with io.TextIOWrapper(package.parts[DOCUMENT].open("wb")) as text:
            text.write("<whole/>")
    with opcraft.open("letter.docx") as package:
        assert package.parts[DOCUMENT].read() == b"<whole/>"
    package = opcraft.open("letter.docx", "r+")
    forget(package)
    with pytest.warns(ResourceWarning):
        del package
        gc.collect()


@pytest.mark.parametrize("mode", ["w", "x"])
def test_a_new_package_is_there_when_it_is_saved(mode):
    with opcraft.open("new.pkg", mode) as package:
        part = package.create_part("/a.xml", "text/xml", "<a/>", compression=opcraft.Compression.NONE)
        package.relationships.add("http://example.org/a", part)
        package.properties.title = "One"
        package.properties.created = datetime(2026, 1, 31, tzinfo=timezone.utc)
        package.properties.update(title="Two", creator="Ada")
        assert package.properties.title == "Two" and not os.path.exists("new.pkg")
    with opcraft.open("new.pkg") as package:
        assert package.relationships.parts("http://example.org/a") == (package.parts["/a.xml"],)
        assert (package.properties.title, package.properties.creator) == ("Two", "Ada")
        assert package.properties.created.day == 31 and package.lint() == ()


def test_x_replaces_no_file_that_came_meanwhile():
    package = opcraft.open("new.pkg", "x")
    shutil.copy("letter.docx", "new.pkg")
    with pytest.raises(FileExistsError):
        package.close()
    assert not package.closed
    package.discard()
    assert pathlib.Path("new.pkg").read_bytes() == pathlib.Path("letter.docx").read_bytes()


def test_parts_are_changed_moved_and_deleted():
    with opcraft.open("letter.docx", "r+") as package:
        styles = package.parts[STYLES]
        with pytest.raises(opcraft.NotPermitted):
            styles.content_type = "text/xml"
            package.lint()
        moved = styles.move("/word/looks.xml")
        assert moved in package.parts[DOCUMENT].relationships.parts() and STYLES not in package.parts
        assert moved.content_type == moved.info.content_type == "text/xml"
        package.delete("/docProps/app.xml")
        with pytest.raises(KeyError):
            package.delete("/docProps/app.xml")
    with opcraft.open("letter.docx") as package:
        assert list(package.parts) == ["/docProps/core.xml", DOCUMENT, "/word/looks.xml", "/word/media/bar.png"]
        assert package.relationships["rId3"].dangling


def test_parts_are_file_objects():
    text = hashlib.sha256(b"x").hexdigest().encode() * 200_000  # 12.8 MB, more than a block
    with opcraft.open("letter.docx", "r+") as package:
        part = package.parts[DOCUMENT]
        assert xml.etree.ElementTree.parse(part.open()).getroot().tag.endswith("}document")
        with part.open() as stream:
            assert (stream.readable(), stream.writable(), stream.seekable()) == (True, False, False)
            assert stream.read(5) == b"<?xml" and len(stream.readline()) > 10
            with pytest.raises(opcraft.InUse):
                part.open()
        for length in (0, 5, len(text)):
            with part.open("wb") as stream:
                shutil.copyfileobj(io.BytesIO(text[:length]), stream)
            assert part.read() == text[:length]
            part.write(memoryview(text)[:length])
            with part.open() as stream, io.BytesIO() as copied:
                shutil.copyfileobj(stream, copied)
                assert copied.getvalue() == text[:length]
        forgotten = part.open("wb")
        forgotten.write(b"not forgotten")
        with pytest.raises(opcraft.InUse, match="not closed"):
            package.close()
        forgotten.close()
    with opcraft.open("letter.docx") as package:
        stream = package.parts[DOCUMENT].open()
        lost = package.parts[STYLES].open()
        del lost
        assert package.parts[STYLES].read(), "the part is free when its file is lost"
        assert stream.read() == b"not forgotten"
    assert stream.closed


def test_relationships_are_values():
    with opcraft.open("letter.docx", "r+") as package:
        relationships = package.parts[DOCUMENT].relationships
        assert [each.id for each in relationships] == ["rId1", "rId2", "rId3"] and "rId1" in relationships
        added = relationships.add("http://example.org/x", "https://example.org/ä", external=True)
        [found] = relationships.by_type("http://example.org/x")
        assert found == added == pickle.loads(pickle.dumps(found)) and added in relationships and added.external
        assert relationships.retarget("rId1", package.parts["/docProps/app.xml"]).resolved == "/docProps/app.xml"
        assert package.resolve(relationships["rId1"]).name == "/docProps/app.xml"
        relationships.remove(added)
        relationships.remove("rId2")
        assert len(relationships) == 2 and len(package.all_relationships()) == 5
        with pytest.raises(opcraft.InvalidData):
            relationships.add("", "/a")


def test_properties_are_attributes():
    with opcraft.open("letter.docx", "r+") as package:
        properties = package.properties
        assert properties.created == datetime(2026, 1, 31, 10, tzinfo=timezone.utc) and properties.category is None
        properties.modified = datetime(2026, 2, 1, 1, 2, 3, 400_500, tzinfo=timezone(timedelta(hours=2)))
        assert properties.modified == datetime(2026, 1, 31, 23, 2, 3, 400_500, tzinfo=timezone.utc)
        properties.keywords = ["a", opcraft.Keyword("b", "de")]
        assert properties.keywords == (opcraft.Keyword("a"), opcraft.Keyword("b", "de"))
        del properties.creator
        properties.update(title=None, subject="S", keywords=())
        there = {name: value for name, value in properties.as_dict().items() if value}
        assert sorted(there) == ["created", "modified", "subject"] and properties.part == "/docProps/core.xml"
        for change, expected in [
            (lambda: setattr(properties, "titel", "x"), AttributeError),
            (lambda: setattr(properties, "title", 3), TypeError),
            (lambda: setattr(properties, "title", "a\0b"), ValueError),
            (lambda: setattr(properties, "created", datetime.now()), ValueError),
            (lambda: setattr(properties, "created", "2026"), TypeError),
            (lambda: setattr(properties, "keywords", "word"), TypeError),
        ]:
            with pytest.raises(expected):
                change()


def test_a_store_of_the_programs_own(dictionary):
    with opcraft.open(dictionary, "w") as package:
        package.create_part("/a.xml", "text/xml", b"<a/>")
    assert dictionary.items["/a.xml"] == b"<a/>" and dictionary.items[None].startswith(b"<?xml")
    with opcraft.open(dictionary) as package:
        assert package.parts["/a.xml"].read() == b"<a/>" and package.parts["/a.xml"].size is None
    assert dictionary.closed == [False, True]


@pytest.mark.parametrize(
    ("method", "failure", "expected"),
    [
        ("open", KeyError("none"), FileNotFoundError),
        ("open", PermissionError(13, "no"), PermissionError),
        ("parts", OSError(28, "full"), opcraft.Error),
        ("open_read", TypeError("a mistake"), opcraft.Error),
        ("open_read", KeyboardInterrupt(), KeyboardInterrupt),
        ("open_write", ValueError("a mistake"), opcraft.Error),
        ("close", OSError(28, "full"), OSError),
        ("close", KeyboardInterrupt(), KeyboardInterrupt),
    ],
)
def test_what_a_store_raises_is_the_cause(dictionary, method, failure, expected):
    with opcraft.open(dictionary, "w") as package:
        package.create_part("/a.xml", "text/xml", b"<a/>")
    dictionary.failure[method] = failure
    with pytest.raises(expected) as raised, opcraft.open(dictionary, "r+") as package:
        package.parts["/a.xml"].write(b"<b/>")
    if isinstance(failure, Exception):
        assert raised.value.__cause__ is failure
        assert not isinstance(failure, OSError) or raised.value.errno == failure.errno


def test_what_was_not_written_whole_is_not_saved(dictionary):
    with opcraft.open(dictionary, "w") as package:
        package.create_part("/a.xml", "text/xml", b"<a/>")
        package.properties.title = "S"
    with opcraft.open(dictionary, "r+") as package:
        dictionary.failure["open_write"] = OSError(28, "full")
        with pytest.raises(OSError):
            package.parts["/a.xml"].write(b"<b/>")
        with pytest.raises(OSError):
            package.properties.title = "T"
        dictionary.failure.clear()
        for part, content in [("/a.xml", b"<c/>"), (package.properties.part, None)]:
            with pytest.raises(OSError, match=f"{part}: "):
                package.close()
            package.parts[part].write(content) if content else package.properties.update(title="T")
    with opcraft.open(dictionary) as package:
        assert package.parts["/a.xml"].read() == b"<c/>" and package.properties.title == "T"


def test_what_is_lost_is_freed_and_an_open_package_is_told_of():
    with warnings.catch_warnings(record=True) as told:
        warnings.simplefilter("always")
        part = opcraft.open("letter.docx").parts[DOCUMENT]
        stream = part.open()
        del part  # the stream keeps the package
        assert stream.read(5) == b"<?xml" and not told
        del stream
        gc.collect()
    assert [each.category for each in told] == [ResourceWarning]
