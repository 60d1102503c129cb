# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""One sample."""

from __future__ import annotations

from collections.abc import Iterator, Mapping
from typing import Any

import numpy as np

from ._native import StreamType


class Sample(Mapping[str, Any]):
    """A copy of one sample: a mapping of entries to values, and a time."""

    __slots__ = ("_time", "_type", "_values")

    def __init__(self, type: StreamType, time: np.datetime64, values: dict[str, Any]) -> None:
        self._type = type
        self._time = time
        self._values = values

    @property
    def type(self) -> StreamType:
        """The stream type."""
        return self._type

    @property
    def time(self) -> np.datetime64:
        """The time, UTC, as datetime64[us]."""
        return self._time

    def __getitem__(self, entry: str) -> Any:
        return self._values[entry]

    def __iter__(self) -> Iterator[str]:
        return iter(self._values)

    def __len__(self) -> int:
        return len(self._values)

    def __repr__(self) -> str:
        values = ", ".join(f"{name}={value!r}" for name, value in self._values.items())
        return f"<Sample {self._time}: {values}>"
