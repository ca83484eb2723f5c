# SPDX-License-Identifier: Apache-2.0
"""Findings, repairs, differences and signatures as values; and the examples of the guide and of docstrings."""

import dataclasses
import doctest
import importlib
import io
import pickle
import pkgutil
import shutil
import subprocess
from datetime import datetime, timedelta, timezone
from pathlib import Path

import opcraft
import pytest
from conftest import TOP

DOCUMENT = "/word/document.xml"


def check_value(report):
    """It is frozen all the way down, and survives another process."""
    assert pickle.loads(pickle.dumps(report)) == report
    with pytest.raises(dataclasses.FrozenInstanceError):
        setattr(report, dataclasses.fields(report)[0].name, None)
    hash(report)
    return report


@pytest.fixture
def broken(folder):
    with opcraft.open("letter.docx", "r+", output="broken.docx") as package:
        package.parts[DOCUMENT].relationships.add("http://example.org/x", "/word/Media/bar.png")
    return "broken.docx"


def test_rules_and_findings(broken):
    rules = {check_value(rule).name: rule for rule in opcraft.rules()}
    assert len(rules) > 50 and rules["target-case"].severity in opcraft.Severity and rules["target-case"].remedy
    for source in (broken, Path(broken).read_bytes()):
        [finding] = opcraft.lint(source)
        check_value(finding)
        assert finding.rule == rules["target-case"] and not finding.blocks
        assert finding.item == "/word/_rels/document.xml.rels" and finding.line and finding.id == "rId4"
    assert opcraft.lint(broken, rules=["dangling-target"]) == ()
    with opcraft.open(broken) as package:
        assert package.lint() == (finding,) and package.findings == ()
    with pytest.raises(TypeError):
        opcraft.lint(broken, rules="target-case")
    with pytest.raises(opcraft.Error):
        opcraft.lint(broken, rules=["no rule"])


def test_repair_changes_only_what_it_is_asked_to(broken):
    content = io.BytesIO(Path(broken).read_bytes())
    plan = check_value(opcraft.repair(content))
    assert not plan.applied and [step.applies for step in plan.steps] == [True]
    assert plan.steps[0].finding.rule.name == "target-case" and content.getvalue() == Path(broken).read_bytes()
    assert opcraft.repair(content, apply=True).applied and opcraft.lint(content) == ()
    opcraft.repair(broken, apply=True, output="mended.docx")
    assert len(opcraft.lint(broken)) == 1 and opcraft.lint("mended.docx") == ()
    with pytest.raises(TypeError):
        opcraft.repair(content.getvalue(), apply=True)


def test_differences(dictionary):
    with opcraft.open("letter.docx", "r+", output="other.docx") as package:
        package.parts["/word/styles.xml"].write("<styles/>")
        package.properties.title = "Other"
        package.create_part("/new.bin", "application/octet-stream", b"new")
    report = check_value(opcraft.compare("letter.docx", "other.docx"))
    assert not report.equal and opcraft.compare("letter.docx", Path("letter.docx").read_bytes()).equal
    parts = {part.name: part for part in report.parts}
    assert parts["/new.bin"].kind is opcraft.DifferenceKind.ADDED and parts["/new.bin"].name_before is None
    assert "+<styles" in parts["/word/styles.xml"].lines
    assert [(each.name, each.after) for each in report.properties] == [("title", "Other")]
    with opcraft.open(dictionary, "w") as package:
        package.create_part("/new.bin", "application/octet-stream", b"new")
    assert opcraft.compare(dictionary, "other.docx", lines=False).compared_parts == 1
    dictionary.failure["open"] = KeyError("gone")
    with pytest.raises(FileNotFoundError) as raised:
        opcraft.compare("other.docx", dictionary)
    assert raised.value.__cause__ is dictionary.failure["open"]


