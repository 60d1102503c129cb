# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

import datetime
import random
import threading

import numpy as np
import pandas as pd
import pytest

import tessaryn
from tessaryn import Rule, Stream, StreamRepository, StreamType, check

UTC = datetime.timezone.utc
TANK = StreamType("Tank", level="Double", alarm="Bool", name="String")
FIRST = np.datetime64("2024-01-01T00:00:00", "us")


def filled(count=10, capacity=100):
    stream = Stream(TANK, capacity)
    times = FIRST + np.arange(count).astype("m8[s]")
    stream.push_many({"level": np.arange(count) * 1.0, "alarm": np.arange(count) % 2 == 1}, time=times)
    return stream


@pytest.mark.parametrize(
    ("given", "expected"),
    [
        ("2024-01-01T12:00:00", "2024-01-01T12:00:00"),
        ("2024-01-01T12:00:00Z", "2024-01-01T12:00:00"),
        ("2024-01-01T12:00:00.000001+02:00", "2024-01-01T10:00:00.000001"),
        ("2024-02-29", "2024-02-29"),
        (datetime.datetime(2024, 1, 1, 12), "2024-01-01T12:00:00"),
        (datetime.datetime(1, 1, 1, tzinfo=UTC), "0001-01-01"),
        (datetime.datetime.max, "9999-12-31T23:59:59.999999"),
        (datetime.datetime(1969, 12, 31, 23, 59, 59, 999999, UTC), "1969-12-31T23:59:59.999999"),
        (
            datetime.datetime(2024, 1, 1, tzinfo=datetime.timezone(datetime.timedelta(hours=-3))),
            "2024-01-01T03:00:00",
        ),
        (pd.Timestamp("2024-01-01T12:00", tz="Europe/Berlin"), "2024-01-01T11:00:00"),
        (pd.Timestamp("2024-01-01T12:00"), "2024-01-01T12:00:00"),
        (np.datetime64("2024-01-01T12", "h"), "2024-01-01T12:00:00"),
        (np.datetime64("2024-01-01T12:00:00.000001999", "ns"), "2024-01-01T12:00:00.000001"),
        (np.datetime64(2**63 - 1, "us"), np.datetime64(2**63 - 1, "us")),
        (np.datetime64(-(2**63) + 1, "us"), np.datetime64(-(2**63) + 1, "us")),
    ],
)
def test_times_of_all_kinds(given, expected):
    stream = Stream(TANK, 5)
    stream.push(time=given)
    assert stream.latest().time == np.datetime64(expected, "us")
    stream.push_many({"level": [1.0, 2.0]}, time=[given, given])
    assert (stream.all().time == np.datetime64(expected, "us")).all()
    assert len(stream.between(given, given)["level"]) == 3


def test_days_are_those_of_the_calendar():
    random.seed(5)
    stream = Stream(TANK, 1)
    for _ in range(2000):
        day = datetime.date.fromordinal(random.randint(1, datetime.date.max.toordinal()))
        stream.push(time=datetime.datetime(day.year, day.month, day.day, 23, 59, 58, 7))
        assert stream.latest().time == np.datetime64(f"{day}T23:59:58.000007")


@pytest.mark.parametrize(
    ("wrong", "error"),
    [
        ("yesterday", ValueError),
        (5, TypeError),
        (5.0, TypeError),
        (datetime.date(2024, 1, 1), TypeError),
        (np.datetime64("NaT"), ValueError),
        (pd.NaT, ValueError),
        (np.datetime64(10**15, "s"), OverflowError),
    ],
)
def test_what_is_no_time_is_refused(wrong, error):
    stream = Stream(TANK, 5)
    for use in (
        lambda: stream.push(time=wrong),
        lambda: stream.push_many({"level": [1.0]}, time=[wrong]),
        lambda: stream.between(wrong, None),
        lambda: stream.where("level > 1", until=wrong),
    ):
        with pytest.raises(error):
            use()
    assert len(stream) == 0


def test_samples_without_a_time_are_stamped_now():
    before = np.datetime64(datetime.datetime.now(UTC).replace(tzinfo=None), "us")
    stream = Stream(TANK, 5)
    stream.push(level=1.0)
    stream.push_many({"level": [2.0]})
    stream.change_latest(level=3.0)
    after = np.datetime64(datetime.datetime.now(UTC).replace(tzinfo=None), "us")
    assert (before <= stream.all().time).all() and (stream.all().time <= after).all()
    assert len(stream.last("60s")["level"]) == 2
    assert len(stream.last(datetime.timedelta(minutes=1))["level"]) == 2


