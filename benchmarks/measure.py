# SPDX-License-Identifier: Apache-2.0
"""measure.py TASK FILE: does a task in Python, and prints the seconds that it took and the bytes of memory at its peak."""

import re
import sys
import time

import opcraft


def read(file):
    """The huge part in blocks."""
    size = 0
    buffer = bytearray(64 * 1024)
    with opcraft.open(file) as package, package.parts["/huge.bin"].open() as part:
        while count := part.readinto(buffer):
            size += count
    assert size == 1 << 30


def list_parts(file):
    with opcraft.open(file) as package:
        entries = [(part.name, part.content_type, part.size) for part in package.parts.values()]
    assert len(entries) == 10_000


task, file = sys.argv[1:]
start = time.perf_counter()
{"read": read, "list": list_parts}[task](file)
taken = time.perf_counter() - start
with open("/proc/self/status") as status:
    peak = int(re.search(r"VmHWM:\s+(\d+)", status.read())[1]) * 1024
print(taken, peak)
