# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""The parts of the extension module that are written in Python: times and layouts of tables."""

from __future__ import annotations

import datetime
import re
from collections.abc import Mapping, Sequence
from typing import TYPE_CHECKING, Any, Union

import numpy as np
import numpy.typing as npt

from .columns import Columns

if TYPE_CHECKING:
    import pandas as pd  # type: ignore[import]

Time = Union[datetime.datetime, np.datetime64, str]
Times = Union[str, Time, "npt.NDArray[np.datetime64]", Sequence[Time]]
Span = Union[datetime.timedelta, np.timedelta64, str]
EntrySpec = Union[str, type, "np.dtype[Any]", "tuple[Any, int]"]

_EPOCH = datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc)
_MICROSECOND = datetime.timedelta(microseconds=1)
_MICROSECONDS = np.dtype("M8[us]")
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
_DTYPES = {type_name: dtype for dtype, type_name in _TYPES.items()}
_INTEGERS = ("Int8", "Int16", "Int32", "Int64")
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
            raise ValueError("NaT is not a timestamp")
        if time.dtype == _MICROSECONDS:
            return int(time.view(np.int64))
        return _counted(time, "datetime64[us]")
    if isinstance(time, str):
        try:
            time = datetime.datetime.fromisoformat(time)
        except ValueError:
            raise ValueError(f"{time!r} is not a timestamp in ISO 8601") from None
    if not isinstance(time, datetime.datetime):
        raise TypeError(f"a datetime, a datetime64 or a str is needed as a time, not {time!r}")
    if time != time:
        raise ValueError("NaT is not a timestamp")
    if time.tzinfo is None:
        time = time.replace(tzinfo=datetime.timezone.utc)
    return (time - _EPOCH) // _MICROSECOND


def span_microseconds(span: Span) -> int:
    """A duration in microseconds."""
    if isinstance(span, np.timedelta64):
        if np.isnat(span):
            raise ValueError("NaT is not a duration")
        return _counted(span, "timedelta64[us]")
    if isinstance(span, str):
        match = _SPAN.fullmatch(span)
        if match is None:
            raise ValueError(
                f"{span!r} is not a duration: expected a number with us, ms, s, min, h or d"
            )
        return round(float(match[1]) * _UNITS[match[2].lower()])
    if not isinstance(span, datetime.timedelta):
        raise TypeError(f"a timedelta, a timedelta64 or a str is needed, not {span!r}")
    return span // _MICROSECOND


def datetime64_of(time: int) -> np.datetime64:
    """A time in microseconds since the Unix epoch."""
    return np.datetime64(time, "us")


def _counted(time: np.datetime64 | np.timedelta64, dtype: str) -> int:
    return int(_in_microseconds(np.asarray(time), dtype).astype(np.int64))


def _in_microseconds(times: npt.NDArray[Any], dtype: str) -> npt.NDArray[Any]:
    unit = np.datetime_data(times.dtype)[0]
    if unit == "generic":
        raise TypeError(f"{times} has no unit")
    converted = times.astype(dtype)
    # NumPy does not report an overflow.
    if unit in ("Y", "M", "W", "D", "h", "m", "s", "ms"):
        if not np.array_equal(converted.astype(times.dtype), times):
            raise OverflowError("a time is out of the range of microseconds in 64 bits")
    return converted


def entry_spec(spec: EntrySpec) -> tuple[str, int]:
    """The name of a type and the size of an entry."""
    size = None
    if isinstance(spec, tuple):
        if len(spec) != 2:
            raise TypeError(f"an entry is a type or a pair of type and size, not {spec!r}")
        spec, size = spec
        if isinstance(size, bool) or not isinstance(size, (int, np.integer)):
            raise TypeError(f"the size of an entry is an int, not {size!r}")
        if not 0 <= size < 2**32:
            raise ValueError(f"the size of an entry is 0 to 4294967295, not {size}")
    if isinstance(spec, str):
        name = spec
    elif spec in _PYTHON_TYPES:
        name = _PYTHON_TYPES[spec]
    else:
        try:
            name = _type_of(np.dtype(spec))
        except TypeError:
            raise TypeError(f"{spec!r} is not a value type") from None
    return name, _default_size(name) if size is None else int(size)


def _default_size(type_name: str) -> int:
    # The size of a text is its length.
    return 0 if type_name.lower() in ("string", "bytearray") else 1


def _type_of(dtype: np.dtype[Any]) -> str:
    if dtype.kind in "OUS":
        return "String"
    if dtype.name not in _TYPES:
        raise TypeError(f"{dtype} is not a value type")
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
        type_name = _type_of(field.base)
        entries[name] = (type_name, field.shape[0] if field.shape else _default_size(type_name))
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
        # Pandas has its own dtypes: categories, texts, numbers with missing values.
        plain: Any = dtype
        if not isinstance(dtype, np.dtype):
            plain = getattr(dtype, "numpy_dtype", object)
        type_name = _type_of(np.dtype(plain))
        entries[name] = (type_name, _default_size(type_name))
    return entries


def dtype_of(entries: Mapping[str, tuple[str, int]]) -> np.dtype[np.void]:
    """The structured dtype for entries."""
    fields: list[Any] = []
    for name, (type_name, size) in entries.items():
        base = _DTYPES.get(type_name)
        if base is None or size == 0:
            fields.append((name, object))
        else:
            fields.append((name, base) if size == 1 else (name, base, (size,)))
    return np.dtype(fields)


