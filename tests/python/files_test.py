# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

import html.parser
import pathlib
import sqlite3
import sys

import numpy as np
import pytest
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

import tessaryn
from tessaryn import History, StreamRepository, StreamType

TYPE = StreamType("Tank", "1.2.0", level="Double", valves=("Bool", 2), count="Int64", name="String")


@pytest.fixture
def streams():
    with StreamRepository() as made:
        tank = made.add("plant/tank", TYPE, 10)
        for i in range(3):
            tank.push(
                time=np.datetime64(1_700_000_000_000_000 + i, "us"),
                level=[0.1, float("nan"), float("inf")][i],
                valves=[True, False],
                count=2**63 - 1 - i,
                name=["", "a,\"b\"\n", "\u00e4\u00b5"][i],
            )
        yield made


def assert_equal(left, right):
    assert list(left) == list(right)
    np.testing.assert_array_equal(left.time, right.time)
    for name in left:
        np.testing.assert_array_equal(left[name], right[name])


@pytest.mark.parametrize("ending", ["json", "xml", "db", "JSON"])
def test_what_is_saved_is_read_again(streams, tmp_path, ending):
    file = tmp_path / f"plant.{ending}"
    tessaryn.save(file, streams["plant/tank"])
    again = tessaryn.read(file)
    assert list(again) == ["plant/tank"]
    assert again.only.type.entries == TYPE.entries and again.only.type.version == "1.2.0"
    assert_equal(again.only.all(), streams.only.all())
    again.only.push(level=1.0)


def test_a_table_is_saved_with_its_units_and_read_again(tmp_path):
    made = StreamRepository()
    type = StreamType("t", level="Double", count="Int64", name="String")
    line = made.add("t", type, 10)
    line.set_units(level="m\u00b3")
    line.push(time="1969-12-31T23:59:59.999999Z", level=0.1, count=-(2**63), name="a,\"b\"\nc")
    line.push(time="2024-02-29T00:00:00Z", level=1e300, count=2**63 - 1, name="x")
    made.save(tmp_path / "t.csv")
    again = tessaryn.read(tmp_path / "t.csv").only
    assert again.path == "t" and again.units == {"level": "m\u00b3"}
    assert_equal(again.all(), line.all())
    made.add("arrays", TYPE, 1)
    with pytest.raises(ValueError, match="2 streams"):
        made.save(tmp_path / "both.csv")
    made.remove("t")
    made.only.push()
    with pytest.raises(ValueError, match="valves"):
        made.save(tmp_path / "arrays.csv")


def test_a_table_follows_the_conventions(tmp_path):
    file = tmp_path / "x.csv"
    file.write_text(
        "# made by hand\n"
        "p [bar]; room temperature (\u00b0C);Time;state;n\n"
        "1.5; 20;2024-01-01T02:00:00+02:00;on;1\n"
        '-;21;2024-01-01 00:00:01;"a; b";2\n'
        "2;N/A;2024-01-01T00:00:02Z;;3\n",
        encoding="utf-8",
    )
    stream = tessaryn.read(str(file)).only
    assert stream.path == "x" and stream.units == {"p": "bar", "room_temperature": "\u00b0C"}
    assert stream.type.entries == {
        "p": ("Double", 1),
        "room_temperature": ("Double", 1),
        "state": ("String", 0),
        "n": ("Int64", 1),
    }
    columns = stream.all()
    assert [str(time) for time in columns.time] == [
        f"2024-01-01T00:00:0{second}.000000" for second in range(3)
    ]
    np.testing.assert_array_equal(columns["p"], [1.5, np.nan, 2])
    np.testing.assert_array_equal(columns["room_temperature"], [20, 21, np.nan])
    assert list(columns["state"]) == ["on", "a; b", ""]
    assert list(columns["n"]) == [1, 2, 3]


@pytest.mark.parametrize(
    "cell", ["1700000000", "1700000000000", "1700000000000000", "1700000000000000000"]
)
def test_times_may_be_numbers(tmp_path, cell):
    file = tmp_path / "x.tsv"
    file.write_text(f"timestamp\tv\n{cell}\t1\n")
    assert tessaryn.read(file).only.all().time[0] == np.datetime64("2023-11-14T22:13:20", "us")


