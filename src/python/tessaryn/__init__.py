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
from .errors import (
    EmptyStreamError,
    EntryNotFoundError,
    PathNotFoundError,
    RuleSyntaxError,
    TessarynError,
    VersionNotFoundError,
)
from .repositories import StreamRepository, TypeRepository, TypeVersions
from .rules import Finding, check
from .sample import Sample
from .stream import Stream

__all__ = [
    "Columns",
    "EmptyStreamError",
    "EntryNotFoundError",
    "Finding",
    "PathNotFoundError",
    "Rule",
    "RuleSyntaxError",
    "Sample",
    "Stream",
    "StreamRepository",
    "StreamType",
    "TessarynError",
    "TypeRepository",
    "TypeVersions",
    "VersionNotFoundError",
    "__version__",
    "check",
    "errors",
]
