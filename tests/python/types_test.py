# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

import numpy as np
import pandas as pd
import pytest

import tessaryn
from tessaryn import StreamRepository, StreamType, TypeRepository

TANK = StreamType("Tank", "1.2.0", level=("Double", 1), valves=("Bool", 4), name="String")


def test_a_type_tells_what_it_was_made_of():
    assert TANK.name == "Tank"
    assert TANK.version == "1.2.0"
    assert TANK.entries == {"level": ("Double", 1), "valves": ("Bool", 4), "name": ("String", 0)}
    assert "level" in TANK and "colour" not in TANK
    assert len(TANK) == 3
    assert eval(repr(TANK), {"StreamType": StreamType}) == TANK


def test_types_are_values():
    same = StreamType(
        "Tank", "1.2.0", {"level": float, "valves": (np.dtype("bool"), 4), "name": str}
    )
    assert same == TANK and hash(same) == hash(TANK)
    assert StreamType("Tank", "1.2.1", TANK.entries) != TANK
    assert StreamType("Tank", "1.2.0", level="Double") != TANK


@pytest.mark.parametrize(
    ("arguments", "entries", "error"),
    [
        (("",), {}, ValueError),
        (("Tank", "1.0"), {}, ValueError),
        (("Tank", "0.0.0"), {}, ValueError),
        (("Tank",), {"level": "Colour"}, ValueError),
        (("Tank",), {"level": ("Double", -1)}, ValueError),
        (("Tank",), {"level": ("Double", 2**32)}, ValueError),
        (("Tank",), {"level": ("Double", 1.5)}, TypeError),
        (("Tank",), {"level": ("Double",)}, TypeError),
        (("Tank",), {"level": complex}, TypeError),
        (("Tank", "1.0.0", {"": "Double"}), {}, ValueError),
        (("Tank", "1.0.0", {"level": "Double"}), {"level": "Double"}, ValueError),
    ],
)
def test_wrong_arguments_are_refused(arguments, entries, error):
    with pytest.raises(error):
        StreamType(*arguments, **entries)


def test_a_structured_dtype_gives_the_entries():
    dtype = np.dtype([("t", "M8[us]"), ("level", "f8"), ("valves", "?", (4,)), ("code", "i1")])
    made = StreamType.from_dtype(dtype, "Row")
    assert made.entries == {"level": ("Double", 1), "valves": ("Bool", 4), "code": ("Int8", 1)}
    assert made.dtype == np.dtype([("level", "f8"), ("valves", "?", (4,)), ("code", "i1")])
    with pytest.raises(ValueError, match="matrix"):
        StreamType.from_dtype([("matrix", "f8", (2, 2))], "Row")
    with pytest.raises(TypeError):
        StreamType.from_dtype("f8", "Row")


def test_a_dataframe_gives_the_entries():
    frame = pd.DataFrame({"when": pd.to_datetime(["2024-01-01"]), "x": [1.5], "n": [3], "s": "a"})
    assert StreamType.from_dataframe(frame, "Row").entries == {
        "x": ("Double", 1),
        "n": ("Int64", 1),
        "s": ("String", 0),
    }


def test_a_repository_of_types_maps_paths_to_versions():
    types = TypeRepository()
    versions = types.add(TANK)
    types.add(StreamType("Tank", "1.10.0", level="Float"))
    types.add(StreamType("plant/Pump", speed="Int32"))
    assert list(types) == ["Any", "Tank", "plant/Pump"]
    assert "Tank" in types and "plant/Pump" in types and "plant" not in types
    assert list(versions) == ["1.2.0", "1.10.0"]
    assert versions["1.2.0"] == TANK
    assert versions.latest.version == "1.10.0"
    assert types["plant/Pump"].latest.name == "plant/Pump"
    with pytest.raises(tessaryn.PathNotFoundError, match="Valve"):
        types["Valve"]
    with pytest.raises(tessaryn.VersionNotFoundError, match="9.9.9"):
        versions["9.9.9"]
    with pytest.raises(ValueError, match="other entries"):
        types.add(StreamType("Tank", "1.2.0", level="Float"))


def test_a_type_in_use_stays():
    types = TypeRepository()
    versions = types.add(TANK)
    streams = StreamRepository(types)
    streams.add("tank", TANK, 10)
    with pytest.raises(ValueError, match="a stream uses it"):
        types.remove("Tank", "1.2.0")
    streams.remove("tank")
    types.remove("Tank", "1.2.0")
    assert list(versions) == []
    types.remove("Tank")
    with pytest.raises(ReferenceError):
        list(versions)
    with pytest.raises(tessaryn.PathNotFoundError):
        types.remove("Tank")
    assert TANK.entries["level"] == ("Double", 1)


def test_a_repository_of_streams_maps_paths_to_streams():
    streams = StreamRepository()
    line = streams.add("plant/line1", TANK, capacity=3)
    assert list(streams) == ["plant/line1"]
    assert len(streams) == 1
    assert "plant/line1" in streams and "plant" not in streams
    assert streams["plant/line1"] == line
    assert line.type == TANK and line.capacity == 3 and line.path == "plant/line1"
    assert line.repository == streams
    assert streams.types["Tank"].latest == TANK
    with pytest.raises(tessaryn.PathNotFoundError, match="line2"):
        streams["plant/line2"]
    for path, capacity in [("plant/line1", 3), ("", 3), ("x", 0), ("x", -1), ("x", 2**31)]:
        with pytest.raises(ValueError):
            streams.add(path, TANK, capacity)


def test_a_removed_stream_is_a_dead_reference():
    streams = StreamRepository()
    lines = [streams.add(f"plant/line{i}", TANK, 3) for i in range(3)]
    lines[0].push(level=1.0)
    streams.remove("plant/line0")
    for use in (
        lambda: len(lines[0]),
        lambda: lines[0].push(level=2.0),
        lines[0].latest,
        lines[0].all,
        lines[0].clear,
    ):
        with pytest.raises(ReferenceError, match="plant/line0"):
            use()
    assert "removed" in repr(lines[0])
    again = streams.add("plant/line0", TANK, 3)
    assert len(again) == 0 and not lines[0].is_alive and again != lines[0]
    streams.remove("plant")
    assert not any(line.is_alive for line in [again, *lines])
    other = streams.add("other", TANK, 3)
    with streams:
        assert other.is_alive
    assert not other.is_alive
    with pytest.raises(ReferenceError, match="closed"):
        list(streams)


def test_a_stream_keeps_its_repository():
    line = StreamRepository().add("line", TANK, 3)
    line.push(level=4.5)
    assert line.latest()["level"] == 4.5
    alone = tessaryn.Stream(TANK, 2)
    alone.push(valves=[True, False, True, False])
    assert list(alone.latest()["valves"]) == [True, False, True, False]
