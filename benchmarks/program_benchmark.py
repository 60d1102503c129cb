#!/usr/bin/env python3
# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0
"""Measures the program beside the tools that do the same, and prints ratios of CPU time.

usage: program_benchmark.py PROGRAM FLOORS [ROWS]

Each command reads the same file; its time is the least of three runs, user and system. FLOORS is
the program that parses JSON lines, and unpacks and splits tables, by the libraries alone. Peaks of
memory below that of this script are shown as its own.
"""

import gzip
import math
import os
import random
import shutil
import subprocess
import sys
import tempfile

RUNS = 3


def write_recording(path, rows):
    """Six columns, one row a second; a fault of 100 rows ten times, door open in each 997th row."""
    choice = random.Random(1)
    fault = max(1, rows // 10)
    with open(path, "w", encoding="ascii") as out:
        out.write("time,temperature,pressure,humidity,door,state\n")
        for i in range(rows):
            day, second = divmod(i, 86400)
            out.write(
                f"2026-01-{1 + day:02}T{second // 3600:02}:{second // 60 % 60:02}:"
                f"{second % 60:02}Z,"
                f"{5 + 2 * math.sin(i / 500) + choice.random():.3f},"
                f"{1013 + choice.gauss(0, 3):.2f},{60 + 20 * choice.random():.1f},"
                f"{int(i % 997 == 0)},{'fault' if i % fault < 100 else 'ok'}\n"
            )


def run(command, directory):
    """CPU seconds, peak memory in MiB and lines of the output."""
    output = os.path.join(directory, "output")
    with open(output, "wb") as out, open(os.devnull, "rb") as nothing:
        child = subprocess.Popen(command, stdin=nothing, stdout=out, stderr=subprocess.DEVNULL)
        _, status, usage = os.wait4(child.pid, 0)
        child.returncode = os.waitstatus_to_exitcode(status)
    if child.returncode not in (0, 1):
        sys.exit(f"failed with {child.returncode}: {' '.join(command)}")
    with open(output, "rb") as text:
        lines = sum(block.count(b"\n") for block in iter(lambda: text.read(1 << 20), b""))
    return usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024, lines


def measure(command, directory):
    results = [run(command, directory) for _ in range(RUNS)]
    return min(result[0] for result in results), results[0][1], results[0][2]


class Report:
    def __init__(self, directory):
        self.directory = directory

    def compare(self, what, ours, others):
        """others: (name, command, goal or None); a tool that is not installed is left out."""
        time, memory, lines = measure(ours, self.directory)
        print(f"\n{what}: {time:.3f} s, {memory:.0f} MiB, {lines} lines\n    {show(ours)}")
        for name, command, goal in others:
            if shutil.which(command[0]) is None:
                print(f"  {name:12} is not installed")
                continue
            other, peak, printed = measure(command, self.directory)
            verdict = ""
            if goal is not None:
                verdict = f"  goal {goal}: {'held' if time <= goal * other else 'MISSED'}"
            print(f"  {name:12} {other:.3f} s, {peak:.0f} MiB, {printed} lines; "
                  f"ours is {time / other:.2f} of it{verdict}")


def show(command):
    return " ".join(f"'{word}'" if " " in word or "$" in word else os.path.basename(word)
                    for word in command)


FILTER = """NR > 1 && $2 > 7 && $5 == 1 {
    print $1, "temperature=" $2, "pressure=" $3, "humidity=" $4, "door=" $5, "state=" $6 }"""
EVENTS = """NR > 1 {
    on = $6 == "fault"
    if (on && !was) { begin = $1; rows = 0; low = high = $2 }
    if (on) { ++rows; end = $1; if ($2 < low) low = $2; if ($2 > high) high = $2 }
    if (!on && was) print begin, end, rows, low, high
    was = on }"""
MEANS = """NR > 1 { hour = substr($1, 1, 13); sum[hour] += $2; ++count[hour] }
    END { for (hour in sum) print hour, sum[hour] / count[hour] }"""


def main():
    program, floors = sys.argv[1:3]
    rows = int(sys.argv[3]) if len(sys.argv) > 3 else 1_000_000
    with tempfile.TemporaryDirectory() as directory:
        def path(name):
            return os.path.join(directory, name)

        table = path("rows.csv")
        write_recording(table, rows)
        with open(table, "rb") as source, gzip.open(path("rows.csv.gz"), "wb", 6) as packed:
            shutil.copyfileobj(source, packed)
        with open(path("rows.ndjson"), "wb") as out:
            subprocess.run([program, "watch", table, "--quiet", "--output", "ndjson"], stdout=out,
                           check=True)
        print(f"{rows} rows of 6 columns, {os.path.getsize(table) / 1e6:.0f} MB; "
              f"CPU time, the least of {RUNS} runs")
        report = Report(directory)
        rule = ["--rule", "temperature > 7 && door == 1"]
        report.compare("rows where two conditions hold", [program, "watch", table, *rule], [
            ("mawk", ["mawk", "-F,", FILTER, table], 0.8),
            ("gawk", ["gawk", "-F,", FILTER, table], 0.8),
            ("Miller", ["mlr", "--icsv", "--ocsv", "filter", "$temperature > 7 && $door == 1",
                        table], 0.5),
            ("sqlite3", ["sqlite3", ":memory:", "-cmd", ".mode csv", f".import {table} t",
                         "SELECT * FROM t WHERE temperature + 0 > 7 AND door = 1"], None)])
        report.compare("the events", [program, "watch", table, "--events", "--rule",
                                      'state == "fault" && temperature > -99'], [
            ("mawk", ["mawk", "-F,", EVENTS, table], 0.6),
            ("gawk", ["gawk", "-F,", EVENTS, table], 0.6)])
        report.compare("figures of one column", [program, "stats", table, "--columns",
                                                 "temperature"], [
            ("datamash", ["sh", "-c", "datamash -t, --header-in count 2 min 2 mean 2 max 2 "
                          f"sstdev 2 median 2 perc:99 2 < {table}"], 1.0)])
        columns = "temperature,pressure,humidity"
        three = [program, "stats", table, "--columns", columns]
        report.compare("figures of three columns", three, [
            ("Miller", ["mlr", "--icsv", "--ojson", "stats1", "-a",
                        "count,min,mean,max,stddev,p50,p99", "-f", columns, table], 0.5)])
        report.compare("hourly means", [program, "stats", table, "--columns", "temperature",
                                        "--every", "1h"], [
            ("mawk", ["mawk", "-F,", MEANS, table], None)])
        report.compare("JSON lines", [program, "watch", path("rows.ndjson"), *rule], [
            ("RapidJSON", [floors, "json", path("rows.ndjson")], 1.5),
            ("jq", ["jq", "-c", "select(.entries.temperature > 7 and .entries.door == 1)",
                    path("rows.ndjson")], None)])
        report.compare("gzip", [program, "watch", path("rows.csv.gz"), *rule], [
            ("zlib, libcsv", [floors, "table", path("rows.csv.gz")], 1.5),
            ("zlib", [floors, "gzip", path("rows.csv.gz")], None),
            ("gzip | mawk", ["sh", "-c", f"gzip -dc {path('rows.csv.gz')} | mawk -F, '{FILTER}'"],
             None)])
        for form in ("html", "svg"):
            chart = path("report." + form)
            report.compare(f"report as {form}", [program, "plot", table, "--to", chart], [])
            print(f"  {os.path.getsize(chart) / 1e6:.2f} MB; goals: 3 s, 2 MB")


if __name__ == "__main__":
    main()