def test_lines_of_json_give_streams(tmp_path):
    file = tmp_path / "x.ndjson"
    file.write_text(
        '{"time": "2024-01-01T00:00:00Z", "stream": "a/b", "on": true, "v": [1, 2], "n": 3}\n\n'
        '{"time": 1704067201, "stream": "c", "x": 1}\n'
        '{"time": "2024-01-01T00:00:02Z", "stream": "a/b", "on": false, "v": []}\n'
        '{"time": "2024-01-01T00:00:02Z", "stream": "c", "x": 2.5, "s": "t"}\n'
    )
    streams = tessaryn.read(file)
    assert set(streams) == {"a/b", "c"}
    columns = streams["a/b"].all()
    assert list(columns["on"]) == [True, False]
    assert [list(each) for each in columns["v"]] == [[1, 2], []]
    np.testing.assert_array_equal(columns["n"], [3, np.nan])
    assert list(streams["c"].all()["x"]) == [1, 2.5] and list(streams["c"].all()["s"]) == ["", "t"]


@pytest.mark.parametrize(
    ("name", "content", "error", "text"),
    [
        ("x.txt", "", ValueError, "x.txt.* does not end in"),
        ("x.csv", "", ValueError, "x.csv: the file has no header"),
        ("x.csv", "a,b\n1,x\n", ValueError, "no column holds times"),
        ("x.csv", "time,b\n2024-01-01,1\n2024-01-02\n", ValueError, "row 2 has 1 fields, not 2"),
        ("x.csv", "time,b\nsoon,1\n", ValueError, "row 1: 'soon' is not a timestamp"),
        ("x.csv", "time,b\n2024-01-01,1\n2024-01-02,x\n", ValueError, "row 2: b: 'x'"),
        ("x.csv", "time,b,b\n2024-01-01,1,2\n", ValueError, "two columns are named 'b'"),
        ("x.csv", 'time,b\n2024-01-01,"1\n', ValueError, "x.csv: "),
        ("x.ndjson", '{"time": 1}\n{"time": 1', ValueError, "line 2"),
        ("x.ndjson", "[1]", ValueError, "line 1: an object with a time"),
        ("x.ndjson", '{"time": 1, "a": 1}\n{"time": 1, "a": "b"}', ValueError, "several kinds"),
        ("x.json", "{", tessaryn.TessarynError, "x.json"),
        ("x.xml", "<a/>", tessaryn.TessarynError, "x.xml"),
        ("x.db", "no database at all, but a text", tessaryn.TessarynError, "x.db"),
    ],
)
def test_what_cannot_be_read_is_told(tmp_path, name, content, error, text):
    (tmp_path / name).write_text(content)
    with pytest.raises(error, match=text):
        tessaryn.read(tmp_path / name)


def test_missing_files_and_wrong_endings_are_told(streams, tmp_path):
    for ending in ("csv", "ndjson", "json", "db"):
        with pytest.raises((OSError, tessaryn.TessarynError), match=f"none.{ending}"):
            tessaryn.read(tmp_path / f"none.{ending}")
    with pytest.raises(ValueError, match="does not end"):
        tessaryn.save(tmp_path / "x.png", streams)
    tessaryn.save(tmp_path / "x.db", streams)
    with pytest.raises(FileExistsError):
        tessaryn.save(tmp_path / "x.db", streams)
    with pytest.raises(tessaryn.TessarynError):
        tessaryn.save(tmp_path / "no folder" / "x.json", streams)


@settings(max_examples=30, deadline=None, suppress_health_check=list(HealthCheck))
@given(st.lists(st.tuples(st.integers(0, 2**50), st.floats(), st.text()), max_size=8))
def test_any_samples_go_through_a_document_and_a_history(tmp_path_factory, rows):
    made = StreamRepository()
    line = made.add("any", StreamType("any", x="Double", s="String"), 10)
    for time, x, s in rows:
        try:
            s.encode()
        except UnicodeEncodeError:
            s = ""
        line.push(time=np.datetime64(time, "us"), x=x, s=s)
    folder = tmp_path_factory.mktemp("any")
    for ending in ("json", "xml", "db"):
        made.save(folder / f"x.{ending}")
        if rows or ending != "db":
            assert_equal(tessaryn.read(folder / f"x.{ending}").only.all(), line.all())


def test_a_history_answers_queries(streams, tmp_path):
    tessaryn.save(tmp_path / "h.db", streams)
    with History(tmp_path / "h.db") as history:
        assert list(history) == ["plant/tank"] and "other" not in history
        tank = history["plant/tank"]
        assert len(tank) == 3 and tank.type.entries == TYPE.entries
        assert_equal(tank.all(), streams.only.all())
        first = tank.layouts[0].first
        assert tank.between(first, first).rows == 1
        assert list(tank.where("level > 0.05")["level"]) == [0.1, float("inf")]
        assert list(tank.newest(1)["count"]) == [2**63 - 3]
        none = tank.between("1980-01-01", "1980-01-02")
        assert none.rows == 0 and list(none) == list(TYPE.entries)
        assert repr(history).endswith("plant/tank (3)>")
        with pytest.raises(tessaryn.PathNotFoundError):
            history["other"]
        with pytest.raises(tessaryn.RuleSyntaxError):
            tank.where("level >")
    with pytest.raises(ReferenceError):
        tank.all()
    with pytest.raises(ReferenceError):
        list(history)
    assert repr(history).endswith("closed>")


