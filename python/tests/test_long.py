# SPDX-License-Identifier: Apache-2.0
"""Threads, interrupts, cancelling and memory."""

import hashlib
import io
import os
import shutil
import signal
import subprocess
import sys
import threading
import time

import opcraft
import pytest

NAME = "/big.bin"


@pytest.fixture(scope="module")
def made_big(tmp_path_factory):
    """A package with a part of 67 MB, which takes a while to be read."""
    path = tmp_path_factory.mktemp("big") / "big.pkg"
    block = b"".join(hashlib.sha256(b"%d" % i).hexdigest().encode() for i in range(16_384))
    with opcraft.open(path, "w") as package:
        part = package.create_part(NAME, "application/octet-stream", compression=opcraft.Compression.FAST)
        with part.open("wb") as stream:
            for _ in range(64):
                stream.write(block)
    return path


@pytest.fixture
def big(made_big):
    shutil.copy(made_big, ".")
    return "big.pkg"


def read_in_one_call(package):
    opcraft._c.lib.bytes_free(package._read(opcraft._c.lib.part_read, NAME.encode(), 0))


def test_threads_work_on_packages_of_their_own_and_on_one(big):
    with opcraft.open(big) as package:
        expected = hashlib.sha256(package.parts[NAME].read()).digest()
    shared = opcraft.open("letter.docx")
    results = []

    def work():
        with opcraft.open(big) as package, package.parts[NAME].open() as part:
            digest = hashlib.sha256()
            for block in iter(lambda: part.read(1 << 16), b""):
                digest.update(block)
            names = [name for name in shared.parts if shared.parts[name].relationships is not None]
            results.append((digest.digest(), len(names), shared.properties.title))

    threads = [threading.Thread(target=work) for _ in range(8)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    shared.close()
    assert results == [(expected, 5, "A letter in a package")] * 8


def test_the_library_works_without_the_interpreter_lock(big):
    """Python goes on while the library inflates 67 MB in one call."""
    steps, ready = [], threading.Event()

    def work():
        with opcraft.open(big) as package:
            ready.set()
            read_in_one_call(package)
            ready.clear()

    thread = threading.Thread(target=work)
    thread.start()
    ready.wait()
    while ready.is_set():
        steps.append(time.monotonic())
        time.sleep(0.001)
    thread.join()
    assert len(steps) > 5


def test_a_monitor_counts_and_cancels(big):
    monitor = opcraft.Monitor()
    options = opcraft.Options(monitor=monitor)
    with opcraft.open(big, options=options) as package:
        assert len(package.parts[NAME].read()) == 1 << 26
        assert monitor.bytes_read >= 1 << 26
        with package.parts[NAME].open() as part, pytest.raises(opcraft.Cancelled):
            part.read(1)
            monitor.cancel()
            part.read()
    before = os.stat(big)
    with pytest.raises(opcraft.Cancelled), opcraft.open(big, "r+", options=options) as package:
        package.parts[NAME].write(b"")
    assert os.stat(big).st_mtime_ns == before.st_mtime_ns and sorted(os.listdir()) == ["big.pkg", "letter.docx"]


def test_a_key_interrupt_ends_a_long_call(big):
    """While the library alone is busy, in one call of some tenths of a second."""
    with opcraft.open(big) as package:
        timer = threading.Timer(0.02, os.kill, (os.getpid(), signal.SIGINT))
        timer.start()
        with pytest.raises(KeyboardInterrupt):
            package._store.call_long(lambda: read_in_one_call(package))
            pytest.fail("it was not interrupted")
        with pytest.raises(opcraft.Cancelled):
            package.parts[NAME].read()


def test_memory_does_not_grow_over_10_000_packages():
    program = """
import gc, opcraft
def resident():
    gc.collect()
    return int(open("/proc/self/statm").read().split()[1]) * 4096
def use(i):
    with opcraft.open("letter.docx") as package:
        if i % 10:
            return
        [part.size for part in package.parts.values()]
        package.relationships.parts()
        package.properties.title
        with package.parts["/word/document.xml"].open() as part:
            part.read()
    try:
        package.parts["/other"]
    except opcraft.Error:
        pass
    try:
        opcraft.open("nothing.docx")
    except opcraft.Error:
        pass
for i in range(1000):
    use(i)
before = resident()
for i in range(9000):
    use(i)
print(resident() - before)
"""
    grown = subprocess.run([sys.executable, "-c", program], check=True, capture_output=True, text=True).stdout
    assert int(grown) < 2 << 20


def test_a_key_interrupt_ends_a_store_of_the_programs_own(dictionary):
    """Wherever it comes: in the store, in the library, or where one calls the other."""
    with opcraft.open(dictionary, "w") as package:
        package.create_part(NAME, "application/octet-stream", b"0123456789" * 100_000)

    class Slow(io.BytesIO):
        def read(self, size):
            return super().read(100)

    dictionary.open_read = lambda name: Slow(dictionary.items[name])
    for i in range(20):
        timer = threading.Timer(0.002 * i, os.kill, (os.getpid(), signal.SIGINT))
        with pytest.raises(KeyboardInterrupt), opcraft.open(dictionary) as package:
            timer.start()
            while True:
                assert len(package.parts[NAME].read()) == 1_000_000
    assert signal.getsignal(signal.SIGINT) is signal.default_int_handler
