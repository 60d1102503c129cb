# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""What the extension module leaves to Python: times, and the layouts of tables."""

from __future__ import annotations

import datetime
import re
from collections.abc import Mapping
from typing import TYPE_CHECKING, Any, Union

import numpy as np
import numpy.typing as npt

if TYPE_CHECKING:
    import pandas as pd  # type: ignore[import]

Time = Union[datetime.datetime, np.datetime64, str]
Span = Union[datetime.timedelta, np.timedelta64, str]
EntrySpec = Union[str, type, "np.dtype[Any]", "tuple[Any, int]"]

_EPOCH = datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc)
_MICROSECOND = datetime.timedelta(microseconds=1)
_UNITS = {
    "us": 1,
    "ms": 1_000,
    "s": 1_000_000,
    "min": 60_000_000,
    "h": 3_600_000_000,
    "d": 86_400_000_000,
}
_SPAN = re.compile(r"\s*([+-]?\d+(?:\.\d+)?)\s*(us|ms|s|min|h|d)\s*", re.IGNORECASE)
_TYPES = {
    "int8": "Int8",
    "int16": "Int16",
    "int32": "Int32",
    "int64": "Int64",
    "uint8": "UInt8",
    "uint16": "UInt16",
    "uint32": "UInt32",
    "uint64": "UInt64",
    "float32": "Float",
    "float64": "Double",
    "bool": "Bool",
}
_PYTHON_TYPES: dict[Any, str] = {
    float: "Double",
    int: "Int64",
    bool: "Bool",
    str: "String",
    bytes: "String",
}


def microseconds(time: Time) -> int:
    """A time in microseconds since the Unix epoch."""
    if isinstance(time, np.datetime64):
        if np.isnat(time):
            raise ValueError("NaT is no time")
        return _counted(time, "datetime64[us]")
    if isinstance(time, str):
        try:
            time = datetime.datetime.fromisoformat(time)
        except ValueError:
            raise ValueError(f"{time!r} is no time in ISO 8601") from None
    if not isinstance(time, datetime.datetime):
        raise TypeError(f"a datetime, a datetime64 or a str is needed as a time, not {time!r}")
    if time != time:
        raise ValueError("NaT is no time")
    if time.tzinfo is None:
        time = time.replace(tzinfo=datetime.timezone.utc)
    return (time - _EPOCH) // _MICROSECOND


def span_microseconds(span: Span) -> int:
    """A length of time in microseconds."""
    if isinstance(span, np.timedelta64):
        if np.isnat(span):
            raise ValueError("NaT is no length of time")
        return _counted(span, "timedelta64[us]")
    if isinstance(span, str):
        match = _SPAN.fullmatch(span)
        if match is None:
            raise ValueError(
                f"{span!r} is no length of time: a number with us, ms, s, min, h or d is needed"
            )
        return round(float(match[1]) * _UNITS[match[2].lower()])
    if not isinstance(span, datetime.timedelta):
        raise TypeError(f"a timedelta, a timedelta64 or a str is needed, not {span!r}")
    return span // _MICROSECOND


def _counted(time: np.datetime64 | np.timedelta64, dtype: str) -> int:
    converted = time.astype(dtype)
    # NumPy wraps around silently.
    if converted.astype(time.dtype) != time and _is_coarser(time.dtype):
        raise OverflowError(f"{time!r} is out of the range of microseconds in 64 bits")
    return int(converted.astype(np.int64))


def _is_coarser(dtype: np.dtype[Any]) -> bool:
    return np.datetime_data(dtype)[0] in ("Y", "M", "W", "D", "h", "m", "s", "ms")


def entry_spec(spec: EntrySpec) -> tuple[str, int]:
    """The name of a type and the size of an entry."""
    size = 1
    if isinstance(spec, tuple):
        if len(spec) != 2:
            raise TypeError(f"an entry is a type or a pair of type and size, not {spec!r}")
        spec, size = spec
        if isinstance(size, bool) or not isinstance(size, (int, np.integer)):
            raise TypeError(f"the size of an entry is an int, not {size!r}")
        if not 0 <= size < 2**32:
            raise ValueError(f"the size of an entry is 0 to 4294967295, not {size}")
    if isinstance(spec, str):
        return spec, int(size)
    if spec in _PYTHON_TYPES:
        return _PYTHON_TYPES[spec], int(size)
    try:
        return _type_of(np.dtype(spec)), int(size)
    except TypeError:
        raise TypeError(f"{spec!r} is no type of entries") from None


def _type_of(dtype: np.dtype[Any]) -> str:
    if dtype.kind in "OUS":
        return "String"
    if dtype.name not in _TYPES:
        raise TypeError(f"{dtype} is no type of entries")
    return _TYPES[dtype.name]


def entries_of_dtype(dtype: npt.DTypeLike) -> dict[str, tuple[str, int]]:
    """The entries for the fields of a structured dtype."""
    fields: Any = np.dtype(dtype)
    if fields.names is None:
        raise TypeError(f"a structured dtype is needed, not {fields}")
    entries = {}
    for name in fields.names:
        field = fields[name]
        if field.base.kind == "M":
            continue
        if len(field.shape) > 1:
            raise ValueError(f"field {name!r} has {len(field.shape)} dimensions; one is the most")
        entries[name] = (_type_of(field.base), field.shape[0] if field.shape else 1)
    return entries


def entries_of_dataframe(frame: pd.DataFrame) -> dict[str, tuple[str, int]]:
    """The entries for the columns of a DataFrame."""
    entries = {}
    for name, dtype in frame.dtypes.items():
        if not isinstance(name, str):
            raise TypeError(f"the columns' names have to be str, not {name!r}")
        if name in entries:
            raise ValueError(f"there are two columns {name!r}")
        if getattr(dtype, "kind", "O") == "M":
            continue
        # Pandas has dtypes of its own: categories, texts, numbers with gaps.
        plain: Any = dtype
        if not isinstance(dtype, np.dtype):
            plain = getattr(dtype, "numpy_dtype", object)
        entries[name] = (_type_of(np.dtype(plain)), 1)
    return entries


def dtype_of(entries: Mapping[str, tuple[str, int]]) -> np.dtype[np.void]:
    """The structured dtype for entries."""
    names = {type_name: dtype for dtype, type_name in _TYPES.items()}
    fields: list[Any] = []
    for name, (type_name, size) in entries.items():
        base = names.get(type_name)
        if base is None or size == 0:
            fields.append((name, object))
        else:
            fields.append((name, base) if size == 1 else (name, base, (size,)))
    return np.dtype(fields)