def test_units_of_a_history_are_those_of_the_file(streams, tmp_path):
    tessaryn.save(tmp_path / "h.db", streams)
    with sqlite3.connect(tmp_path / "h.db") as database:
        table = [
            name
            for (name,) in database.execute("SELECT name FROM sqlite_master WHERE type = 'table'")
            if "entr" in name
        ][0]
        database.execute(f"UPDATE {table} SET unit = 'm' WHERE name = 'level'")
    database.close()
    assert tessaryn.read(tmp_path / "h.db").only.units == {"level": "m"}


def test_printing_what_was_read_tells_its_streams(tmp_path):
    (tmp_path / "x.csv").write_text("time,v\n2024-01-01T00:00:00Z,1\n2024-01-01T00:00:01Z,2\n")
    lines = str(tessaryn.read(tmp_path / "x.csv")).splitlines()
    assert lines[0].split() == ["stream", "type", "samples", "time", "(UTC)"]
    assert lines[1].split() == [
        "x",
        "x",
        "1.0.0",
        "2",
        "2024-01-01T00:00:00.000000",
        "to",
        "2024-01-01T00:00:01.000000",
    ]


class Balance(html.parser.HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.open, self.seen, self.text = [], [], ""
        self.feed(text)
        self.close()

    def handle_starttag(self, tag, attrs):
        self.seen.append(tag)
        if tag != "polyline":
            self.open.append(tag)

    def handle_endtag(self, tag):
        if tag != "polyline":
            assert self.open.pop() == tag

    def handle_data(self, data):
        self.text += data


def test_a_notebook_shows_a_table_with_everything_escaped():
    evil = "<script>alert('&')</script>"
    streams = StreamRepository()
    stream = streams.add(evil, StreamType(evil, "1.0.0", {evil: "String", "x": "Double"}), 1000)
    assert Balance(stream._repr_html_()).open == []
    for i in range(1000):
        stream.push({evil: evil, "x": float("nan") if i % 3 else float(i)})
    stream.set_units({evil: evil})
    for shown in (stream, streams):
        page = Balance(shown._repr_html_())
        assert page.open == [] and "script" not in page.seen and evil in page.text
    page = Balance(stream._repr_html_())
    assert page.seen.count("svg") == 1 and page.seen.count("tr") == 2 + 5
    streams.remove(evil)
    assert "removed" in Balance(stream._repr_html_()).text


def test_a_sparkline_keeps_the_peaks():
    from tessaryn._show import sparkline

    values = np.zeros(100_000)
    values[54_321] = 1.0
    assert ",1.0" in sparkline(values)
    values[::2] = np.nan
    assert ",1.0" in sparkline(values)
    assert sparkline(np.array([1.0])) == "" == sparkline(np.full(9, np.nan))


def test_a_plot_names_its_axes_with_units(streams):
    matplotlib = pytest.importorskip("matplotlib")
    matplotlib.use("Agg")
    stream = streams["plant/tank"]
    stream.set_units(level="m")
    upper, lower = stream.plot()
    assert (upper.get_ylabel(), lower.get_ylabel()) == ("level [m]", "count")
    assert lower.get_xlabel() == "time (UTC)" and upper.get_title() == "plant/tank"
    assert len(lower.lines[0].get_xdata()) == 3
    (both,) = stream.plot("level", "count", units={"count": "m"})
    assert both.get_ylabel() == "level, count [m]"
    assert stream.plot("count", axes=both) == [both] and both.get_ylabel() == "count"
    for wrong in ("name", "colour"):
        with pytest.raises((ValueError, KeyError)):
            stream.plot(wrong)
    with pytest.raises(ValueError):
        stream.plot("level", "count", axes=[both])


def test_a_plot_without_matplotlib_tells_what_to_install(streams, monkeypatch):
    monkeypatch.setitem(sys.modules, "matplotlib", None)
    with pytest.raises(ImportError, match="python3-matplotlib"):
        streams.only.plot()


def test_the_page_lists_every_name():
    page = (pathlib.Path(__file__).resolve().parents[2] / "docs/python.md").read_text()
    reference = page.split("## Reference")[1]
    missing = [name for name in tessaryn.__all__ if f"`{name}`" not in reference]
    assert missing == ["__version__"]
