# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""Conditions of subscriptions: which changes are delivered, depending on earlier ones.

They are chained with |: each gets the changes that the one before lets through.

    stream.subscribe(conditions=deadband("level", 0.5) | min_interval("10s"))

They run in C++ on the pushing thread, so that changes that they hold back cost little. Times are
those of the samples; a sample older than the latest one seen is ignored and counted as late.
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
    """Lets a change through when an entry, of any type and size, differs from the last one."""
    return _native.on_change(entry)


def deadband(entry: str, limit: float, range: tuple[float, float] | None = None) -> Condition:
    """Lets a change through when an element of a numeric entry differs from the last one let
    through by more than a limit.

    The limit is in the entry's unit or, with a range (low, high), in percent of it.
    """
    return _native.deadband(entry, limit, range)


def hysteresis(entry: str, on: float, off: float) -> Condition:
    """Passes the first value at or beyond `on`, then the first at or beyond `off`, and so on."""
    return _native.hysteresis(entry, on, off)


def rising(rule: RuleLike) -> Condition:
    """Lets a change through when a rule becomes true. It counts as false before the first."""
    return _native.rising(_rule(rule))


def falling(rule: RuleLike) -> Condition:
    """Lets a change through when a rule becomes false."""
    return _native.falling(_rule(rule))


def held_for(rule: RuleLike, duration: Span) -> Condition:
    """Lets one change through when a rule has been true without a break for a time."""
    return _native.held_for(_rule(rule), duration)


def min_interval(interval: Span) -> Condition:
    """Lets at most one change through in an interval. The latest of those held back follows with
    the next change, or with Subscription.flush()."""
    return _native.min_interval(interval)


def every_nth(n: int) -> Condition:
    """Lets the first change and each n-th after it through."""
    return _native.every_nth(n)