def test_columns_are_in_order_of_time():
    stream = Stream(TANK, 6)
    order = [5, 1, 4, 4, 9, 2, 8, 1]
    for i, second in enumerate(order):
        stream.push(level=i, time=FIRST + np.timedelta64(second, "s"))
    expected = sorted(enumerate(order[2:], 2), key=lambda pair: pair[1])
    columns = stream.all()
    assert columns["level"].tolist() == [float(i) for i, _ in expected]
    assert columns.time.dtype == np.dtype("M8[us]")
    assert ((columns.time - FIRST) // np.timedelta64(1, "s")).tolist() == [t for _, t in expected]
    until = FIRST + np.timedelta64(4, "s")
    assert stream.between(None, until)["level"].tolist() == [
        float(i) for i, second in expected if second <= 4
    ]


def test_queries_are_those_of_a_model():
    random.seed(7)
    for _ in range(60):
        capacity = random.randint(1, 12)
        stream, model = Stream(TANK, capacity), []
        for i in range(random.randint(0, 30)):
            second = random.choice([i, random.randint(0, 30)])
            stream.push(level=i, time=FIRST + np.timedelta64(second, "s"))
            model = [*model, (second, float(i))][-capacity:]
        low, high = sorted((random.randint(0, 31), random.randint(0, 31)))
        since, until = FIRST + np.timedelta64(low, "s"), FIRST + np.timedelta64(high, "s")
        ordered = sorted(model, key=lambda row: row[0])
        between = [level for second, level in ordered if low <= second <= high]
        assert stream.all()["level"].tolist() == [level for _, level in ordered]
        assert stream.between(since, until)["level"].tolist() == between
        assert stream.where("level >= 9", since=since, until=until)["level"].tolist() == [
            level for level in between if level >= 9
        ]
        assert stream.last(np.timedelta64(high - low, "s"), until=until)["level"].tolist() == between


@pytest.mark.parametrize(
    ("wrong", "error"), [("60", ValueError), ("s", ValueError), (60, TypeError), (None, TypeError)]
)
def test_what_is_no_span_is_refused(wrong, error):
    with pytest.raises(error):
        filled().last(wrong)


def test_spans_are_numbers_with_a_unit():
    stream = filled()
    until = FIRST + np.timedelta64(9, "s")
    for span in ("3s", "3000 ms", "3000000us", "0.05min", datetime.timedelta(seconds=3)):
        assert stream.last(span, until=until)["level"].tolist() == [6.0, 7.0, 8.0, 9.0]
    assert len(stream.last("1d", until=until)["level"]) == 10


def test_empty_answers_have_types():
    columns = filled().where("level > 99")
    assert columns.rows == 0 and columns["level"].dtype == np.float64
    assert columns.time.dtype == np.dtype("M8[us]")
    assert columns.to_pandas().shape == (0, 3)
    assert Stream(TANK, 3).all().rows == 0


def test_tables_of_all_kinds_are_pushed():
    times = pd.date_range("2024-01-01", periods=3, freq="s", tz="Europe/Berlin")
    frame = pd.DataFrame({"level": [1, 2, 3], "name": ["a", "b", "c"]}, index=times)
    stream = Stream(TANK, 100)
    stream.push_many(frame)
    stream.push_many(frame.reset_index(names="when"))
    stream.push_many(frame.reset_index(names="when"), time="when")
    row = np.zeros(2, [("time", "M8[ms]"), ("level", "f4"), ("alarm", "?")])
    row["time"], row["alarm"] = ["2024-01-02", "2024-01-03"], [True, False]
    stream.push_many(row)
    stream.push_many({"level": (7.0, 8.0)}, time=np.datetime64("2024-01-04"))
    expected = np.repeat(times.tz_convert("UTC").tz_localize(None).values.astype("M8[us]"), 3)
    assert (stream.all().time[:9] == expected).all()
    assert stream.all()["level"].tolist() == [1, 1, 1, 2, 2, 2, 3, 3, 3, 0, 0, 7, 8]
    assert list(stream.all()["name"][:9]) == list("aaabbbccc")
    copy = Stream(TANK, 100)
    copy.push_many(stream.all())
    pd.testing.assert_frame_equal(copy.all().to_pandas(), stream.all().to_pandas())
    copy.push_many(stream.all().to_pandas())
    assert len(copy) == 26


@pytest.mark.parametrize(
    ("data", "time", "error"),
    [
        ({"level": [1.0], "alarm": [True, False]}, None, ValueError),
        ({"level": [1.0]}, ["2024-01-01"] * 2, ValueError),
        ({"level": [[1.0]]}, None, ValueError),
        ({"level": 1.0}, None, TypeError),
        ({"level": [1.0]}, "when", KeyError),
        ([1.0], None, TypeError),
        (pd.DataFrame([[1.0, 2.0]], columns=["level", "level"]), None, ValueError),
        (pd.DataFrame({"level": [1.0, None]}).astype({"level": "Int64"}), None, TypeError),
    ],
)
def test_wrong_tables_are_refused(data, time, error):
    stream = Stream(TANK, 5)
    with pytest.raises(error):
        stream.push_many(data, time=time)
    assert len(stream) == 0


def test_a_dataframe_has_a_column_for_each_element():
    stream = Stream(StreamType("T", a=("Int32", 2), x="Double"), 5)
    stream.push(a=[1, 2], x=0.5, time=FIRST)
    frame = stream.all().to_pandas()
    assert list(frame.columns) == ["a[0]", "a[1]", "x"]
    assert frame.index[0] == pd.Timestamp("2024-01-01", tz="UTC")
    assert frame.index.name == "time" and frame.iloc[0].tolist() == [1, 2, 0.5]


def test_the_newest_sample_changes_and_goes():
    stream = filled(2)
    stream.change_latest({"alarm": False}, level=7.5, time=FIRST, notify=False)
    latest = stream.latest()
    assert dict(latest) == {"level": 7.5, "alarm": False, "name": ""} and latest.time == FIRST
    with pytest.raises(TypeError):
        stream.change_latest(level="x")
    with pytest.raises(tessaryn.EntryNotFoundError):
        stream.change_latest(levle=1.0)
    assert stream.pop_latest()["level"] == 7.5
    assert stream.pop_latest()["level"] == 0.0
    for use in (stream.pop_latest, stream.latest, lambda: stream.change_latest(level=1.0)):
        with pytest.raises(tessaryn.EmptyStreamError, match="Tank"):
            use()
    stream.push()
    stream.clear()
    assert len(stream) == 0 and bool(stream)


def test_rules_combine_and_tell():
    high, alarm = Rule("level > 3"), Rule("alarm == 1")
    stream = filled()
    level = stream.all()["level"]
    odd = level % 2 == 1
    for rule, expected in [
        (high & alarm, (level > 3) & odd),
        (high | alarm, (level > 3) | odd),
        (high ^ alarm, (level > 3) ^ odd),
        (~(high | alarm), ~((level > 3) | odd)),
    ]:
        assert stream.where(rule)["level"].tolist() == level[expected].tolist()
        assert [rule.matches({"level": x, "alarm": x % 2 == 1}, TANK) for x in level] == list(
            expected
        )
    assert eval(repr(high & alarm), {"Rule": Rule}) == (high & alarm)
    assert high.matches(stream.latest()) and not high.matches({"level": 1.0}, TANK)
    with pytest.raises(TypeError):
        high & "alarm == 1"
    with pytest.raises(AttributeError):
        high.matches({"level": 1.0})


@pytest.mark.parametrize(
    ("text", "position"), [("level >", 7), ("ä == 3", 0), ('name == "ää" ) x', 13), ("", 0)]
)
def test_what_is_no_rule_is_told_with_its_place(text, position):
    with pytest.raises(ValueError) as caught:
        Rule(text)
    assert isinstance(caught.value, tessaryn.RuleSyntaxError)
    assert caught.value.position == position
    assert caught.value.message in str(caught.value)
    with pytest.raises(tessaryn.RuleSyntaxError):
        filled().where(text)


def test_findings_have_places():
    rule = 'name == "ä" && levle > 3'
    (finding,) = check(rule, TANK)
    assert rule[finding.position : finding.position + finding.length] == "levle"
    assert finding.kind == "missing entry" and "level" in finding.hint and not finding.can_raise
    assert check(Rule("level > 3"), TANK) == []
    assert [f.kind for f in check("level > 3 && !alarm", TANK)] == ["uncompared entry"]


def test_objects_tell_what_they_are():
    stream = filled(3)
    assert repr(stream) == "<Stream 'Tank' of Tank 1.0.0: 3 of 100 samples>"
    assert repr(stream.all()).startswith("<Columns of 'Tank': 3 rows, 2024-01-01T00:00:00")
    assert "level=2.0" in repr(stream.latest())
    assert repr(stream.repository) == "<StreamRepository of 1 streams: Tank>"
    assert "Tank" in repr(stream.repository.types)


def test_removal_waits_for_calls_under_way():
    for _ in range(20):
        streams = StreamRepository()
        stream = streams.add("x", TANK, 1000)
        outcomes = []

        def work():
            try:
                while True:
                    stream.push(level=1.0)
                    stream.push_many({"level": np.ones(10)})
                    outcomes.append(stream.where("level > 0").rows)
            except ReferenceError:
                outcomes.append("dead")

        threads = [threading.Thread(target=work) for _ in range(3)]
        for thread in threads:
            thread.start()
        while not outcomes:
            pass
        streams.remove("x")
        for thread in threads:
            thread.join(30)
        assert outcomes.count("dead") == 3
