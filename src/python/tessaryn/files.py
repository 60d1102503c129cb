# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""Files of types and streams."""

from __future__ import annotations

import os
from pathlib import Path
from typing import Union

import numpy as np

from . import _csv_tables, _native
from ._native import StreamType
from .histories import History
from .repositories import StreamRepository
from .stream import Stream

FilePath = Union[str, "os.PathLike[str]"]
_ENDINGS = ".csv, .tsv, .ndjson, .json, .xml or .db"


def read(path: FilePath) -> StreamRepository:
    """Read a file as a repository of streams. Its ending gives the format.

    ".json" and ".xml" are documents of types and streams. ".db" is a history, which is read into
    memory as a whole; History reads parts of it. ".csv" and ".tsv" have one stream, named after
    the file. ".ndjson" has a JSON object on each line, with the key "time" and optionally
    "stream".

    The time of a table is the column "time", "timestamp", "datetime" or "date", else the first one
    that holds times. A title such as "p [bar]" contains a unit. Times are ISO 8601 or numbers from
    the Unix epoch, UTC unless they name a zone. A column of numbers with a missing one ("", "-",
    "NA", "NaN", "null") becomes a Double, with NaN.
    """
    file = Path(path)
    ending = file.suffix.lower()
    if ending in (".json", ".xml"):
        return StreamRepository._of(_native.load_document(str(file)))
    if ending == ".db":
        return _read_history(file)
    if ending in (".csv", ".tsv"):
        return _of_tables({file.stem: _csv_tables.read_csv(file)})
    if ending == ".ndjson":
        return _of_tables(_csv_tables.read_ndjson(file))
    raise ValueError(f"'{file}' does not end in {_ENDINGS}")


def save(path: FilePath, data: StreamRepository | Stream) -> None:
    """Write a repository, or that of a stream, to a file. Its ending gives the format.

    ".json" and ".xml" keep everything, and replace the file in one step. ".db" creates a history;
    the file must not exist. ".csv" holds one stream.
    """
    file = Path(path)
    ending = file.suffix.lower()
    streams = data.repository if isinstance(data, Stream) else data
    if ending in (".json", ".xml"):
        _native.save_document(str(file), streams._store)
    elif ending == ".db":
        if file.exists():
            raise FileExistsError(f"'{file}' exists already")
        _native.save_history(str(file), streams._store)
    elif ending == ".csv":
        _save_csv(file, data if isinstance(data, Stream) else data.only)
    else:
        raise ValueError(f"'{file}' does not end in .json, .xml, .db or .csv")


def _save_csv(file: Path, stream: Stream) -> None:
    columns = stream.all()
    for name, values in columns.items():
        if values.ndim > 1 or (values.dtype == object and stream.type.entries[name][0] != "String"):
            raise ValueError(f"a .csv file cannot hold {name!r}, whose values are arrays")
    units = stream.units
    _csv_tables.write_csv(
        file, columns.time, [(name, units.get(name, ""), columns[name]) for name in columns]
    )


def _read_history(file: Path) -> StreamRepository:
    streams = StreamRepository()
    with History(file) as history:
        for path, stored in history.items():
            stream = streams.add(path, stored.type, max(len(stored), 1))
            stream.push_many(stored.all())
            stream.set_units(stored.units)
    return streams


def _of_tables(tables: dict[str, _csv_tables.Table]) -> StreamRepository:
    streams = StreamRepository()
    for path, table in tables.items():
        type = StreamType(path, "1.0.0", table.entries)
        stream = streams.add(path, type, max(len(table.times), 1))
        if table.times:
            stream.push_many(table.columns, time=np.array(table.times, np.int64).view("M8[us]"))
        stream.set_units(table.units)
    return streams
