# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

import asyncio
import gc
import logging
import threading
import weakref

import numpy as np
import pytest

import tessaryn
from tessaryn import StreamRepository, StreamType

TANK = StreamType("Tank", level="Double", alarm="Bool", name="String")
START = np.datetime64("2024-05-01T00:00:00", "us")


@pytest.fixture
def streams():
    with StreamRepository() as made:
        made.add("tank", TANK, 100)
        yield made


@pytest.fixture
def tank(streams):
    return streams["tank"]


def push_levels(stream, levels, start=0):
    for i, level in enumerate(levels, start):
        stream.push(time=START + np.timedelta64(i, "s"), level=level)


def levels_of(changes):
    return [change.sample["level"] for change in changes]


def taken(subscription):
    """The waiting changes."""
    changes = []
    while subscription.waiting:
        changes.append(subscription.get(timeout=10))
    return changes


def test_changes_arrive_in_order_until_the_stream_is_removed(streams, tank):
    with tank.subscribe("level > 3") as changes:
        push_levels(tank, [1.0, 3.5, 2.0, 4.5])
        tank.push(level=5.5, alarm=True, name="full")
        streams.remove("tank")
        got = list(changes)
        assert levels_of(got) == [3.5, 4.5, 5.5]
        assert [change.sequence for change in got] == [1, 2, 3]
        assert got[0].kind == "pushed" and got[0].dropped == 0
        assert got[0].sample.time == START + np.timedelta64(1, "s")
        assert got[0].sample.type == TANK
        assert dict(got[2].sample) == {"level": 5.5, "alarm": True, "name": "full"}
        assert changes.has_ended and changes.get() is None
        assert changes.statistics == (3, 3, 0, 0, 0)


def test_an_iteration_ends_after_the_timeout_and_can_be_continued(tank):
    changes = tank.subscribe(timeout="20ms")
    assert list(changes) == [] and not changes.has_ended
    push_levels(tank, [1.0])
    # An iteration may end again before the change arrives.
    got = []
    while not got:
        got = levels_of(changes)
    assert got == [1.0]
    with pytest.raises(TimeoutError, match="'tank'"):
        changes.get(timeout=0.01)
    changes.close()
    assert changes.has_ended and changes.get() is None


def test_history_comes_first(tank):
    push_levels(tank, [1.0, 2.0])
    changes = tank.subscribe("level < 3", history=True)
    push_levels(tank, [9.0, 2.5], start=2)
    assert levels_of(changes.get(timeout=10) for _ in range(3)) == [1.0, 2.0, 2.5]


@pytest.mark.parametrize(
    ("policy", "delivered"),
    [("drop_oldest", [7.0, 8.0, 9.0]), ("drop_newest", [0.0, 1.0, 2.0]), ("keep_latest", [9.0])],
)
def test_a_full_queue_follows_the_policy(tank, policy, delivered):
    changes = tank.subscribe(policy=policy, capacity=3)
    for level in range(10):
        push_levels(tank, [float(level)], start=level)
        # Waits until a worker has passed the change to the subscription.
        while changes.statistics.accepted != level + 1:
            pass
        while changes.waiting > len(delivered):
            pass
    got = taken(changes)
    assert levels_of(got) == delivered
    assert changes.statistics == (10, len(delivered), 10 - len(delivered), 0, 0)
    assert got[0].dropped == got[0].sequence - 1
    push_levels(tank, [10.0], start=10)
    assert changes.get(timeout=10).dropped == 10 - got[-1].sequence


def test_a_pusher_may_wait_for_room(tank):
    changes = tank.subscribe(policy="wait", capacity=2, max_wait="30s")
    pusher = threading.Thread(target=push_levels, args=(tank, [float(i) for i in range(50)]))
    pusher.start()
    got = [changes.get(timeout=30) for _ in range(50)]
    pusher.join()
    assert levels_of(got) == [float(i) for i in range(50)]
    assert changes.dropped == 0
    changes.close()
    # Nobody takes changes, so the pusher gives up.
    impatient = tank.subscribe(policy="wait", capacity=1, max_wait="1ms")
    push_levels(tank, [float(i) for i in range(10)], start=50)
    counts = impatient.statistics
    assert counts.dropped > 0 and counts.accepted == 10 == counts.dropped + counts.waiting
    impatient.close()
    assert impatient.statistics == (10, 0, 10, 0, 0)


