# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""Tables as text: separated values, and JSON lines."""

from __future__ import annotations

import csv
import json
import math
import re
from collections.abc import Iterable
from pathlib import Path
from typing import Any

import numpy as np
import numpy.typing as npt

from ._tables import microseconds

_MISSING = frozenset(("", "-", "na", "n/a", "nan", "null"))
_TIME_TITLES = ("time", "timestamp", "datetime", "date")
_TITLE = re.compile(r"(.*\S)\s*(?:\[([^\[\]]*)\]|\(([^()]*)\))")
_NUMBER = re.compile(r"[+-]?(\d+\.?\d*|\.\d+)([eE][+-]?\d+)?|[+-]?inf(inity)?", re.IGNORECASE)
_INTEGER = re.compile(r"[+-]?\d+")


class Table:
    """The rows of one stream: times in microseconds, entries with their columns, and units."""

    def __init__(self) -> None:
        self.times: list[int] = []
        self.entries: dict[str, tuple[str, int]] = {}
        self.columns: dict[str, Any] = {}
        self.units: dict[str, str] = {}


def read_csv(path: Path) -> Table:
    """The table of a file of separated values."""
    with path.open(encoding="utf-8-sig", newline="") as file:
        lines = [line for line in file if not line.startswith("#") and line.strip()]
    if not lines:
        raise ValueError(f"{path}: the file has no header")
    reader = csv.reader(lines, delimiter=_delimiter(lines), skipinitialspace=True, strict=True)
    try:
        header, *rows = list(reader)
    except csv.Error as error:
        raise ValueError(f"{path}: {error}") from None
    for number, row in enumerate(rows, 1):
        if len(row) != len(header):
            raise ValueError(f"{path}: row {number} has {len(row)} fields, not {len(header)}")
    cells = [[row[i].strip() for row in rows] for i in range(len(header))]
    table = Table()
    titles = [_split_title(title) for title in header]
    index = _time_column(path, [name for name, _ in titles], cells)
    table.times = [
        _time(path, number, cell, titles[index][1]) for number, cell in enumerate(cells[index], 1)
    ]
    for i, (name, unit) in enumerate(titles):
        if i != index:
            _add(path, table, name, unit, cells[i])
    return table


def _delimiter(lines: list[str]) -> str:
    # The delimiter that splits most of the first lines into the same number of fields.
    def agreement(delimiter: str) -> tuple[int, int]:
        counts = [len(row) for row in csv.reader(lines[:50], delimiter=delimiter)]
        common = max(set(counts), key=counts.count)
        return (counts.count(common), common) if common > 1 else (0, 0)

    return max((",", ";", "\t", "|"), key=agreement)


def _split_title(title: str) -> tuple[str, str]:
    match = _TITLE.fullmatch(title.strip())
    name, unit = (match[1], match[2] or match[3] or "") if match else (title.strip(), "")
    # Only names that rules can contain.
    name = re.sub(r"\W+", "_", name).strip("_") or "column"
    return (f"_{name}" if name[0].isdigit() else name), unit


def _time_column(path: Path, names: list[str], cells: list[list[str]]) -> int:
    for title in _TIME_TITLES:
        for i, name in enumerate(names):
            if name.lower() == title:
                return i
    for i, column in enumerate(cells):
        if column and all(_parse_time(cell) is not None for cell in column):
            return i
    raise ValueError(f"{path}: no column holds times; name one of them 'time'")


def _parse_time(cell: str) -> int | None:
    try:
        return microseconds(cell)
    except (ValueError, OverflowError):
        return None


def _time(path: Path, number: int, cell: str, unit: str) -> int:
    parsed = _parse_time(cell)
    if parsed is None and _NUMBER.fullmatch(cell) and math.isfinite(float(cell)):
        parsed = _epoch(cell, unit)
    if parsed is None:
        raise ValueError(f"{path}: row {number}: {cell!r} is not a timestamp")
    return parsed


def _epoch(cell: str, unit: str) -> int:
    # Numbers count from the Unix epoch. Without a unit it is inferred from their size.
    factors = {"s": (1_000_000, 1), "ms": (1000, 1), "us": (1, 1), "µs": (1, 1), "ns": (1, 1000)}
    if unit not in factors:
        size = abs(float(cell))
        unit = "s" if size < 1e11 else "ms" if size < 1e14 else "us" if size < 1e17 else "ns"
    factor, divisor = factors[unit]
    if _INTEGER.fullmatch(cell):
        return int(cell) * factor // divisor
    return round(float(cell) * factor / divisor)


