# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""How streams are shown: as a line, as HTML, and as a picture."""

from __future__ import annotations

from html import escape
from typing import TYPE_CHECKING, Any

import numpy as np
import numpy.typing as npt

from .columns import Columns

if TYPE_CHECKING:
    from .stream import Stream

_WIDTH = 120
_HEIGHT = 24
_ROWS = 5


def _is_plain(values: npt.NDArray[Any]) -> bool:
    return values.ndim == 1 and values.dtype.kind in "biuf"


def sparkline(values: npt.NDArray[Any]) -> str:
    """A small plot of numbers, as SVG; empty if there are fewer than two."""
    # Draws the extremes of each part, so that no peak is lost.
    numbers = values.astype(float)
    if len(numbers) > 2 * _WIDTH:
        parts = [part[np.isfinite(part)] for part in np.array_split(numbers, _WIDTH)]
        limits = [(part.min(), part.max()) for part in parts if len(part)]
        numbers = np.array(limits, float).ravel()
    finite = numbers[np.isfinite(numbers)]
    if len(finite) < 2:
        return ""
    low, high = float(finite.min()), float(finite.max())
    y = (numbers - low) / ((high - low) or 1.0)
    x = np.linspace(0, _WIDTH, len(numbers))
    points = " ".join(
        f"{at:.1f},{_HEIGHT - 1 - value * (_HEIGHT - 2):.1f}"
        for at, value in zip(x, y)
        if np.isfinite(value)
    )
    return (
        f'<svg width="{_WIDTH}" height="{_HEIGHT}" viewBox="0 0 {_WIDTH} {_HEIGHT}">'
        f'<polyline points="{points}" fill="none" stroke="currentColor"/></svg>'
    )


def _cells(tag: str, texts: list[str]) -> str:
    return "<tr>" + "".join(f"<{tag}>{text}</{tag}>" for text in texts) + "</tr>"


def _title(name: str, units: dict[str, str]) -> str:
    return f"{name} [{units[name]}]" if units.get(name) else name


def html(title: str, columns: Columns, units: dict[str, str]) -> str:
    """A table of the newest samples, with a small plot of each numeric entry."""
    names = list(columns)
    rows = [_cells("th", ["time (UTC)"] + [escape(_title(name, units)) for name in names])]
    lines = [sparkline(columns[name]) if _is_plain(columns[name]) else "" for name in names]
    if any(lines):
        rows.append(_cells("td", ["", *lines]))
    for i in range(max(0, columns.rows - _ROWS), columns.rows):
        values = [_shorten(str(columns[name][i])) for name in names]
        rows.append(_cells("td", [escape(text) for text in [str(columns.time[i]), *values]]))
    return f"<table><caption>{escape(title)}</caption>{''.join(rows)}</table>"


def _shorten(text: str, length: int = 40) -> str:
    return text if len(text) <= length else text[: length - 3] + "..."


def plot(columns: Columns, entries: tuple[str, ...], units: dict[str, str], axes: Any) -> Any:
    """Draw numeric entries over time, with axes for each unit. Returns the axes."""
    try:
        from matplotlib import pyplot  # type: ignore[import]
    except ImportError:
        raise ImportError("plot() needs matplotlib: install python3-matplotlib") from None

    chosen = list(entries) or [name for name in columns if _is_plain(columns[name])]
    if not chosen:
        raise ValueError(f"{columns.name!r} has no numeric entry")
    for name in chosen:
        if columns[name].dtype.kind not in "biuf":
            raise ValueError(f"entry {name!r} is not numeric")
    # Entries without a unit do not share axes.
    groups: dict[str, list[str]] = {}
    for name in chosen:
        groups.setdefault(units.get(name) or f"\0{name}", []).append(name)
    if axes is None:
        count = len(groups)
        _, found = pyplot.subplots(
            count, 1, sharex=True, squeeze=False, figsize=(8, 1 + 2 * count), layout="constrained"
        )
        axes = list(found[:, 0])
    elif not isinstance(axes, (list, tuple, np.ndarray)):
        axes = [axes]
    if len(axes) != len(groups):
        raise ValueError(f"{len(groups)} axes are needed, one for each unit, not {len(axes)}")
    for axis, (unit, names) in zip(axes, groups.items()):
        for name in names:
            axis.plot(columns.time, columns[name], label=name)
        label = ", ".join(names)
        axis.set_ylabel(label if unit[0] == "\0" else f"{label} [{unit}]")
        if len(names) > 1:
            axis.legend()
    axes[-1].set_xlabel("time (UTC)")
    axes[0].set_title(columns.name)
    return list(axes)


def stream_html(stream: Stream) -> str:
    """The HTML of a stream."""
    if not stream.is_alive:
        return f"<p>{escape(repr(stream))}</p>"
    return html(repr(stream).strip("<>"), stream.all(), stream.units)
