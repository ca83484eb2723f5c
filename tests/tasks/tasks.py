# SPDX-License-Identifier: Apache-2.0
"""The tasks of TASKS.md in Python."""

import datetime
import hashlib
import shutil
import sys

import opcraft

DOCUMENT = "/word/document.xml"
OFFICE_DOCUMENT = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument"


def count_parts():
    with opcraft.open("letter.docx") as letter:
        return len(letter.parts)


def list_parts():
    with opcraft.open("letter.docx") as letter:
        return ", ".join(f"{part.name} {part.content_type}" for part in letter.parts.values())


def read_text():
    with opcraft.open("letter.docx") as letter:
        text = letter.parts["/docProps/app.xml"].read_text()
    return f"{len(text.encode())}, {text.splitlines()[-1]}"


def stream():
    with opcraft.open("large.zip", "w") as package:
        package.create_part("/large.bin", "application/octet-stream", bytes(i % 251 for i in range(10_000_000)))
    digest = hashlib.sha256()
    with opcraft.open("large.zip") as package, package.parts["/large.bin"].open() as part:
        for block in iter(lambda: part.read(1 << 16), b""):
            digest.update(block)
    return digest.hexdigest()


def create():
    with opcraft.open("new.zip", "w") as package:
        hello = package.create_part("/hello.txt", "text/plain", "Hello, world!")
        package.relationships.add("http://example.org/hello", hello)
    with opcraft.open("new.zip") as package:
        [relationship] = package.relationships.by_type("http://example.org/hello")
        target = package.resolve(relationship)
        return f"{relationship.id}, {target.name}, {target.read_text()}"


def add():
    with opcraft.open("letter.docx", "r+", output="added.docx") as letter:
        item = letter.create_part("/customXml/item1.xml", "application/xml", "<item/>")
        letter.parts[DOCUMENT].relationships.add("http://example.org/item", item)
    with opcraft.open("added.docx") as added:
        [relationship] = added.parts[DOCUMENT].relationships.by_type("http://example.org/item")
        return f"{relationship.id}, {relationship.target}, {len(added.parts)}"


def change():
    with opcraft.open("added.docx", "r+") as added:
        added.parts["/customXml/item1.xml"].write("<item>Grüße</item>")
    with opcraft.open("added.docx") as added:
        return added.parts["/customXml/item1.xml"].read_text()


def delete():
    with opcraft.open("letter.docx", "r+", output="deleted.docx") as letter:
        letter.delete("/word/media/bar.png")
        letter.parts[DOCUMENT].relationships.remove("rId2")
    with opcraft.open("deleted.docx") as deleted:
        return f"{len(deleted.parts)}, {len(deleted.parts[DOCUMENT].relationships)}"


def main_document():
    with opcraft.open("letter.docx") as letter:
        [document] = letter.relationships.parts(OFFICE_DOCUMENT)
        return f"{document.name} {document.content_type}"


def describe(properties):
    times = (f"{time:%Y-%m-%dT%H:%M:%SZ}" for time in (properties.created, properties.modified))
    return ", ".join([properties.title, properties.creator, *times])


def read_properties():
    with opcraft.open("letter.docx") as letter:
        return describe(letter.properties)


def set_properties():
    with opcraft.open("letter.docx", "r+", output="titled.docx") as letter:
        letter.properties.title = "Grüße"
        letter.properties.modified = datetime.datetime(2026, 2, 3, 4, 5, 6, tzinfo=datetime.timezone.utc)
        letter.properties.keywords = [opcraft.Keyword("note", "en")]
    with opcraft.open("titled.docx") as titled:
        [keyword] = titled.properties.keywords
        return f"{describe(titled.properties)}, {keyword.text}, {keyword.language}"


def rules(findings):
    return ", ".join(finding.rule.name for finding in findings)


def lint():
    with opcraft.open("letter.docx", "r+", output="broken.docx") as letter:
        for target in ("/word/Media/bar.png", "/word/gone.xml"):
            letter.parts[DOCUMENT].relationships.add("http://example.org/broken", target)
    return rules(opcraft.lint("broken.docx"))


def repair():
    plan = opcraft.repair("broken.docx", apply=True)
    applied = rules(step.finding for step in plan.steps if step.applies)
    return f"{applied}, left: {rules(opcraft.lint('broken.docx'))}"


def diff():
    differences = opcraft.compare("letter.docx", "added.docx")
    parts = (f"{each.kind.name.lower()} {each.name}" for each in differences.parts)
    relationships = (f"{each.kind.name.lower()} {each.source} {each.target}" for each in differences.relationships)
    return ", ".join([*parts, *relationships])


def sign():
    shutil.copy("letter.docx", "signed.docx")
    opcraft.sign("signed.docx", key="key.pem", certificate="cert.pem")
    [signature] = opcraft.verify("signed.docx", trust="cert.pem").signatures
    vouched = signature.voucher is opcraft.Voucher.TRUSTED_CERTIFICATE
    with opcraft.open("signed.docx", "r+") as signed:
        signed.parts["/word/styles.xml"].write("<forged/>")
    [forged] = opcraft.verify("signed.docx", trust="cert.pem").signatures
    words = ("valid" if signature.holds and vouched else "invalid", signature.subject)
    return ", ".join([*words, "complete" if signature.complete else "incomplete", "valid" if forged.holds else "invalid"])


sys.stdout.reconfigure(encoding="utf-8")
for task in (
    *(count_parts, list_parts, read_text, stream, create, add, change, delete, main_document),
    *(read_properties, set_properties, lint, repair, diff, sign),
):
    print(f"{task.__name__.replace('_', '-')}: {task()}", flush=True)
