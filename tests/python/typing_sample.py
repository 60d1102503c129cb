# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""A program for mypy: checks that the package's types are the expected ones."""

import datetime
from typing import Optional

import numpy as np
import numpy.typing as npt

import tessaryn

tank = tessaryn.StreamType("Tank", "1.0.0", level=("Double", 1), valves=("Bool", 4), name=str)
entries: dict[str, tuple[str, int]] = tank.entries
types = tessaryn.TypeRepository()
versions: tessaryn.TypeVersions = types.add(tank)
latest_type: tessaryn.StreamType = versions.latest

streams = tessaryn.StreamRepository(types)
line: tessaryn.Stream = streams.add("plant/line1", tank, capacity=100)
line.push(level=3.5)
line.push({"level": 3.5}, time=np.datetime64("2024-01-01"))
line.push(time=datetime.datetime.now(datetime.timezone.utc), level=4.0)
newest: tessaryn.Sample = line.latest()
time: np.datetime64 = newest.time
columns: tessaryn.Columns = line.where("level > 3", since="2024-01-01T00:00:00Z")
levels: npt.NDArray[np.float64] = columns["level"]
times: npt.NDArray[np.datetime64] = columns.time
paths: list[str] = list(streams)
row = np.zeros(3, [("level", "f8")])
line.push_many(row, time=["2024-01-01", "2024-01-02", "2024-01-03"])
line.push_many({"level": [1.0, 2.0]}, time=np.datetime64("2024-01-01"))
line.change_latest(level=5.0, notify=False)
popped: tessaryn.Sample = line.pop_latest()
rule: tessaryn.Rule = ~(tessaryn.Rule("level > 3") & tessaryn.Rule("level < 9"))
holds: bool = rule.matches(popped)
findings: list[tessaryn.Finding] = tessaryn.check(rule, tank)
recent: int = line.last("60s").rows

with line.subscribe("level > 3", conditions=tessaryn.deadband("level", 0.5)) as changes:
    for change in changes:
        kind: str = change.kind
        sample: tessaryn.Sample = change.sample
    next_one: Optional[tessaryn.Change] = changes.get(timeout="100ms")
    counts: tessaryn.Statistics = changes.statistics
line.subscribe(callback=lambda change: print(change.sample), policy="keep_latest")


async def watch() -> None:
    async with line.subscribe(timeout=1.5) as task_changes:
        async for change in task_changes:
            dropped: int = change.dropped