def rows_of(
    entries: Mapping[str, tuple[str, int]], data: Any, time: Times | None
) -> tuple[npt.NDArray[np.int64], list[tuple[str, Any]]]:
    """The times and the columns of rows in the form that the extension module expects: arrays of
    the entries' own dtypes, or lists of values that a push accepts."""
    columns, index = _columns_of(data)
    times: Any = index if time is None else time
    name = time if isinstance(time, str) else None
    if times is None:
        name = _name_of_times(entries, columns)
    if name is not None:
        if name not in columns:
            raise KeyError(f"there is no column {name!r} of times")
        times = columns.pop(name)
    rows = _count_rows(columns, times)
    return _times_of(times, rows), [
        (name, _column(name, values, entries.get(name, ("String", 1)), rows))
        for name, values in columns.items()
    ]


def _columns_of(data: Any) -> tuple[dict[str, Any], Any]:
    """The columns, and the times if they are not one of these."""
    if isinstance(data, Mapping):
        return dict(data), data.time if isinstance(data, Columns) else None
    if isinstance(data, np.ndarray) and data.dtype.names is not None:
        if data.ndim != 1:
            raise ValueError(f"an array of 1 dimension is needed, not of {data.ndim}")
        return {name: data[name] for name in data.dtype.names}, None
    if hasattr(data, "columns") and hasattr(data, "index"):
        if not data.columns.is_unique:
            raise ValueError("the columns' names are not unique")
        index = data.index if getattr(data.index.dtype, "kind", "") == "M" else None
        return {name: data[name] for name in data.columns}, index
    raise TypeError(f"a DataFrame, a mapping or a structured array is needed, not {type(data)}")


def _name_of_times(entries: Mapping[str, Any], columns: Mapping[str, Any]) -> str | None:
    if "time" in columns and "time" not in entries:
        return "time"
    names = [
        name
        for name, values in columns.items()
        if name not in entries and getattr(getattr(values, "dtype", None), "kind", "") == "M"
    ]
    return names[0] if len(names) == 1 else None


def _count_rows(columns: Mapping[str, Any], times: Any) -> int:
    counts = {name: len(values) for name, values in columns.items()}
    if times is not None and not isinstance(times, (datetime.datetime, np.datetime64)):
        counts = {"time": len(times), **counts}
    rows = next(iter(counts.values()), 0)
    for name, count in counts.items():
        if count != rows:
            raise ValueError(f"column {name!r} has {count} rows, not {rows}")
    return rows


def _times_of(times: Any, rows: int) -> npt.NDArray[np.int64]:
    if times is None:
        times = datetime.datetime.now(datetime.timezone.utc)
    if isinstance(times, (datetime.datetime, np.datetime64)):
        return np.full(rows, microseconds(times), np.int64)
    if getattr(getattr(times, "dtype", None), "kind", "") == "M":
        # Pandas converts times that have a zone to UTC.
        plain = times if isinstance(times, np.ndarray) else times.to_numpy(dtype="M8[ns]")
        if np.isnat(plain).any():
            raise ValueError("NaT is no time")
        return np.ascontiguousarray(_in_microseconds(plain, "M8[us]")).view(np.int64)
    return np.array([microseconds(each) for each in times], np.int64)


def _column(name: str, values: Any, entry: tuple[str, int], rows: int) -> Any:
    type_name, size = entry
    if hasattr(values, "to_numpy"):
        values = values.to_numpy()
    if type_name == "String" or size == 0:
        return values.tolist() if type_name == "String" and _is_array(values) else list(values)
    array = values if _is_array(values) else np.asarray(list(values))
    # NumPy makes floating-point numbers of integers if no integer type can hold all of them.
    is_mixed = array is not values and array.dtype.kind == "f" and type_name.lstrip("U") in _INTEGERS
    if array.dtype.kind == "O" or is_mixed:
        return list(values)
    shape = (rows,) if size == 1 else (rows, size)
    if array.shape != shape:
        raise ValueError(f"entry {name!r}: an array of shape {shape} is needed, not {array.shape}")
    try:
        return _converted(array, np.dtype(_DTYPES[type_name]))
    except (OverflowError, TypeError) as error:
        raise type(error)(f"entry {name!r}: {error}") from None


def _is_array(values: Any) -> bool:
    return isinstance(values, np.ndarray)


def _converted(array: npt.NDArray[Any], target: np.dtype[Any]) -> npt.NDArray[Any]:
    kind = array.dtype.kind
    if array.dtype == target:
        return np.ascontiguousarray(array)
    if target.kind in "iu" and kind in "iub":
        limits = np.iinfo(target)
        if array.size and (int(array.min()) < limits.min or int(array.max()) > limits.max):
            wrong = array.min() if int(array.min()) < limits.min else array.max()
            raise OverflowError(f"{wrong} does not fit {target}")
        return np.ascontiguousarray(array, target)
    if target.kind == "f" and kind in "iubf":
        with np.errstate(over="ignore"):
            result = np.ascontiguousarray(array, target)
        if kind == "f" and target.itemsize < array.dtype.itemsize:
            wrong = np.isinf(result) & ~np.isinf(array)
            if wrong.any():
                raise OverflowError(f"{array[wrong][0]} does not fit {target}")
        return result
    raise TypeError(f"an array of {target} is needed, not of {array.dtype}")
