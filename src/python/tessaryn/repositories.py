# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""Repositories of stream types and of streams."""

from __future__ import annotations

import html
import os
from collections.abc import Iterator, Mapping

from . import _native
from ._closing import Closing
from ._native import StreamType
from .errors import PathNotFoundError, VersionNotFoundError
from .stream import Stream


class TypeVersions(Mapping[str, StreamType]):
    """The versions of a stream type in a repository, ascending."""

    def __init__(self, store: _native.TypeStore, path: str) -> None:
        self._store = store
        self._path = path

    @property
    def path(self) -> str:
        """The path in the repository, which is the name of the types."""
        return self._path

    @property
    def latest(self) -> StreamType:
        """The type of the highest version."""
        found = self._store.find(self._path, None)
        if found is None:
            self._versions()
            raise VersionNotFoundError(f"{self._path!r} has no version.")
        return found

    def _versions(self) -> list[str]:
        versions = self._store.versions(self._path)
        if versions is None:
            raise ReferenceError(f"The types {self._path!r} are no longer in their repository.")
        return versions

    def __getitem__(self, version: str) -> StreamType:
        # Compares texts: as a version, "255.255.65535" would mean the latest one.
        if version not in self._versions():
            raise VersionNotFoundError(f"{self._path!r} has no version {version!r}.")
        found = self._store.find(self._path, version)
        if found is None:
            raise VersionNotFoundError(f"{self._path!r} has no version {version!r}.")
        return found

    def __iter__(self) -> Iterator[str]:
        return iter(self._versions())

    def __len__(self) -> int:
        return len(self._versions())

    def __repr__(self) -> str:
        return f"<TypeVersions of {self._path!r}: {', '.join(self._versions())}>"


class TypeRepository(Mapping[str, TypeVersions]):
    """Stream types by path. A new repository has the type "Any", which has no entries."""

    def __init__(self, separator: str = "/") -> None:
        self._store = _native.TypeStore(separator)

    @classmethod
    def _of(cls, store: _native.TypeStore) -> TypeRepository:
        repository = cls.__new__(cls)
        repository._store = store
        return repository

    def add(self, type: StreamType) -> TypeVersions:
        """Add a version of a type, under its name. If the version exists, it must be equal."""
        self._store.add(type.name, type)
        return self[type.name]

    def remove(self, path: str, version: str | None = None) -> None:
        """Remove a type, or one version of it. Types that a stream uses cannot be removed."""
        if not self._store.remove(path, version):
            raise PathNotFoundError(f"There is no type {path!r}.")

    def __getitem__(self, path: str) -> TypeVersions:
        if self._store.versions(path) is None:
            raise PathNotFoundError(f"There is no type {path!r}.")
        return TypeVersions(self._store, path)

    def __iter__(self) -> Iterator[str]:
        return iter(self._store.paths())

    def __len__(self) -> int:
        return len(self._store.paths())

    def __eq__(self, other: object) -> bool:
        return isinstance(other, TypeRepository) and self._store is other._store

    def __hash__(self) -> int:
        return hash(self._store)

    def __repr__(self) -> str:
        return f"<TypeRepository of {len(self)} types: {', '.join(self)}>"


class StreamRepository(Closing, Mapping[str, Stream]):
    """Streams by path, such as "plant/line1". As a context manager it closes itself."""

    def __init__(self, types: TypeRepository | None = None, *, separator: str = "/") -> None:
        store = TypeRepository(separator)._store if types is None else types._store
        self._store = _native.StreamStore(store, separator)

    @classmethod
    def _of(cls, store: _native.StreamStore) -> StreamRepository:
        repository = cls.__new__(cls)
        repository._store = store
        return repository

    @property
    def types(self) -> TypeRepository:
        """The repository of the streams' types."""
        return TypeRepository._of(self._store.types)

    def add(self, path: str, type: StreamType, capacity: int) -> Stream:
        """Add a stream with this capacity. Its type is added to the types."""
        self._store.add(path, type, capacity)
        return self[path]

    @property
    def only(self) -> Stream:
        """The only stream of the repository; raises ValueError unless there is exactly one."""
        paths = list(self)
        if len(paths) != 1:
            raise ValueError(f"the repository has {len(paths)} streams, not one")
        return self[paths[0]]

    def save(self, path: str | os.PathLike[str]) -> None:
        """As tessaryn.save."""
        from .files import save

        save(path, self)

    def remove(self, path: str) -> None:
        """Remove a stream, or a group with all streams below it. Later uses of these streams raise
        ReferenceError."""
        if not self._store.remove(path):
            raise PathNotFoundError(f"There is no stream {path!r}.")

    def clear(self) -> None:
        """Remove all streams."""
        self._store.clear()

    def close(self) -> None:
        """Remove all streams; every later use raises ReferenceError."""
        self._store.close()

    def __getitem__(self, path: str) -> Stream:
        return Stream._of(self._store, path)

    def __contains__(self, path: object) -> bool:
        return isinstance(path, str) and self._store.contains(path)

    def __iter__(self) -> Iterator[str]:
        return iter(self._store.paths())

    def __len__(self) -> int:
        return len(self._store.paths())

    def __eq__(self, other: object) -> bool:
        return isinstance(other, StreamRepository) and self._store is other._store

    def __hash__(self) -> int:
        return hash(self._store)

    def __bool__(self) -> bool:
        # An empty repository is true as well.
        return True

    def __repr__(self) -> str:
        if self._store.is_closed:
            return "<StreamRepository, closed>"
        paths = list(self)
        shown = ", ".join(paths[:5]) + (", ..." if len(paths) > 5 else "")
        return f"<StreamRepository of {len(paths)} streams{': ' if paths else ''}{shown}>"

    def _rows(self) -> list[tuple[str, str, str, str]]:
        rows = []
        for path in self:
            try:
                stream = self[path]
                time = stream.all().time if len(stream) else None
            except (LookupError, ReferenceError):
                continue
            kind = f"{stream.type.name} {stream.type.version}"
            span = "" if time is None or not len(time) else f"{time[0]} to {time[-1]}"
            rows.append((path, kind, str(len(stream)), span))
        return rows

    def __str__(self) -> str:
        if self._store.is_closed:
            return repr(self)
        rows = [("stream", "type", "samples", "time (UTC)"), *self._rows()]
        widths = [max(len(row[i]) for row in rows) for i in range(4)]
        lines = [
            "  ".join(text.ljust(width) for text, width in zip(row, widths)).rstrip()
            for row in rows
        ]
        return "\n".join(lines)

    def _repr_html_(self) -> str:
        if self._store.is_closed:
            return f"<p>{html.escape(repr(self))}</p>"
        head = "<tr><th>stream</th><th>type</th><th>samples</th><th>time (UTC)</th></tr>"
        rows = [
            "<tr>" + "".join(f"<td>{html.escape(text)}</td>" for text in row) + "</tr>"
            for row in self._rows()
        ]
        return f"<table>{head}{''.join(rows)}</table>"