@pytest.mark.parametrize(
    ("given", "verdict", "voucher"),
    [
        ({"trust": "cert.pem"}, "VALID", "TRUSTED_CERTIFICATE"),
        ({"trust": lambda: Path("cert.der").read_bytes()}, "VALID", "TRUSTED_CERTIFICATE"),
        ({"trust": ["cert.der", "cert.pem"]}, "VALID", "TRUSTED_CERTIFICATE"),
        ({"trust": "cert.pem", "signers": ["CN=Ada"]}, "VALID", "TRUSTED_CERTIFICATE"),
        ({"trust": "cert.pem", "signers": ["CN=Bob"]}, "INVALID", "TRUSTED_CERTIFICATE"),
        ({"public_key": "public.pem"}, "VALID", "GIVEN_KEY"),
        ({"allow_untrusted": True}, "VALID", "UNTRUSTED_CERTIFICATE"),
        ({}, "INVALID", "UNTRUSTED_CERTIFICATE"),
        ({"trust": "cert.pem", "time": datetime(2000, 1, 1, tzinfo=timezone.utc)}, "INVALID", "UNTRUSTED_CERTIFICATE"),
    ],
)
def test_who_vouches_for_a_signature(keys, given, verdict, voucher):
    opcraft.sign("letter.docx", key="key.pem", certificate="cert.pem")
    given = {name: value() if callable(value) else value for name, value in given.items()}
    verification = check_value(opcraft.verify("letter.docx", **given))
    [signature] = verification.signatures
    assert (verification.verdict.name, signature.voucher.name) == (verdict, voucher)
    assert bool(verification) == (verdict == "VALID") and signature.holds and signature.complete
    assert abs(signature.time - datetime.now(timezone.utc)) < timedelta(minutes=10)
    if "public_key" not in given:  # else the certificate does not count
        assert signature.certificate.subject == "CN=Ada" and signature.certificate.not_after > signature.time
        assert signature.certificate.der == Path("cert.der").read_bytes()
    assert DOCUMENT in signature.covered_parts and not signature.uncovered_parts


def test_signing_where_it_is_asked_for(keys):
    before = Path("letter.docx").read_bytes()
    content = io.BytesIO(before)
    result = check_value(opcraft.sign(content, key="key.pem", certificate="cert.pem", digest=opcraft.Digest.SHA512))
    assert (result.name, result.parts) == ("sig1", 5)
    assert "sha512" in opcraft.verify(content, trust="cert.pem").signatures[0].algorithm
    assert opcraft.unsign(content, "sig1") == 1 and opcraft.verify(content).verdict is opcraft.Verdict.UNSIGNED
    with pytest.raises(KeyError):
        opcraft.unsign(content, "sig1")
    opcraft.sign("letter.docx", key="key.pem", parts=[DOCUMENT], output="signed.docx")
    assert Path("letter.docx").read_bytes() == before
    assert opcraft.verify("signed.docx", public_key="public.pem").verdict is opcraft.Verdict.INCOMPLETE
    with pytest.raises(TypeError):
        opcraft.sign("letter.docx", signer=lambda digest, data: b"")
    with pytest.raises(opcraft.Error):
        opcraft.sign("letter.docx")


@pytest.mark.parametrize("failure", [None, RuntimeError("no token"), KeyboardInterrupt(), b"no signature", "text"])
def test_a_function_signs(keys, failure):
    before = Path("letter.docx").read_bytes()

    def signer(digest, data):
        if isinstance(failure, BaseException):
            raise failure
        command = ["openssl", "dgst", "-" + digest.name.lower(), "-sign", "key.pem"]
        return failure or subprocess.run(command, input=data, check=True, capture_output=True).stdout

    def sign():
        opcraft.sign("letter.docx", signer=signer, public_key="public.pem", certificate="cert.pem")

    if failure is None:
        sign()
        assert opcraft.verify("letter.docx", trust="cert.pem")
        return
    with pytest.raises(KeyboardInterrupt if isinstance(failure, KeyboardInterrupt) else opcraft.Error) as raised:
        sign()
    assert Path("letter.docx").read_bytes() == before
    if isinstance(failure, Exception):
        assert raised.value.__cause__ is failure


def test_the_examples_of_the_guide(keys):
    shutil.copy("letter.docx", "signed.docx")
    opcraft.sign("signed.docx", key="key.pem", certificate="cert.pem")
    guide = (TOP / "docs" / "python.md").read_text(encoding="utf-8")
    text = "\n".join("" if line.startswith("```") else line for line in guide.splitlines())
    example = doctest.DocTestParser().get_doctest(text, {}, "python.md", None, 0)
    result = doctest.DocTestRunner(optionflags=doctest.REPORT_NDIFF).run(example)
    assert (result.failed, result.attempted > 30) == (0, True)


def test_the_examples_of_docstrings():
    modules = [opcraft, *(importlib.import_module(f"opcraft.{each.name}") for each in pkgutil.iter_modules(opcraft.__path__))]
    results = [doctest.testmod(module) for module in modules]
    assert sum(result.attempted for result in results) > 0 and not any(result.failed for result in results)
