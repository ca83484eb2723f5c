# SPDX-License-Identifier: Apache-2.0
"""What is wrong with packages, and how it is mended."""

import ctypes
import os
from dataclasses import dataclass
from typing import Any, Iterable, Optional, Tuple, Union

from . import _c, _convert
from ._enums import Severity, Take
from ._stores import Options, Source, on_store


@dataclass(frozen=True)
class Rule:
    """A rule that a package can break.

    Attributes:
        name: Of the standard, "M1.26", or of the library, "dangling-target".
        severity: How bad it is.
        subject: What it is about.
        summary: It, in one sentence.
        remedy: What to do about it.
    """

    name: str
    severity: Severity
    subject: str
    summary: str
    remedy: str


@dataclass(frozen=True)
class Finding:
    """Something that is wrong with a package. What is not known is None.

    Attributes:
        rule: That is broken.
        blocks: The package cannot be opened because of it, but tolerantly.
        message: One sentence, without the item.
        item: The part or other item; None for the package as a whole.
        line: In the XML of the item, the first being 1.
        column: In UTF-16 units, the first being 1.
        element: The name of the XML element as it is written.
        attribute: The name of the attribute that is wrong.
        value: Of the attribute, or the text of the element.
        id: The Id of the element.
    """

    rule: Rule
    blocks: bool
    message: str
    item: Optional[str]
    line: Optional[int]
    column: Optional[int]
    element: Optional[str]
    attribute: Optional[str]
    value: Optional[str]
    id: Optional[str]

    @property
    def severity(self) -> Severity:
        """That of the rule."""
        return self.rule.severity


@dataclass(frozen=True)
class RepairStep:
    """Something that can be mended.

    Attributes:
        finding: What is wrong.
        change: What the step does, in one sentence.
        loss: What is lost by it; None: nothing.
        deletes: It is applied only when ``only`` or ``take`` says so.
        applies: Whether it is applied.
        why: Why it does not apply; None when it does.
    """

    finding: Finding
    change: str
    loss: Optional[str]
    deletes: bool
    applies: bool
    why: Optional[str]


@dataclass(frozen=True)
class RepairPlan:
    """How a package can be mended.

    Attributes:
        applied: What applies is done.
        steps: What can be mended.
        broken_signatures: The parts and items with signatures that do not hold afterwards.
        left: Errors for which there is no step.
    """

    applied: bool
    steps: Tuple[RepairStep, ...]
    broken_signatures: Tuple[str, ...]
    left: Tuple[Finding, ...]


def read_findings(found: Any) -> Tuple[Finding, ...]:
    """What an ``opcraft_finding_list`` holds."""
    return tuple(_convert.value(Finding, each) for each in _convert.items(found.findings, found.count))


def rules() -> Tuple[Rule, ...]:
    """All rules that packages are held to."""
    count = ctypes.c_size_t()
    found = _c.lib.rules(ctypes.byref(count))
    return tuple(_convert.value(Rule, each) for each in _convert.items(found, count.value))


def lint(
    source: Source, *, contents: bool = True, rules: Iterable[str] = (), options: Optional[Options] = None
) -> Tuple[Finding, ...]:
    """Holds a package to all rules.

    Args:
        source: The package, as :func:`opcraft.open` takes it.
        contents: Whether more is read than by a package that is opened.
        rules: The names of those that count; none: all.
        options: Limits, monitor and others.
    """
    names, count = _convert.texts(rules)
    settings = _c.lint_options(without_contents=not contents, rules=names, rule_count=count)
    return on_store(
        source,
        options,
        lambda store: _convert.take(_c.lib.lint(store, settings), _c.lib.finding_list_free, read_findings),
    )


def repair(
    source: Source,
    *,
    apply: bool = False,
    only: Iterable[str] = (),
    take: Take = Take.NEITHER,
    break_signatures: bool = False,
    output: Union[None, str, "os.PathLike[str]"] = None,
    options: Optional[Options] = None,
) -> RepairPlan:
    """How what is wrong with a package can be mended without guessing; with ``apply``, mends it in one save.

    Args:
        source: The package, as :func:`opcraft.open` takes it.
        apply: Whether anything is changed.
        only: The names of the rules that are mended. What loses something is mended only when its rule is named.
        take: Which of several items or entries of one name stays.
        break_signatures: Without it, a signed package is not changed.
        output: A file that is written instead of the one that was opened.
        options: Limits, monitor and others.
    """
    names, count = _convert.texts(only)
    settings = _c.repair_options(
        only=names, only_count=count, take=take, breaks_signatures=break_signatures, apply=apply
    )
    return on_store(
        source,
        options,
        lambda store: _convert.take(
            _c.lib.repair(store, settings), _c.lib.repair_plan_free, lambda plan: _convert.value(RepairPlan, plan)
        ),
        output=output,
        changes=apply,
    )