def test_a_callback_runs_on_a_thread_of_its_own(tank, caplog):
    names, got = set(), []

    def note(change):
        names.add(threading.current_thread().name)
        got.append(change.sample["level"])
        assert not changes.drain()
        if len(got) == 2:
            raise ValueError("no second one")

    changes = tank.subscribe("level > 0", note)
    with caplog.at_level(logging.ERROR, "tessaryn"):
        push_levels(tank, [1.0, 2.0, 3.0])
        assert changes.drain(timeout=30)
    assert got == [1.0, 2.0, 3.0]
    assert names == {"tessaryn tank"}
    assert "no second one" in caplog.text and "'tank'" in caplog.text
    with pytest.raises(TypeError):
        next(changes)
    changes.close()
    push_levels(tank, [4.0], start=4)
    assert got == [1.0, 2.0, 3.0]


def test_a_callback_may_push_to_its_stream_and_close_its_subscription(tank):
    done = threading.Event()

    def raise_level(change):
        level = change.sample["level"]
        if level < 5:
            tank.push(level=level + 1)
        else:
            changes.close()
            done.set()

    changes = tank.subscribe(callback=raise_level)
    tank.push(level=0.0)
    assert done.wait(30) and changes.has_ended
    assert tank.latest()["level"] == 5.0


def test_without_references_callbacks_continue_and_other_subscriptions_end(tank):
    got = threading.Event()
    tank.subscribe(callback=lambda change: got.set())
    gone = weakref.ref(tank.subscribe())
    gc.collect()
    assert gone() is None
    tank.push(level=1.0)
    assert got.wait(30)


def test_changes_come_to_tasks(streams, tank):
    async def main():
        changes = tank.subscribe(timeout=30)
        late = tank.subscribe(timeout="10ms")
        assert [change async for change in late] == []
        levels = [float(i) for i in range(200)]
        pusher = threading.Thread(target=push_levels, args=(tank, levels))
        pusher.start()
        ticks = 0

        async def tick():
            nonlocal ticks
            while True:
                ticks += 1
                await asyncio.sleep(0)

        ticker = asyncio.create_task(tick())
        got = []
        async with changes:
            async for change in changes:
                got.append(change.sample["level"])
                if len(got) == len(levels):
                    streams.remove("tank")
        ticker.cancel()
        pusher.join()
        assert got == levels and changes.has_ended
        assert ticks > 0

    asyncio.run(asyncio.wait_for(main(), 60))


def test_a_task_that_waits_can_be_cancelled_and_two_share(tank):
    async def main():
        changes = tank.subscribe()
        waiting = asyncio.create_task(changes.__anext__())
        await asyncio.sleep(0.01)
        waiting.cancel()
        with pytest.raises(asyncio.CancelledError):
            await waiting
        both = [asyncio.create_task(changes.__anext__()) for _ in range(2)]
        await asyncio.sleep(0.01)
        push_levels(tank, [1.0, 2.0])
        got = levels_of(await asyncio.wait_for(asyncio.gather(*both), 30))
        assert sorted(got) == [1.0, 2.0]

    asyncio.run(main())


