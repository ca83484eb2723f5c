# SPDX-License-Identifier: Apache-2.0
"""What tests share: a folder of their own with a letter and, where they ask for them, keys and a signed letter."""

import pathlib
import shutil
import subprocess

import opcraft
import pytest

TOP = pathlib.Path(__file__).resolve().parents[2]


@pytest.fixture(autouse=True)
def folder(tmp_path, monkeypatch):
    shutil.copy(TOP / "examples" / "letter.docx", tmp_path)
    monkeypatch.chdir(tmp_path)
    return tmp_path


@pytest.fixture(scope="session")
def made_keys(tmp_path_factory):
    made = tmp_path_factory.mktemp("keys")
    request = "req -x509 -newkey rsa:2048 -noenc -keyout key.pem -out cert.pem -subj /CN=Ada -addext keyUsage=digitalSignature"
    for command in (request, "pkey -in key.pem -pubout -out public.pem", "x509 -in cert.pem -outform DER -out cert.der"):
        subprocess.run(["openssl", *command.split()], cwd=made, check=True, capture_output=True)
    return made


@pytest.fixture
def keys(made_keys, folder):
    """key.pem, cert.pem, cert.der and public.pem."""
    for name in made_keys.iterdir():
        shutil.copy(name, folder)


@pytest.fixture
def dictionary():
    """A store that keeps a package in a dictionary, and fails on request."""
    import io

    class Writer(io.BytesIO):
        def __init__(self, items, name):
            super().__init__()
            self.items, self.name = items, name

        def close(self):
            if not self.closed:
                self.items[self.name] = self.getvalue()
            super().close()

    class Dictionary(opcraft.Store):
        def __init__(self):
            self.items, self.failure, self.closed = {}, {}, []

        def fail(self, method):
            if method in self.failure:
                raise self.failure[method]

        def open(self, mode):
            self.fail("open")
            if mode is opcraft.Mode.CREATE:
                self.items = {}

        def close(self, discard):
            self.closed.append(discard)
            self.fail("close")

        def parts(self):
            self.fail("parts")
            return [name for name in self.items if name is not None]

        def open_read(self, name):
            self.fail("open_read")
            return io.BytesIO(self.items[name])

        def open_write(self, name):
            self.fail("open_write")
            return Writer(self.items, name)

        def create(self, name, content_type):
            self.fail("create")
            self.items[name] = b""

        def remove(self, name):
            del self.items[name]

    return Dictionary()
