# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""Threads, the end of the interpreter and forks. Each test that could hang has a time limit."""

import faulthandler
import os
import signal
import subprocess
import sys
import textwrap
import threading

import pytest
from host_threads import HostThreads

from tessaryn import StreamRepository, StreamType

TANK = StreamType("Tank", level="Double", name="String")
LIMIT = 60


@pytest.fixture(autouse=True)
def time_limit():
    # Prints the stacks of all threads and ends the process: only that ends a deadlock.
    faulthandler.dump_traceback_later(2 * LIMIT, exit=True)
    yield
    faulthandler.cancel_dump_traceback_later()


def run(program, count=1):
    """Runs a program in several interpreters at the same time; each has to end by itself."""
    runs = [
        subprocess.Popen(
            [sys.executable, "-B", "-X", "faulthandler", "-c", textwrap.dedent(program)],
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
        )
        for _ in range(count)
    ]
    try:
        for each in runs:
            output, errors = each.communicate(timeout=LIMIT)
            assert each.returncode == 0, errors
            assert errors == ""
    finally:
        for each in runs:
            each.kill()
    return output


def in_threads(*tasks):
    failures = []

    def guarded(task):
        try:
            task()
        except BaseException as error:  # noqa: B036
            failures.append(error)

    threads = [threading.Thread(target=guarded, args=(task,)) for task in tasks]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert failures == []


def test_eight_threads_push_query_and_subscribe_beside_those_of_a_host():
    streams = StreamRepository()
    tank = streams.add("tank", TANK, 500)
    seen = []
    counter = tank.subscribe(
        "level >= 0", lambda change: seen.append(change.sequence), capacity=100000
    )
    pushes = 300
    host = HostThreads(tank)
    streams.add("guest0", TANK, 10)
    while not (host.pushed and host.queried and host.seen and host.visits):
        pass
    streams.remove("guest0")

    def push():
        for i in range(pushes):
            tank.push(level=float(i), name="x" * (i % 40))

    def query():
        for _ in range(60):
            columns = tank.where('level > 100 || level < -100 && name != "y"')
            assert len(columns["level"]) == columns.rows == len(columns.time)
            lengths = [len(name) for name in columns["name"]]
            assert (abs(columns["level"]) % 40 == lengths).all()

    guests = ["guest0", "guest1", "guest2"]

    def subscribe():
        guest = guests.pop()
        for _ in range(30):
            streams.add(guest, TANK, 10)
            with tank.subscribe("level > 10 || level < -10", timeout=0.001, capacity=4) as changes:
                for change in changes:
                    level = abs(change.sample["level"])
                    assert level > 10 and len(change.sample["name"]) == level % 40
                    counts = changes.statistics
                    assert counts.accepted >= change.sequence and counts.delivered > 0
                    if change.sequence > 20:
                        break
            streams.remove(guest)

    in_threads(push, push, push, query, query, subscribe, subscribe, subscribe)
    assert counter.drain(timeout=LIMIT)
    host.stop()
    assert seen == list(range(1, 3 * pushes + 1))
    assert host.others_seen == 3 * pushes and host.torn == 0
    counter.close()


def test_streams_come_and_go_beside_their_users():
    streams = StreamRepository()
    rounds = 100

    def come_and_go():
        for _ in range(rounds):
            streams.add("tank", TANK, 10)
            streams.remove("tank")

    def use():
        for _ in range(rounds):
            try:
                tank = streams["tank"]
                tank.subscribe(callback=lambda change: None, capacity=2)
                tank.push(level=1.0)
                with tank.subscribe(timeout=0.0005, history=True) as changes:
                    for change in changes:
                        assert change.sample["level"] == 1.0
            except (KeyError, ReferenceError):
                pass

    in_threads(come_and_go, use, use, use)


def test_a_callback_that_uses_its_stream_does_not_lock_it():
    # A callback under the stream's lock would deadlock: it would wait for the GIL.
    streams = StreamRepository()
    tank = streams.add("tank", TANK, 100)
    other = streams.add("other", TANK, 100)

    def copy(change):
        other.push(level=change.sample["level"])
        tank.where("level > 1")
        len(tank)

    def copy_back(change):
        if change.sample["level"] < 100:
            tank.push(level=change.sample["level"] + 100)
        other.latest()

    with tank.subscribe(callback=copy) as there, other.subscribe(callback=copy_back) as back:
        in_threads(*[lambda: [tank.push(level=float(i)) for i in range(50)]] * 4)
        for _ in range(3):
            assert there.drain(LIMIT) and back.drain(LIMIT)
        assert there.statistics.delivered == 400


def test_a_pusher_that_waits_for_room_holds_no_gil():
    # If the pusher held the GIL, the thread that makes room could not run.
    tank = StreamRepository().add("tank", TANK, 100)
    with tank.subscribe(policy="wait", capacity=1, max_wait="30s") as changes:

        def take():
            for i in range(100):
                assert changes.get(timeout=LIMIT).sample["level"] == i

        in_threads(lambda: [tank.push(level=float(i)) for i in range(100)], take)
        assert changes.dropped == 0


def test_closing_beside_a_pusher_and_a_taker_that_wait():
    for _ in range(20):
        tank = StreamRepository().add("tank", TANK, 100)
        changes = tank.subscribe(policy="wait", capacity=1, max_wait="60s")
        filled = threading.Event()

        def push(tank=tank, filled=filled):
            for i in range(100):
                if i == 40:
                    filled.set()
                tank.push(level=float(i))

        def close(changes=changes, filled=filled):
            for _ in range(45):
                changes.get(timeout=LIMIT)
            assert filled.wait(LIMIT)
            changes.close()

        in_threads(push, close)
        other = tank.subscribe()
        in_threads(lambda other=other: other.get(), lambda other=other: other.close())


