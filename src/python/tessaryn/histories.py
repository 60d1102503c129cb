# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""Histories: files of samples that need not fit in memory."""

from __future__ import annotations

import os
from collections.abc import Iterator, Mapping
from typing import NamedTuple

import numpy as np

from . import _native
from ._closing import Closing
from ._native import Rule, StreamType
from ._tables import Time
from .columns import Columns
from .errors import PathNotFoundError


class Layout(NamedTuple):
    """One type of a stream's samples in a history."""

    #: The stream type.
    type: StreamType
    #: The units of the entries that have one.
    units: dict[str, str]
    #: The number of samples of this type.
    rows: int
    #: The first and the last time, UTC, or None if there are no samples.
    first: np.datetime64 | None
    last: np.datetime64 | None


class HistoryStream:
    """A stream of a history, with the queries of a stream. They give columns in order of time."""

    def __init__(self, history: History, path: str, layouts: list[Layout]) -> None:
        self._history = history
        self._path = path
        self._layouts = layouts

    @property
    def path(self) -> str:
        """The path of the stream."""
        return self._path

    @property
    def layouts(self) -> list[Layout]:
        """The types of the stream's samples, in the order in which their first samples arrived, as
        of the time when the stream was looked up."""
        return list(self._layouts)

    @property
    def type(self) -> StreamType:
        """The type of the latest samples."""
        return self._layouts[-1].type

    @property
    def units(self) -> dict[str, str]:
        """The units of the entries that have one."""
        return {name: unit for layout in self._layouts for name, unit in layout.units.items()}

    def __len__(self) -> int:
        return sum(layout.rows for layout in self._layouts)

    def __bool__(self) -> bool:
        return True

    def all(self, *, version: str | None = None) -> Columns:
        """All samples."""
        return self._read(None, None, None, 0, version)

    def between(
        self, since: Time | None, until: Time | None, *, version: str | None = None
    ) -> Columns:
        """The samples from one time to another, both inclusive; None is no limit."""
        return self._read(since, until, None, 0, version)

    def where(
        self,
        rule: Rule | str,
        *,
        since: Time | None = None,
        until: Time | None = None,
        version: str | None = None,
    ) -> Columns:
        """The samples for which a rule holds, as if each were pushed."""
        checked = rule if isinstance(rule, Rule) else Rule(rule)
        return self._read(since, until, checked, 0, version)

    def newest(self, count: int, *, version: str | None = None) -> Columns:
        """The newest samples, up to a number."""
        if count < 1:
            raise ValueError(f"at least 1 sample is needed, not {count}")
        return self._read(None, None, None, count, version)

    def _read(
        self,
        since: Time | None,
        until: Time | None,
        rule: Rule | None,
        newest: int,
        version: str | None,
    ) -> Columns:
        found = self._history._handle.read(self._path, since, until, rule, newest)
        if version is not None:
            found = [each for each in found if each[0] == version]
        if len(found) > 1:
            versions = ", ".join(repr(each[0]) for each in found)
            raise ValueError(
                f"the samples of {self._path!r} are of several types: name a version of {versions}"
            )
        return found[0][1] if found else _empty(self._path, self._type_of(version))

    def _type_of(self, version: str | None) -> StreamType:
        for layout in reversed(self._layouts):
            if version is None or layout.type.version == version:
                return layout.type
        raise ValueError(f"{self._path!r} has no samples of version {version!r}")

    def __repr__(self) -> str:
        kind = f"{self.type.name} {self.type.version}"
        return f"<HistoryStream {self._path!r} of {kind}: {len(self)} samples>"


def _empty(path: str, type: StreamType) -> Columns:
    arrays = {name: np.empty(0, type.dtype[name]) for name in type.entries}
    return Columns(np.empty(0, "M8[us]"), arrays, path)


class History(Closing, Mapping[str, HistoryStream]):
    """A file of samples, opened for reading: a mapping of paths to streams. As a context manager
    it closes itself.

    Others may write meanwhile; each query sees what was committed when it started.
    """

    def __init__(self, path: str | os.PathLike[str]) -> None:
        self._path = os.fspath(path)
        self._handle = _native.HistoryHandle(self._path)

    @property
    def path(self) -> str:
        """The file."""
        return self._path

    def _streams(self) -> dict[str, HistoryStream]:
        return {
            path: HistoryStream(
                self,
                path,
                [
                    Layout(StreamType(name, version, entries), units, rows, first, last)
                    for name, version, entries, units, rows, first, last in layouts
                ],
            )
            for path, layouts in self._handle.streams()
        }

    def __getitem__(self, path: str) -> HistoryStream:
        found = self._streams().get(path)
        if found is None:
            raise PathNotFoundError(f"There is no stream {path!r} in {self._path!r}.")
        return found

    def __iter__(self) -> Iterator[str]:
        return iter(self._streams())

    def __len__(self) -> int:
        return len(self._streams())

    def __bool__(self) -> bool:
        return True

    def close(self) -> None:
        """Close the file. Later queries raise ReferenceError."""
        self._handle.close()

    def __repr__(self) -> str:
        if self._handle.is_closed():
            return f"<History {self._path!r}, closed>"
        streams = [f"{path} ({len(stream)})" for path, stream in self._streams().items()]
        shown = ", ".join(streams[:5]) + (", ..." if len(streams) > 5 else "")
        return f"<History {self._path!r} of {len(streams)} streams: {shown}>"
