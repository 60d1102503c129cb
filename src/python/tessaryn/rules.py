# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""Checks of rules."""

from __future__ import annotations

from typing import NamedTuple

from ._native import Rule, StreamType


class Finding(NamedTuple):
    """A part of a rule that probably does not have the intended effect, or that raises."""

    #: The kind of mistake, such as "missing entry" or "never holds".
    kind: str
    #: The entry, property, function, literal or operator in question.
    name: str
    #: A sentence that describes the mistake.
    message: str
    #: The position in characters, from 0.
    position: int
    #: The number of wrong characters.
    length: int
    #: A suggestion, or an empty text.
    hint: str
    #: Whether evaluating the rule raises, so that the push of a sample would.
    can_raise: bool


def check(rule: Rule | str, type: StreamType) -> list[Finding]:
    """The findings for a rule on samples of a type, in the order of its text. A correct rule has
    none, but a rule with findings may be intended."""
    checked = rule if isinstance(rule, Rule) else Rule(rule)
    return [Finding(*finding) for finding in checked._check(type)]
