# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""Subscriptions: changes of streams for threads and tasks of Python."""

from __future__ import annotations

import asyncio
import atexit
import datetime
import logging
import os
import threading
import time
import weakref
from collections.abc import AsyncIterator, Callable, Iterator
from dataclasses import dataclass
from types import TracebackType
from typing import Literal, NamedTuple, Union

import numpy as np

from . import _native
from ._closing import Closing
from ._native import Condition, Rule, StreamType
from ._tables import Span, span_microseconds
from .sample import Sample

Timeout = Union[float, Span, None]
Policy = Literal["drop_oldest", "drop_newest", "keep_latest", "wait"]

_LOG = logging.getLogger("tessaryn")
# How long the end of the interpreter waits for running callbacks and calls.
_LAST_WAIT = 2.0

_deliveries: weakref.WeakSet[_native.Delivery] = weakref.WeakSet()
_threads: weakref.WeakSet[threading.Thread] = weakref.WeakSet()


@dataclass(frozen=True)
class Change:
    """A change of a stream, with a copy of the sample."""

    #: "pushed", "popped" for the newest sample removed, or "changed" for the newest one changed.
    kind: str
    #: A copy of the sample, made right after the change.
    sample: Sample
    #: Counts the changes of a subscription from 1, including dropped ones.
    sequence: int
    #: Changes that were dropped between the previous one and this one.
    dropped: int


class Statistics(NamedTuple):
    """Counts of a subscription. Always: accepted = delivered + dropped + waiting."""

    #: Changes that rule and conditions let through.
    accepted: int
    #: Changes that were delivered.
    delivered: int
    #: Changes that did not fit in the queue, or waited when the subscription was closed.
    dropped: int
    #: Changes that wait now.
    waiting: int
    #: Samples that conditions ignored as older than an earlier one.
    late: int


def _timeout_microseconds(timeout: Timeout) -> int | None:
    if timeout is None:
        return None
    if isinstance(timeout, (str, datetime.timedelta, np.timedelta64)):
        micros = span_microseconds(timeout)
    else:
        # A year stands for infinity, which does not fit.
        micros = round(min(timeout, 365 * 86400.0) * 1e6)
    if micros < 0:
        raise ValueError(f"a timeout is not negative, as {timeout!r} is")
    return micros


def _take(delivery: _native.Delivery, type: StreamType, timeout: int | None) -> Change | None:
    taken = delivery.take(timeout)
    if taken is None:
        return None
    kind, stamp, values, sequence, dropped = taken
    return Change(kind, Sample(type, stamp, values), sequence, dropped)


