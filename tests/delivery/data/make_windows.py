#!/usr/bin/env python3
# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""Makes windows.csv: what pandas' resample says of the example recording, with some values missing.

    make_windows.py ../../../examples/data/synthetic_cold_store.csv > windows.csv

Kept so that the table can be made again; written with pandas 1.5.3 of Debian 12.
"""

import sys

import pandas

frame = pandas.read_csv(sys.argv[1], index_col="time", parse_dates=True)
frame = frame[["temperature", "power", "door_open"]].astype(float)
# Gaps in the values and in time.
frame.loc[frame.index.minute % 7 == 3, "temperature"] = float("nan")
frame = frame[~frame.index.hour.isin([2, 3])]
print("every,begin,entry,count,min,max,mean,last")
for every in ("10min", "90min"):
    for name in frame.columns:
        for begin, window in frame[name].resample(every, origin="epoch"):
            if len(window) == 0:
                continue
            figures = (window.min(), window.max(), window.mean())
            last = window.dropna()
            last = last.iloc[-1] if len(last) else float("nan")
            micros = begin.value // 1000
            print(every, micros, name, window.count(), *map(repr, map(float, figures)), repr(float(last)), sep=",")
