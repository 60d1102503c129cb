# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""A program that mypy reads: the types of what the package gives are the expected ones."""

import datetime

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
