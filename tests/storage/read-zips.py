# SPDX-License-Identifier: Apache-2.0
"""read-zips.py FOLDER DOCUMENT: reads the main document of packages with zipfile and unzip, as programs do that know
no more of packages than ZIP and relationships. Fails when one of them reads another document than DOCUMENT out of
FOLDER/accepted-*, or when too few find another one in FOLDER/refused-* for the check to be worth anything."""
import os
import re
import subprocess
import sys
import tempfile
import zipfile
from urllib.parse import unquote

folder, document = sys.argv[1:]


def stored(file):
    return zipfile.ZipFile(file).read


def unpacked(unpack):
    def reader(file):
        target = tempfile.mkdtemp(dir=temporary)
        unpack(file, target)

        def read(name):
            with open(os.path.join(target, name), "rb") as item:
                return item.read()

        return read

    return reader


def unzip(file, target):
    subprocess.run(["unzip", "-o", "-qq", file, "-d", target], stdin=subprocess.DEVNULL, capture_output=True,
                   env={**os.environ, "LC_ALL": "C.UTF-8"}, check=False)


def verdict(reader, file):
    try:
        read = reader(file)
        target = re.search("Target='/?([^']*)'", read("_rels/.rels").decode())[1]
        return "same" if read(unquote(target)) == document.encode() else "other"
    except (OSError, KeyError, NotImplementedError, RuntimeError, TypeError, ValueError, zipfile.BadZipFile):
        return "none"


readers = {
    "zipfile": stored,
    "zipfile, unpacked": unpacked(lambda file, target: zipfile.ZipFile(file).extractall(target)),
    "unzip": unpacked(unzip),
}
failed = False
with tempfile.TemporaryDirectory() as temporary:
    for name, reader in readers.items():
        verdicts = {file: verdict(reader, os.path.join(folder, file)) for file in sorted(os.listdir(folder))}
        accepted = {file: found for file, found in verdicts.items() if file.startswith("accepted-")}
        others = [file for file, found in verdicts.items() if found == "other" and file not in accepted]
        wrong = [file for file, found in accepted.items() if found == "other"]
        print(f"{name}: {len(others)} of {len(verdicts) - len(accepted)} are another document: {others}")
        print(f"{name}: accepted: {[file for file in accepted if accepted[file] != 'same']} are not read as here")
        failed |= bool(wrong) or len(others) < 5 or list(accepted.values()).count("same") < len(accepted) / 2
sys.exit(failed)
