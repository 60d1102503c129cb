# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""Streams."""

from __future__ import annotations

from collections.abc import Callable, Mapping
from typing import TYPE_CHECKING, Any, Union

import numpy as np
import numpy.typing as npt

from . import _native
from ._native import Condition, Rule, StreamType
from ._tables import Span, Time, Times, rows_of
from .columns import Columns
from .errors import EmptyStreamError, EntryNotFoundError
from .sample import Sample
from .subscription import Change, Policy, Subscription, Timeout

if TYPE_CHECKING:
    import pandas as pd  # type: ignore[import]

    from .repositories import StreamRepository

RuleLike = Union[Rule, str]


class Stream(_native.StreamHandle):
    """A bounded buffer of the newest samples of one type.

    A stream lives in a repository; this constructor makes a repository for it. When the stream is
    removed from its repository, or the repository is closed, its operations raise ReferenceError.
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
            raise self._empty()
        return Sample(self.type, *latest)

    def push_many(
        self,
        data: pd.DataFrame | Mapping[str, Any] | npt.NDArray[np.void],
        *,
        time: Times | None = None,
    ) -> None:
        """Push rows given as columns: a DataFrame, a mapping of arrays, a structured array, or
        the columns of another stream. Other threads see all rows or none.

        Each column is an entry. ``time`` gives the times or names their column; otherwise they are
        the index of a DataFrame if it holds times, the column "time", or the only column of times
        that is not an entry. Without any of these, all rows are stamped now.
        """
        self._push_columns(*rows_of(self.type.entries, data, time))

    def change_latest(
        self,
        values: Mapping[str, Any] | None = None,
        /,
        *,
        time: Time | None = None,
        notify: bool = True,
        **entries: Any,
    ) -> None:
        """Set entries of the newest sample; the others stay. Like a push, this stamps the sample
        with the time of the call unless one is given. Subscribers are notified if ``notify``."""
        if not self._change_latest({**(values or {}), **entries}, time, notify):
            raise self._empty()

    def pop_latest(self) -> Sample:
        """Remove the newest sample."""
        popped = self._pop_latest()
        if popped is None:
            raise self._empty()
        return Sample(self.type, *popped)

    def all(self) -> Columns:
        """All samples."""
        return self._columns(None, None, None)

    def last(self, span: Span, *, until: Time | None = None) -> Columns:
        """The samples of the last ``span`` of time, such as "60s", before now or before a time."""
        return self._last(span, until)

    def between(self, since: Time | None, until: Time | None) -> Columns:
        """The samples from one time to another, both inclusive; None is no limit."""
        return self._columns(since, until, None)

    def where(
        self, rule: RuleLike, *, since: Time | None = None, until: Time | None = None
    ) -> Columns:
        """The samples for which a rule holds, as if each were pushed."""
        return self._columns(since, until, rule if isinstance(rule, Rule) else Rule(rule))

    def _empty(self) -> EmptyStreamError:
        return EmptyStreamError(f"The stream {self.path!r} has no sample.")
    def subscribe(
        self,
        rule: RuleLike | None = None,
        callback: Callable[[Change], object] | None = None,
        *,
        history: bool = False,
        capacity: int = 1024,
        policy: Policy = "drop_oldest",
        max_wait: Span = "100ms",
        conditions: Condition | None = None,
        timeout: Timeout = None,
    ) -> Subscription:
        """Changes of this stream, now and later, for which a rule holds.

            with stream.subscribe("level > 3") as changes:
                for change in changes:
                    print(change.sample["level"])

        A callback is called for each change, on its own thread. No Python code runs on the pushing
        thread or while the stream is locked.

        With ``history``, the samples that the stream holds come first. At most ``capacity``
        changes wait. For a full queue the ``policy`` decides: "drop_oldest", "drop_newest",
        "keep_latest" (only one waits, whatever the capacity), or "wait": the pusher waits up to
        ``max_wait`` with the stream locked, then its own change is dropped. With a ``timeout``,
        in seconds or as a duration, an iteration ends when no change has arrived for that time; it
        can be continued.
        """
        return Subscription(
            self,
            Rule(rule) if isinstance(rule, str) else rule,
            callback,
            history=history,
            capacity=capacity,
            policy=policy,
            max_wait=max_wait,
            conditions=conditions,
            timeout=timeout,
        )

    @property
    def units(self) -> dict[str, str]:
        """The units of the entries that have one, from a file or from set_units."""
        return self.store.units(self.path)

    def set_units(self, units: Mapping[str, str] | None = None, /, **more: str) -> None:
        """Set the units of entries, such as temperature="°C", for tables and plots."""
        given = {**(units or {}), **more}
        for name in given:
            if name not in self.type:
                raise EntryNotFoundError(f"{self.type.name!r} has no entry {name!r}.")
        for name, unit in given.items():
            self.store.set_unit(self.path, name, unit)

    def plot(
        self,
        *entries: str,
        since: Time | None = None,
        until: Time | None = None,
        units: Mapping[str, str] | None = None,
        axes: Any = None,
    ) -> list[Any]:
        """Draw numeric entries over time with matplotlib: those named, or all.

        Entries of one unit share axes. The result is the list of axes; pass such a list, or a
        single one, to draw into it.
        """
        from . import _show

        known = {**self.units, **(units or {})}
        drawn: list[Any] = _show.plot(self.between(since, until), entries, known, axes)
        return drawn

    def _repr_html_(self) -> str:
        from . import _show

        return _show.stream_html(self)

    def __bool__(self) -> bool:
        # An empty stream is true as well.
        return True

    def __repr__(self) -> str:
        if not self.is_alive:
            return f"<Stream {self.path!r}, removed>"
        kind = f"{self.type.name} {self.type.version}"
        return f"<Stream {self.path!r} of {kind}: {len(self)} of {self.capacity} samples>"
