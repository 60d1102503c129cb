# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""Streams."""

from __future__ import annotations

from typing import TYPE_CHECKING, Union

from . import _native
from ._native import Rule, StreamType
from ._tables import Span, Time, microseconds, span_microseconds
from .columns import Columns
from .errors import EmptyStreamError
from .sample import Sample

if TYPE_CHECKING:
    from .repositories import StreamRepository

RuleLike = Union[Rule, str]


class Stream(_native.StreamHandle):
    """A bounded buffer of the newest samples of one type.

    A stream lives in a repository; this constructor makes one for it alone. When the stream is
    removed from its repository, or that is closed, its operations raise ReferenceError.
    """

    def __init__(self, type: StreamType, capacity: int) -> None:
        store = _native.StreamStore(_native.TypeStore("/"), "/")
        store.add(type.name, type, capacity)
        super().__init__(store, type.name)

    @classmethod
    def _of(cls, store: _native.StreamStore, path: str) -> Stream:
        stream = cls.__new__(cls)
        _native.StreamHandle.__init__(stream, store, path)
        return stream

    @property
    def repository(self) -> StreamRepository:
        """The repository that the stream is in."""
        from .repositories import StreamRepository

        return StreamRepository._of(self.store)

    def latest(self) -> Sample:
        """The newest sample, which is the one that was pushed last."""
        latest = self._latest()
        if latest is None:
            raise EmptyStreamError(f"The stream {self.path!r} has no sample.")
        return Sample(self.type, *latest)

    def all(self) -> Columns:
        """All samples."""
        return self._columns(None, None, None)

    def between(self, since: Time | None, until: Time | None) -> Columns:
        """The samples from one time to another, both included; None is no limit."""
        return self._columns(since, until, None)

    def where(
        self, rule: RuleLike, *, since: Time | None = None, until: Time | None = None
    ) -> Columns:
        """The samples for which a rule holds, as if each were pushed."""
        return self._columns(since, until, rule if isinstance(rule, Rule) else Rule(rule))

    def __bool__(self) -> bool:
        # An empty stream is not the absence of one.
        return True

    def __repr__(self) -> str:
        if not self.is_alive:
            return f"<Stream {self.path!r}, removed>"
        kind = f"{self.type.name} {self.type.version}"
        return f"<Stream {self.path!r} of {kind}: {len(self)} of {self.capacity} samples>"
