#!/usr/bin/env bash
# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

# Prints twelve hours of an invented cold store, one row a minute, as CSV. Nothing here was
# measured. The random numbers come from a generator with a fixed seed, so every machine prints the
# same bytes:  scripts/make_example_recording.sh > examples/data/synthetic_cold_store.csv

set -euo pipefail

LC_ALL=C awk '
# Park and Miller: every product stays below 2^53, so that awk computes it exactly.
function uniform() {
    seed = (16807 * seed) % 2147483647
    return seed / 2147483647
}
BEGIN {
    seed = 20260115
    temperature = 3.2
    humidity = 62.0
    compressor = "idle"
    door_left = 0
    print "time,temperature,humidity,power,door_open,compressor"
    for (minute = 0; minute < 720; ++minute) {
        # Deliveries are in the morning: the door opens often between 05:00 and 09:00.
        busy = minute >= 300 && minute < 540
        if (door_left > 0)
            --door_left
        else if (uniform() < (busy ? 0.06 : 0.006))
            door_left = 1 + int(6 * uniform())

        # From 06:30 to 07:30 the compressor is broken.
        if (minute >= 390 && minute < 450)
            compressor = "fault"
        else if (temperature > 4.0)
            compressor = "cooling"
        else if (temperature < 2.0 || compressor == "fault")
            compressor = "idle"

        temperature += 0.0055 * (18.0 - temperature)
        if (door_left > 0)
            temperature += 0.030 * (18.0 - temperature)
        if (compressor == "cooling")
            temperature -= 0.34
        temperature += 0.06 * (uniform() - 0.5)
        humidity += 0.08 * (62.0 - humidity) + (door_left > 0 ? 2.2 : 0.0) + 0.8 * (uniform() - 0.5)
        power = (compressor == "cooling" ? 1450 : 85) + int(40 * uniform())

        printf "2026-01-15T%02d:%02d:00Z,%.2f,%.1f,%d,%d,%s\n", int(minute / 60), minute % 60,
            temperature, humidity, power, (door_left > 0), compressor
    }
}'
