# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""Round trips of values of all types."""

import math
import struct

import numpy as np
import pytest
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

import tessaryn
from tessaryn import Stream, StreamType

INTEGERS = {
    f"{sign}Int{bits}": (-(2 ** (bits - 1)) if not sign else 0, 2 ** (bits - (not sign)) - 1)
    for sign in ("", "U")
    for bits in (8, 16, 32, 64)
}
ELEMENTS = {
    **{name: st.integers(*limits) for name, limits in INTEGERS.items()},
    "Float": st.floats(width=32),
    "Double": st.floats(),
    "Bool": st.booleans(),
}
TEXTS = st.binary(max_size=40).map(lambda raw: raw.decode("utf-8", "surrogateescape"))


def bits(value):
    """A key that distinguishes numbers, also NaN from NaN and 0.0 from -0.0."""
    return struct.pack("d", value) if isinstance(value, float) else value


@settings(max_examples=60, deadline=None, suppress_health_check=list(HealthCheck))
@given(st.data())
@pytest.mark.parametrize("type_name", ELEMENTS)
def test_numbers_come_back(type_name, data):
    kind = StreamType("T", one=type_name, three=(type_name, 3), any=(type_name, 0))
    element = ELEMENTS[type_name]
    rows = data.draw(
        st.lists(
            st.fixed_dictionaries(
                {
                    "one": element,
                    "three": st.lists(element, min_size=3, max_size=3),
                    "any": st.lists(element, max_size=5),
                }
            ),
            min_size=1,
            max_size=5,
        )
    )
    single, many = Stream(kind, 10), Stream(kind, 10)
    for i, row in enumerate(rows):
        single.push(row, time=np.datetime64(i, "us"))
        latest = single.latest()
        assert bits(latest["one"]) == bits(row["one"])
        assert [bits(v) for v in latest["any"].tolist()] == [bits(v) for v in row["any"]]
    columns = single.all()
    dtype = kind.dtype["one"]
    assert columns["one"].dtype == dtype and columns["three"].dtype == dtype
    for name in ("one", "three"):
        expected = np.array([row[name] for row in rows], dtype)
        np.testing.assert_array_equal(columns[name], expected)
        assert columns[name].shape == expected.shape
    many.push_many(columns)
    np.testing.assert_array_equal(many.all().time, columns.time)
    for name in ("one", "three"):
        assert many.all()[name].tobytes() == columns[name].tobytes()
    for row, array in zip(rows, many.all()["any"]):
        assert array.dtype == dtype
        assert [bits(v) for v in array.tolist()] == [bits(v) for v in row["any"]]


@settings(max_examples=60, deadline=None, suppress_health_check=list(HealthCheck))
@given(st.lists(TEXTS, min_size=1, max_size=5))
def test_texts_of_any_bytes_come_back(texts):
    stream = Stream(StreamType("T", text=str), 10)
    for text in texts:
        stream.push(text=text)
        assert stream.latest()["text"] == text
    stream.push_many({"text": [text.encode("utf-8", "surrogateescape") for text in texts]})
    assert list(stream.all()["text"]) == texts + texts


@pytest.mark.parametrize(("type_name", "limits"), INTEGERS.items())
def test_integers_stop_at_their_ends(type_name, limits):
    stream = Stream(StreamType("T", n=type_name, a=(type_name, 2)), 10)
    lowest, highest = limits
    stream.push_many({"n": [lowest, highest], "a": [[lowest, highest]] * 2})
    assert stream.all()["n"].tolist() == [lowest, highest]
    assert stream.latest()["a"].tolist() == [lowest, highest]
    for wrong in (lowest - 1, highest + 1, 10**30):
        with pytest.raises(OverflowError, match="'n'"):
            stream.push(n=wrong)
        with pytest.raises(OverflowError, match="'a'"):
            stream.push(a=[0, wrong])
        with pytest.raises((OverflowError, TypeError), match="'n'"):
            stream.push_many({"n": [0, wrong]})
    for wrong in (1.0, "1", None, [1], np.float64(1), b"1"):
        with pytest.raises(TypeError, match="'n'"):
            stream.push(n=wrong)
    with pytest.raises(TypeError, match="'n'"):
        stream.push_many({"n": np.array([1.0])})
    assert len(stream) == 2


