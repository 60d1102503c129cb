# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]


def test_the_example_finds_the_events_and_plots_them(tmp_path):
    picture = tmp_path / "cold_store.png"
    result = subprocess.run(
        [
            sys.executable,
            ROOT / "examples/python/cold_store.py",
            ROOT / "examples/data/synthetic_cold_store.csv",
            picture,
        ],
        capture_output=True,
        text=True,
        timeout=120,
        check=False,
    )
    assert result.returncode == 0, result.stderr
    stream, event, alarm = result.stdout.splitlines()
    assert stream.endswith("of synthetic_cold_store 1.0.0: 720 of 720 samples>")
    assert event == "2026-01-15T07:24 to 2026-01-15T07:29: up to 8.3 °C"
    assert alarm == "alarm at 2026-01-15T07:24"

    from matplotlib import image

    pixels = image.imread(picture)
    height, width = pixels.shape[:2]
    assert width > 600 and height > 400
    # Both curves, and the red of the event, are there.
    assert len({tuple(colour) for colour in pixels[:: height // 97].reshape(-1, 4)}) > 10
