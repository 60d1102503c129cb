# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""What is wrong with rules."""

from __future__ import annotations

from typing import NamedTuple

from ._native import Rule, StreamType


class Finding(NamedTuple):
    """Something in a rule that cannot have the effect its author wants, or that raises."""

    #: What is wrong, such as "missing entry" or "never holds".
    kind: str
    #: The entry, property, function, literal or operator in question.
    name: str
    #: A sentence for the rule's author.
    message: str
    #: Where, in characters from 0.
    position: int
    #: Characters that are wrong.
    length: int
    #: What may have been meant, or an empty text.
    hint: str
    #: Whether to ask the rule raises, so that the push of a sample would.
    can_raise: bool


def check(rule: Rule | str, type: StreamType) -> list[Finding]:
    """What is wrong with a rule for samples of a type, in the order of its text. A sound rule has
    no findings; one that has may be meant so."""
    checked = rule if isinstance(rule, Rule) else Rule(rule)
    return [Finding(*finding) for finding in checked._check(type)]