class Subscription(Closing):
    """Changes of one stream, which Stream.subscribe makes.

    Iterate over it with for or async for, or call get(). It ends when the stream is removed or its
    repository is closed, after the changes that were waiting then; close() ends it at once. Each
    change is delivered once, to one of the waiting threads and tasks. A subscription without
    references ends.

    A callback is called on its own thread; the subscription then lives until its end, even without
    references. Exceptions of a callback are logged, and the subscription continues.
    """

    def __init__(
        self,
        stream: _native.StreamHandle,
        rule: Rule | None,
        callback: Callable[[Change], object] | None = None,
        *,
        history: bool = False,
        capacity: int = 1024,
        policy: Policy = "drop_oldest",
        max_wait: Span = "100ms",
        conditions: Condition | None = None,
        timeout: Timeout = None,
    ) -> None:
        self._timeout = _timeout_microseconds(timeout)
        if callback is not None and timeout is not None:
            raise TypeError("a subscription with a callback takes no timeout")
        self._path = stream.path
        self._type = stream.type
        self._thread: threading.Thread | None = None
        self._delivery = _native.Delivery(
            stream, rule, capacity, policy, max_wait, conditions, history
        )
        _deliveries.add(self._delivery)
        if callback is not None:
            self._start(callback)

    def _start(self, callback: Callable[[Change], object]) -> None:
        arguments = (self._delivery, self._type, self._path, callback)
        name = f"tessaryn {self._path}"
        self._thread = threading.Thread(target=_hand_over, args=arguments, name=name, daemon=True)
        _threads.add(self._thread)
        try:
            self._thread.start()
        except BaseException:
            self._delivery.close()
            raise

    @property
    def path(self) -> str:
        """The path of the stream."""
        return self._path

    @property
    def has_ended(self) -> bool:
        """Whether no more changes will come."""
        return self._delivery.has_ended()

    @property
    def statistics(self) -> Statistics:
        """All counts, taken at the same moment."""
        return Statistics(*self._delivery.statistics())

    @property
    def delivered(self) -> int:
        """Changes that were delivered."""
        return self.statistics.delivered

    @property
    def dropped(self) -> int:
        """Changes that did not fit in the queue, or waited when the subscription was closed."""
        return self.statistics.dropped

    @property
    def waiting(self) -> int:
        """Changes that wait now."""
        return self.statistics.waiting

    def get(self, timeout: Timeout = None) -> Change | None:
        """Wait for the next change. A timeout is in seconds, or a duration such as "100ms".

        The result is None at the end. TimeoutError is raised when the time is over.
        """
        self._check_no_callback()
        change = _take(self._delivery, self._type, _timeout_microseconds(timeout))
        if change is None and not self.has_ended:
            raise TimeoutError(f"no change of {self._path!r} within {timeout!r}")
        return change

    def __iter__(self) -> Iterator[Change]:
        return self

    def __next__(self) -> Change:
        self._check_no_callback()
        change = _take(self._delivery, self._type, self._timeout)
        if change is None:
            raise StopIteration
        return change

    def __aiter__(self) -> AsyncIterator[Change]:
        return self

    async def __anext__(self) -> Change:
        self._check_no_callback()
        change = await self._take_async(self._timeout)
        if change is None:
            raise StopAsyncIteration
        return change

    async def _take_async(self, timeout: int | None) -> Change | None:
        loop = asyncio.get_running_loop()
        until = None if timeout is None else loop.time() + timeout / 1e6
        # Lets other tasks run, however fast the changes come.
        await asyncio.sleep(0)
        while True:
            change = _take(self._delivery, self._type, 0)
            if change is not None or self.has_ended:
                return change
            left = None if until is None else until - loop.time()
            if left is not None and left <= 0:
                return None
            await self._wait_async(loop, left)

    async def _wait_async(self, loop: asyncio.AbstractEventLoop, timeout: float | None) -> None:
        ready = asyncio.Event()
        # A separate descriptor for this wait: a loop has only one reader for each.
        descriptor = os.dup(self._delivery.fileno())
        try:
            loop.add_reader(descriptor, ready.set)
            try:
                await asyncio.wait_for(ready.wait(), timeout)
            except asyncio.TimeoutError:
                pass
            finally:
                loop.remove_reader(descriptor)
        finally:
            os.close(descriptor)

    def flush(self) -> None:
        """Deliver the changes that conditions hold back."""
        self._delivery.flush()

    def drain(self, timeout: Timeout = None) -> bool:
        """Wait until all present changes have been handled or dropped.

        A change is handled when its callback has returned, or when the next one is requested.
        Returns whether that happened in time; within the callback, False at once.
        """
        if self._thread is threading.current_thread():
            return False
        return self._delivery.drain(_timeout_microseconds(timeout))

    def close(self, timeout: Timeout = None) -> None:
        """End the subscription and drop waiting changes. Waits for a running callback, unless it
        makes this call; raises TimeoutError when that takes longer."""
        limit = _timeout_microseconds(timeout)
        self._delivery.close()
        if self._thread is not None and self._thread is not threading.current_thread():
            self._thread.join(None if limit is None else limit / 1e6)
            if self._thread.is_alive():
                raise TimeoutError(f"a callback of {self._path!r} runs longer than {timeout!r}")

    def _check_no_callback(self) -> None:
        if self._thread is not None:
            raise TypeError("a subscription with a callback hands over by itself")

    async def __aenter__(self) -> Subscription:
        return self

    async def __aexit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        traceback: TracebackType | None,
    ) -> None:
        self.close()

    def __repr__(self) -> str:
        try:
            counts = self.statistics
        except RuntimeError:
            return f"<Subscription to {self._path!r} of the process that was forked>"
        state = ", ended" if self.has_ended else ""
        return (
            f"<Subscription to {self._path!r}{state}: {counts.delivered} delivered, "
            f"{counts.dropped} dropped, {counts.waiting} waiting>"
        )


def _hand_over(
    delivery: _native.Delivery,
    type: StreamType,
    path: str,
    callback: Callable[[Change], object],
) -> None:
    while True:
        change = _take(delivery, type, None)
        if change is None:
            return
        try:
            callback(change)
        except Exception:
            _LOG.exception("A callback of the stream %r failed.", path)


def _end() -> None:
    # Runs before the interpreter ends: after that, no thread may be used or waited for.
    for delivery in list(_deliveries):
        delivery.close()
    until = time.monotonic() + _LAST_WAIT
    for thread in list(_threads):
        if thread is not threading.current_thread() and thread.is_alive():
            thread.join(max(0.0, until - time.monotonic()))
    _native.close_deliveries()
    # From here on, new calls of other threads raise SystemExit; running calls have to end.
    until = time.monotonic() + _LAST_WAIT
    while _native.count_other_calls() > 0 and time.monotonic() < until:
        time.sleep(0.001)


def _abandon() -> None:
    for delivery in list(_deliveries):
        delivery.abandon()
    _deliveries.clear()
    _native.abandon_deliveries()


atexit.register(_end)
os.register_at_fork(after_in_child=_abandon)
