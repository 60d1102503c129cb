# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""Measures the Python package beside its floors, and prints a table of the ratios.

usage: python_benchmark.py FLOOR [--gate]

FLOOR is the program python_floor. Package and floor take turns; the shortest time of each counts,
since disturbances only ever add. With --gate the script fails if a ratio exceeds its goal by more
than a tenth.
"""

import sqlite3
import subprocess
import sys
import time

import numpy as np

import tessaryn

ROWS = 1_000_000
PUSHES = 100_000
REPETITIONS = 5
TYPE = tessaryn.StreamType("Row", a="Double", b="Double", c="Double", d="Double")


def nanoseconds(count, work):
    begin = time.perf_counter()
    work()
    return (time.perf_counter() - begin) * 1e9 / count


def floor(program):
    output = subprocess.run([program, str(ROWS)], check=True, capture_output=True, text=True).stdout
    return {name: float(value) for name, value in (line.split() for line in output.splitlines())}


def rows():
    result = {name: np.arange(ROWS) + 0.5 for name in TYPE.entries}
    result["time"] = np.datetime64("2024-01-01", "us") + np.arange(ROWS)
    return result


def push_singly(stream):
    push = stream.push
    for i in range(PUSHES):
        push(a=0.5, b=1.5, c=2.5, d=3.5)


def insert_singly(database):
    execute = database.execute
    for i in range(PUSHES):
        execute("insert into samples values (?, ?, ?, ?)", (0.5, 1.5, 2.5, 3.5))


def measure(program):
    times = {}

    def note(name, value):
        times[name] = min(value, times.get(name, value))

    table = rows()
    for _ in range(REPETITIONS):
        for name, value in floor(program).items():
            note("floor " + name, value)
        stream = tessaryn.Stream(TYPE, ROWS)
        note("push", nanoseconds(ROWS, lambda: stream.push_many(table)))
        for _ in range(2):
            note("read", nanoseconds(ROWS, stream.all))
        del stream
        ring = tessaryn.Stream(TYPE, PUSHES)
        note("single", nanoseconds(PUSHES, lambda: push_singly(ring)))
        database = sqlite3.connect(":memory:")
        database.execute("create table samples (a real, b real, c real, d real)")
        note("floor single", nanoseconds(PUSHES, lambda: insert_singly(database)))
        database.close()
    return times


def main():
    times = measure(sys.argv[1])
    print("| Python | ns | floor | ns | ratio | goal |\n|---|---|---|---|---|---|")
    has_failed = False
    for name, what, beside, goal in [
        ("push", f"push_many of {ROWS} rows of 4 numbers, a row", "PushMany in C++", 1.5),
        ("read", f"columns of {ROWS} samples, a sample", "a loop in C++", 3.0),
        ("single", "push of 4 numbers", "sqlite3: insert into memory", 4.0),
    ]:
        ours, theirs = times[name], times["floor " + name]
        ratio = ours / theirs
        has_failed = has_failed or ratio > goal * 1.1
        print(f"| {what} | {ours:.0f} | {beside} | {theirs:.0f} | {ratio:.2f} | {goal} |")
    return 1 if has_failed and "--gate" in sys.argv else 0


if __name__ == "__main__":
    sys.exit(main())