def _add(path: Path, table: Table, name: str, unit: str, cells: list[str]) -> None:
    if name in table.entries:
        raise ValueError(f"{path}: two columns are named {name!r}")
    present = [cell for cell in cells if cell.lower() not in _MISSING]
    if unit:
        table.units[name] = unit
    if not present or not _NUMBER.fullmatch(present[0]):
        table.entries[name] = ("String", 0)
        table.columns[name] = cells
        return
    wrong = next((cell for cell in present if not _NUMBER.fullmatch(cell)), None)
    if wrong is not None:
        raise ValueError(
            f"{path}: row {cells.index(wrong) + 1}: {name}: {wrong!r} is not a number"
        )
    if len(present) == len(cells) and all(_INTEGER.fullmatch(cell) for cell in cells):
        numbers = [int(cell) for cell in cells]
        if -(2**63) <= min(numbers) and max(numbers) < 2**63:
            table.entries[name] = ("Int64", 1)
            table.columns[name] = np.array(numbers, np.int64)
            return
    table.entries[name] = ("Double", 1)
    table.columns[name] = np.array(
        [math.nan if cell.lower() in _MISSING else float(cell) for cell in cells]
    )


def write_csv(path: Path, times: npt.NDArray[Any], columns: Iterable[tuple[str, str, Any]]) -> None:
    """Write the columns of a stream: name, unit and values."""
    listed = list(columns)
    header = ["time"] + [f"{name} [{unit}]" if unit else name for name, unit, _ in listed]
    with path.open("w", encoding="utf-8", errors="surrogateescape", newline="") as file:
        writer = csv.writer(file, lineterminator="\n")
        writer.writerow(header)
        stamps = np.datetime_as_string(times, unit="us", timezone="UTC")
        writer.writerows(zip(stamps, *(values.tolist() for _, _, values in listed)))


def read_ndjson(path: Path) -> dict[str, Table]:
    """The tables of a file of JSON lines, by stream."""
    rows: dict[str, list[dict[str, Any]]] = {}
    with path.open(encoding="utf-8") as file:
        for number, line in enumerate(file, 1):
            if line.strip():
                row = _row(path, number, line)
                rows.setdefault(str(row.pop("stream", path.stem)), []).append(row)
    if not rows:
        raise ValueError(f"{path}: the file has no samples")
    return {name: _table(path, found) for name, found in rows.items()}


def _row(path: Path, number: int, line: str) -> dict[str, Any]:
    try:
        row = json.loads(line)
    except ValueError as error:
        raise ValueError(f"{path}: line {number}: {error}") from None
    if not isinstance(row, dict) or "time" not in row:
        raise ValueError(f"{path}: line {number}: an object with a time is needed")
    row["time"] = _time(path, number, str(row["time"]), "")
    return row


def _table(path: Path, rows: list[dict[str, Any]]) -> Table:
    table = Table()
    table.times = [row.pop("time") for row in rows]
    names = list(dict.fromkeys(name for row in rows for name in row))
    for name in names:
        values = [row.get(name) for row in rows]
        table.entries[name], table.columns[name] = _column(path, name, values)
    return table


def _column(path: Path, name: str, values: list[Any]) -> tuple[tuple[str, int], Any]:
    present = [value for value in values if value is not None]
    if all(isinstance(value, bool) for value in present) and len(present) == len(values):
        return ("Bool", 1), np.array(values, bool)
    if all(isinstance(value, str) for value in present):
        return ("String", 0), ["" if value is None else value for value in values]
    if all(isinstance(value, list) for value in present):
        flat = [item for value in present for item in value]
        if all(isinstance(item, (int, float)) for item in flat):
            are_integers = flat and all(type(item) is int for item in flat)
            return ("Int64" if are_integers else "Double", 0), [value or [] for value in values]
    if all(type(value) in (int, float) for value in present):
        if len(present) == len(values) and all(type(value) is int for value in values):
            return ("Int64", 1), np.array(values, np.int64)
        return ("Double", 1), np.array([math.nan if v is None else float(v) for v in values])
    raise ValueError(f"{path}: the values of {name!r} are of several kinds")