def test_a_wait_can_be_interrupted():
    tank = StreamRepository().add("tank", TANK, 100)
    with tank.subscribe() as changes:
        timer = threading.Timer(0.05, signal.raise_signal, (signal.SIGINT,))
        with pytest.raises(KeyboardInterrupt):
            timer.start()
            changes.get(timeout=LIMIT)
        timer.join()


BEGIN = """
    import threading, time, tessaryn, os, sys
    streams = tessaryn.StreamRepository()
    tank = streams.add("tank", tessaryn.StreamType("Tank", level=float), 100)
    started = threading.Event()

    def push_for_ever():
        while True:
            tank.push(level=1.0)

    def take(changes):
        for change in changes:
            started.set()
"""

ENDS = {
    "iterators that wait": """
        for _ in range(4):
            threading.Thread(target=take, args=(tank.subscribe(),), daemon=True).start()
        tank.push(level=1.0)
        started.wait()
    """,
    "callbacks at work": """
        tank.subscribe(callback=lambda change: (started.set(), time.sleep(0.001)))
        threading.Thread(target=push_for_ever, daemon=True).start()
        started.wait()
    """,
    "a callback that does not return": """
        tessaryn.subscription._LAST_WAIT = 0.1
        tank.subscribe(callback=lambda change: (started.set(), time.sleep(1000)))
        tank.push(level=1.0)
        started.wait()
    """,
    "pushers that wait for room": """
        changes = tank.subscribe(policy="wait", capacity=1, max_wait="1000s")
        for _ in range(4):
            threading.Thread(target=push_for_ever, daemon=True).start()
        changes.get()
    """,
    "threads within every call": """
        def query():
            while True:
                tank.where("level > 0")
        def subscribe():
            while True:
                take(tank.subscribe(timeout=0.001, history=True))
        for task in (push_for_ever, query, subscribe) * 3:
            threading.Thread(target=task, daemon=True).start()
        started.wait()
        time.sleep(0.05)
    """,
    "an exit within a callback's wait": """
        def later():
            started.wait()
            os.kill(os.getpid(), 2)
        threading.Thread(target=later, daemon=True).start()
        try:
            with tank.subscribe(callback=lambda change: started.set()) as changes:
                tank.push(level=1.0)
                # A signal right before a sleep does not end it.
                while True:
                    time.sleep(0.01)
        except KeyboardInterrupt:
            sys.exit(0)
    """,
    "subscriptions in a cycle": """
        class Node: pass
        node = Node()
        node.self = node
        node.changes = tank.subscribe()
        del streams, node
    """,
    "calls too late": """
        tessaryn.subscription._end()
        try:
            tank.subscribe()
        except RuntimeError as error:
            assert "ending" in str(error)
        else:
            raise AssertionError
        # Within a call of the library, the end of the interpreter would take a thread apart.
        refused = []
        def late(call):
            try:
                call()
            except SystemExit:
                refused.append(call)
                raise
        calls = [lambda: tank.push(level=1.0), tank.latest, tank.all, tank.subscribe,
                 lambda: tank.path, tessaryn.StreamRepository]
        for call in calls:
            thread = threading.Thread(target=late, args=(call,))
            thread.start()
            thread.join()
        assert refused == calls, refused
        assert len(tank) == 0
    """,
    "a call that takes long": """
        # The process stays until it is over; the next one is refused, and ends the thread.
        import numpy
        numbers = numpy.zeros(100000)
        large = streams.add("large", tank.type, len(numbers))
        def push():
            while True:
                large.push_many({"level": numbers})
        thread = threading.Thread(target=push)
        thread.start()
        while tessaryn._native.count_other_calls() == 0:
            time.sleep(0.001)
        tessaryn.subscription._end()
        assert tessaryn._native.count_other_calls() == 0
        thread.join()
    """,
}


# Cases in which no thread races with the end.
ALWAYS_THE_SAME = ("a callback that does not return", "subscriptions in a cycle", "calls too late")


@pytest.mark.parametrize("name", ENDS)
def test_the_interpreter_ends_beside(name):
    run(textwrap.dedent(BEGIN) + textwrap.dedent(ENDS[name]), 1 if name in ALWAYS_THE_SAME else 3)


def test_a_fork_leaves_subscriptions_to_the_parent():
    out = run(
        textwrap.dedent(BEGIN)
        + textwrap.dedent(
            """
        other = streams.add("other", tank.type, 10)
        other.push(level=7.0)
        changes = tank.subscribe(timeout=30)
        tank.subscribe(callback=lambda change: None)
        threading.Thread(target=push_for_ever, daemon=True).start()
        next(changes)
        for i in range(10):
            child = os.fork()
            if child == 0:
                try:
                    for use in (changes.get, lambda: changes.waiting, changes.close, tank.latest,
                                lambda: tank.push(level=1.0), tank.subscribe,
                                lambda: streams.remove("tank"), streams.clear):
                        try:
                            use()
                        except RuntimeError as error:
                            assert "forked" in str(error), error
                        else:
                            raise AssertionError(use)
                    repr(changes), repr(tank), repr(streams)
                    # What had no subscription is a copy, and new ones work.
                    assert other.latest()["level"] == 7.0
                    mine = other.subscribe(timeout=30)
                    other.push(level=8.0)
                    assert next(mine).sample["level"] == 8.0
                except BaseException:
                    import traceback
                    traceback.print_exc()
                    os._exit(1)
                if i % 2:
                    os._exit(0)
                sys.exit(0)
            assert os.waitpid(child, 0)[1] == 0
            assert next(changes).sample["level"] == 1.0
        print("parent goes on")
        """
        )
    )
    assert out == "parent goes on\n" or os.environ.get("PYTHONUNBUFFERED")