@pytest.mark.parametrize(
    ("conditions", "levels", "delivered"),
    [
        (tessaryn.on_change("level"), [1, 1, 2, 2, 1], [1, 2, 1]),
        (tessaryn.deadband("level", 0.5), [1, 1.4, 1.6, 2.0, 2.2], [1, 1.6, 2.2]),
        (tessaryn.deadband("level", 10, (0, 20)), [1, 2.9, 3.1], [1, 3.1]),
        (tessaryn.hysteresis("level", 8, 6), [5, 8, 7, 9, 6, 7, 8], [8, 6, 8]),
        (tessaryn.rising("level > 3"), [4, 5, 1, 6], [4, 6]),
        (tessaryn.falling(tessaryn.Rule("level > 3")), [4, 5, 1, 6, 2], [1, 2]),
        (tessaryn.held_for("level > 3", "2s"), [4, 4, 4, 4, 1, 4], [4]),
        (tessaryn.every_nth(3), [1, 2, 3, 4, 5, 6, 7], [1, 4, 7]),
        (tessaryn.every_nth(2) | tessaryn.on_change("level"), [1, 2, 1, 3, 4], [1, 4]),
    ],
    ids=repr,
)
def test_conditions_choose_changes(tank, conditions, levels, delivered):
    changes = tank.subscribe(conditions=conditions)
    push_levels(tank, [float(level) for level in levels])
    assert levels_of(taken(changes)) == delivered


def test_flush_delivers_held_back_changes_but_no_late_samples(tank):
    changes = tank.subscribe(conditions=tessaryn.min_interval("1min"))
    push_levels(tank, [1.0, 2.0, 3.0], start=10)
    assert levels_of(taken(changes)) == [1.0]
    changes.flush()
    assert levels_of(taken(changes)) == [3.0]
    push_levels(tank, [4.0])
    assert taken(changes) == [] and changes.statistics.late == 1


def test_repr_of_conditions_is_their_expression():
    chain = tessaryn.deadband("level", 0.5) | tessaryn.held_for("level > 3", "2s")
    assert repr(chain) == "deadband('level', 0.5) | held_for('level > 3', '2s')"


@pytest.mark.parametrize(
    ("arguments", "error", "text"),
    [
        ({"rule": "level >"}, tessaryn.RuleSyntaxError, ""),
        ({"rule": "pressure > 3"}, tessaryn.EntryNotFoundError, "entry"),
        ({"conditions": tessaryn.on_change("pressure")}, tessaryn.EntryNotFoundError, "pressure"),
        ({"conditions": tessaryn.rising("pressure > 3")}, tessaryn.EntryNotFoundError, "entry"),
        ({"conditions": tessaryn.deadband("name", 1)}, ValueError, "name"),
        ({"policy": "keep_oldest"}, ValueError, "keep_oldest"),
        ({"capacity": 0}, ValueError, "capacity"),
        ({"capacity": -1}, TypeError, ""),
        ({"timeout": -1}, ValueError, "-1"),
        ({"timeout": "soon"}, ValueError, "soon"),
        ({"timeout": 1, "callback": print}, TypeError, "timeout"),
    ],
)
def test_wrong_arguments_are_refused(tank, arguments, error, text):
    with pytest.raises(error, match=text):
        tank.subscribe(**arguments)


@pytest.mark.parametrize(
    "make",
    [
        lambda: tessaryn.deadband("level", -1),
        lambda: tessaryn.deadband("level", 1, (2, 2)),
        lambda: tessaryn.hysteresis("level", 1, 1),
        lambda: tessaryn.held_for("level > 1", "-1s"),
        lambda: tessaryn.min_interval("0s"),
        lambda: tessaryn.every_nth(0),
        lambda: tessaryn.rising("level >"),
    ],
)
def test_wrong_conditions_are_refused(make):
    with pytest.raises(ValueError):
        make()


def test_a_subscription_keeps_the_type_of_waiting_changes(streams, tank):
    changes = tank.subscribe()
    tank.push(level=1.0, name="a text that is longer than any small one")
    streams.remove("tank")
    with pytest.raises(ValueError, match="subscription"):
        streams.types.remove("Tank")
    assert [change.sample["name"] for change in changes] == [
        "a text that is longer than any small one"
    ]
    changes.close()
    del changes
    gc.collect()
    streams.types.remove("Tank")


def test_repr_shows_the_counts_and_a_removed_stream_refuses(streams, tank):
    changes = tank.subscribe()
    push_levels(tank, [1.0])
    assert repr(changes) == "<Subscription to 'tank': 0 delivered, 0 dropped, 1 waiting>"
    streams.close()
    with pytest.raises(ReferenceError):
        tank.subscribe()
