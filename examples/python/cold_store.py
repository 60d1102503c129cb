# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""Reads a recording, finds the times that were too warm, and plots them.

usage: cold_store.py RECORDING PICTURE
"""

from __future__ import annotations

import sys

import matplotlib

matplotlib.use("Agg")

import numpy as np

import tessaryn

# %% Read the recording. The units are those of its description.
recording, picture = sys.argv[1:]
store = tessaryn.read(recording).only
store.set_units(temperature="°C", humidity="%", power="W")
print(store)

# %% Find the events: the samples for which a rule holds, split where it did not for a while.
LIMIT = 8.0
warm = store.where(f"temperature > {LIMIT}")
breaks = np.flatnonzero(np.diff(warm.time) > np.timedelta64(5, "m")) + 1
events = [part for part in np.split(np.arange(warm.rows), breaks) if len(part)]
for event in events:
    begin, end = (np.datetime_as_string(warm.time[i], unit="m") for i in (event[0], event[-1]))
    print(f"{begin} to {end}: up to {warm['temperature'][event].max():.1f} °C")

# %% The same rule on new samples. A condition has it told once for each event.
replay = tessaryn.Stream(store.type, capacity=10)
with replay.subscribe(conditions=tessaryn.rising(f"temperature > {LIMIT}")) as changes:
    replay.push_many(store.all())
    while changes.waiting:
        change = changes.get()
        assert change is not None
        print("alarm at", np.datetime_as_string(change.sample.time, unit="m"))

# %% Plot them.
axes = store.plot("temperature", "power")
axes[0].axhline(LIMIT, color="tab:red", linestyle="--", label=f"limit, {LIMIT} °C")
for event in events:
    for axis in axes:
        axis.axvspan(warm.time[event[0]], warm.time[event[-1]], color="tab:red", alpha=0.2)
axes[0].legend()
axes[0].figure.savefig(picture, dpi=120)
