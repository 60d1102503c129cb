# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""Streams of timestamped, typed samples: types, streams, rules and queries.

    >>> import tessaryn
    >>> tank = tessaryn.StreamType("Tank", level="Double", alarm="Bool")
    >>> streams = tessaryn.StreamRepository()
    >>> line = streams.add("plant/line1", tank, capacity=1000)
    >>> line.push(level=3.5)
    >>> line.where("level > 3")["level"]
    array([3.5])

Times without a zone are UTC.
"""

from . import errors as errors
from ._native import Rule, StreamType, __version__
from .columns import Columns
from .conditions import (
    Condition,
    deadband,
    every_nth,
    falling,
    held_for,
    hysteresis,
    min_interval,
    on_change,
    rising,
)
from .errors import (
    EmptyStreamError,
    EntryNotFoundError,
    PathNotFoundError,
    RuleSyntaxError,
    TessarynError,
    VersionNotFoundError,
)
from .files import read, save
from .histories import History, HistoryStream, Layout
from .repositories import StreamRepository, TypeRepository, TypeVersions
from .rules import Finding, check
from .sample import Sample
from .stream import Stream
from .subscription import Change, Statistics, Subscription

__all__ = [
    "Change",
    "Columns",
    "Condition",
    "EmptyStreamError",
    "EntryNotFoundError",
    "Finding",
    "History",
    "HistoryStream",
    "Layout",
    "PathNotFoundError",
    "Rule",
    "RuleSyntaxError",
    "Sample",
    "Statistics",
    "Stream",
    "StreamRepository",
    "StreamType",
    "Subscription",
    "TessarynError",
    "TypeRepository",
    "TypeVersions",
    "VersionNotFoundError",
    "__version__",
    "check",
    "deadband",
    "errors",
    "every_nth",
    "falling",
    "held_for",
    "hysteresis",
    "min_interval",
    "on_change",
    "read",
    "rising",
    "save",
]
