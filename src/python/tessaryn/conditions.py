# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""Conditions of subscriptions: which changes are delivered, depending on earlier ones.

They are put together with |, each given what the one before lets through:

    stream.subscribe(conditions=deadband("level", 0.5) | min_interval("10s"))

They run where a sample is pushed, in C++, so that what they hold back costs nothing. Time is that
of the samples; one older than the latest seen is ignored, and counted as late.
"""

from __future__ import annotations

from typing import TYPE_CHECKING

from . import _native
from ._native import Condition, Rule
from ._tables import Span

if TYPE_CHECKING:
    from .stream import RuleLike

__all__ = [
    "Condition",
    "deadband",
    "every_nth",
    "falling",
    "held_for",
    "hysteresis",
    "min_interval",
    "on_change",
    "rising",
]


def _rule(rule: RuleLike) -> Rule:
    return rule if isinstance(rule, Rule) else Rule(rule)


def on_change(entry: str) -> Condition:
    """Changes of an entry, of any type and size."""
    return _native.on_change(entry)


def deadband(entry: str, limit: float, range: tuple[float, float] | None = None) -> Condition:
    """An element of a numeric entry is further than a limit from what was let through last.

    The limit is in the entry's unit or, with a range (low, high), in percent of it.
    """
    return _native.deadband(entry, limit, range)


def hysteresis(entry: str, on: float, off: float) -> Condition:
    """The first value at or beyond `on`, then the first at or beyond `off`, and so on."""
    return _native.hysteresis(entry, on, off)


def rising(rule: RuleLike) -> Condition:
    """The change with which a rule becomes true. It counts as false before the first."""
    return _native.rising(_rule(rule))


def falling(rule: RuleLike) -> Condition:
    """The change with which a rule stops being true."""
    return _native.falling(_rule(rule))


def held_for(rule: RuleLike, duration: Span) -> Condition:
    """The change with which a rule has been true for so long without a break, once."""
    return _native.held_for(_rule(rule), duration)


def min_interval(interval: Span) -> Condition:
    """One change an interval at most. The latest of those held back follows with the next change,
    or with Subscription.flush()."""
    return _native.min_interval(interval)


def every_nth(n: int) -> Condition:
    """The first change and each n-th after it."""
    return _native.every_nth(n)