def test_floating_point_numbers_keep_their_kind():
    stream = Stream(StreamType("T", f="Float", d="Double"), 10)
    stream.push(f=3, d=np.float32(0.5))
    stream.push(f=math.inf, d=math.nan)
    assert stream.all()["f"].tolist() == [3.0, math.inf]
    assert stream.all()["d"][0] == 0.5 and math.isnan(stream.all()["d"][1])
    with pytest.raises(OverflowError, match="'f'"):
        stream.push(f=1e39)
    with pytest.raises(OverflowError, match="'f'"):
        stream.push_many({"f": [1.0, 1e39]})
    for wrong in ("1.5", None, 1j, [1.5]):
        with pytest.raises(TypeError, match="'d'"):
            stream.push(d=wrong)


def test_bools_and_texts_are_no_numbers():
    stream = Stream(StreamType("T", b="Bool", s="String"), 10)
    stream.push(b=np.bool_(True), s=b"\xff\0x")
    assert stream.latest()["b"] is True and stream.latest()["s"] == "\udcff\0x"
    for wrong in (1, 0, 1.0, "True", None):
        with pytest.raises(TypeError, match="'b'"):
            stream.push(b=wrong)
    for wrong in (1, None, ["x"]):
        with pytest.raises(TypeError, match="'s'"):
            stream.push(s=wrong)
    with pytest.raises(TypeError, match="'b'"):
        stream.push_many({"b": [1, 0]})
    with pytest.raises(TypeError, match=r"'s'.*row 1"):
        stream.push_many({"s": ["x", 1]})
    assert len(stream) == 1


@pytest.mark.parametrize(
    "wrong", [[1.0], [1.0] * 3, [], np.zeros((1, 2)), np.float64(1.0), 1.0, {1.0, 2.0}, "ab"]
)
def test_arrays_of_another_shape_are_refused(wrong):
    stream = Stream(StreamType("T", a=("Double", 2)), 10)
    with pytest.raises((ValueError, TypeError), match="'a'"):
        stream.push(a=wrong)
    with pytest.raises((ValueError, TypeError)):
        stream.push_many({"a": [wrong]})
    assert len(stream) == 0


def test_arrays_of_other_memory_are_converted():
    stream = Stream(StreamType("T", a=("Int16", 3)), 10)
    wide = np.arange(12, dtype=">i8").reshape(3, 4)
    stream.push(a=wide[::2, 1:][0])
    stream.push(a=np.arange(6, dtype="i2")[::-2])
    stream.push(a=(7, np.uint8(8), True))
    assert stream.all()["a"].tolist() == [[1, 2, 3], [5, 3, 1], [7, 8, 1]]
    stream.push_many({"a": wide[:, :3]})
    assert stream.all()["a"][3:].tolist() == wide[:, :3].tolist()


def test_what_is_not_given_is_zero():
    stream = Stream(StreamType("T", n="Int32", a=("Double", 2), s=str, v=("Bool", 0)), 10)
    stream.push()
    latest = stream.latest()
    assert latest["n"] == 0 and latest["s"] == ""
    assert latest["a"].tolist() == [0.0, 0.0] and latest["v"].tolist() == []


def test_wrong_names_are_told():
    stream = Stream(StreamType("Tank", level="Double"), 10)
    for use in (
        lambda: stream.push(levle=1.0),
        lambda: stream.push({"levle": 1.0}),
        lambda: stream.push({3: 1.0}),
        lambda: stream.push_many({"levle": [1.0]}),
    ):
        with pytest.raises((tessaryn.EntryNotFoundError, TypeError)) as caught:
            use()
        assert "Tank" in str(caught.value) or "str is needed" in str(caught.value)
    with pytest.raises(TypeError):
        stream.push({}, {})
    assert len(stream) == 0


def test_an_entry_may_have_any_name():
    stream = Stream(StreamType("T", "1.0.0", {"time": "Int32", "self": "Int32", "ä b": "Int32"}), 5)
    stream.push({"time": 1, "self": 2, "ä b": 3}, time="2024-01-01")
    stream.push_many({"time": [4], "ä b": [5]}, time=["2024-01-02"])
    assert stream.all()["time"].tolist() == [1, 4]
    assert stream.all()["ä b"].tolist() == [3, 5]


def test_a_conversion_cannot_remove_its_stream():
    stream = Stream(StreamType("T", n="Int32"), 5)

    class Remover:
        def __index__(self):
            stream.repository.clear()
            return 1

    with pytest.raises(tessaryn.TessarynError, match="while a value is converted"):
        stream.push(n=Remover())
    stream.push(n=2)
    assert len(stream) == 1
