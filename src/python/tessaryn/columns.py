# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""The answer of a query."""

from __future__ import annotations

from collections.abc import Iterator, Mapping
from typing import TYPE_CHECKING, Any

import numpy as np
import numpy.typing as npt

if TYPE_CHECKING:
    import pandas as pd  # type: ignore[import]


class Columns(Mapping[str, "npt.NDArray[Any]"]):
    """Samples as columns: the times, and an array for each entry, in order of time.

    The array of an entry with one element has one dimension; that of an entry with n elements has
    n columns. Texts and arrays of different lengths give an array of objects.
    """

    __slots__ = ("_arrays", "_name", "_time")

    def __init__(
        self,
        time: npt.NDArray[np.datetime64],
        arrays: dict[str, npt.NDArray[Any]],
        name: str = "",
    ) -> None:
        self._time = time
        self._arrays = arrays
        self._name = name

    @property
    def time(self) -> npt.NDArray[np.datetime64]:
        """The times, UTC, as datetime64[us]."""
        return self._time

    @property
    def name(self) -> str:
        """The path of the stream."""
        return self._name

    @property
    def rows(self) -> int:
        """The number of samples."""
        return len(self._time)

    def __getitem__(self, entry: str) -> npt.NDArray[Any]:
        return self._arrays[entry]

    def __iter__(self) -> Iterator[str]:
        return iter(self._arrays)

    def __len__(self) -> int:
        return len(self._arrays)

    def to_pandas(self) -> pd.DataFrame:
        """A DataFrame with the times, UTC, as its index. An array entry becomes a column for each
        element: "valves[0]", "valves[1]" and so on."""
        import pandas

        data: dict[str, Any] = {}
        for entry, values in self._arrays.items():
            if values.ndim == 1:
                data[entry] = values
            else:
                data.update((f"{entry}[{i}]", values[:, i]) for i in range(values.shape[1]))
        index = pandas.DatetimeIndex(self._time, name="time").tz_localize("UTC")
        return pandas.DataFrame(data, index=index)

    def __repr__(self) -> str:
        parts = [f"{name}: {array.dtype}" for name, array in self._arrays.items()]
        span = f", {self._time[0]} to {self._time[-1]}" if self.rows else ""
        return f"<Columns of {self._name!r}: {self.rows} rows{span}; {', '.join(parts)}>"
