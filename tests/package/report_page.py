#!/usr/bin/python3
# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""report_page.py <program> <recording>: opens the page of `tessaryn plot` in headless Chromium. Each
canvas has something drawn on it, events are shaded, pointing at a chart shows a value of the
recording, and zooming one chart zooms the others."""

import csv
import os
import re
import subprocess
import sys
import tempfile

from selenium import webdriver
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By

PIXELS = """
const canvas = arguments[0].querySelectorAll("canvas")[0];
const data = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height).data;
let drawn = 0, shaded = 0;
for (let i = 0; i < data.length; i += 4) {
  if (data[i + 3] > 0) ++drawn;
  if (data[i + 3] > 0 && data[i] > data[i + 2] + 100) ++shaded;
}
return [drawn, shaded];
"""


def open_browser():
    options = webdriver.ChromeOptions()
    for argument in ["--headless=new", "--no-sandbox", "--disable-gpu", "--window-size=1200,900"]:
        options.add_argument(argument)
    return webdriver.Chrome(options=options)


def check(browser, rows):
    charts = browser.find_elements(By.CLASS_NAME, "chart")
    assert len(charts) == 4, len(charts)
    for chart in charts:
        drawn, shaded = browser.execute_script(PIXELS, chart)
        assert drawn > 1000 and shaded > 100, (drawn, shaded)
    events = browser.find_elements(By.CSS_SELECTOR, "#events li")
    assert len(events) == int(rows["events"]), len(events)

    ActionChains(browser).move_to_element_with_offset(charts[0], 120, 20).perform()
    legend = charts[0].find_element(By.CLASS_NAME, "dygraph-legend").text
    time, value = re.fullmatch(r"([-0-9]+ [:0-9]+): temperature: ([-.0-9]+)", legend).groups()
    assert rows[time.replace(" ", "T") + "Z"] == float(value), legend

    ActionChains(browser).move_to_element(charts[0]).click_and_hold().move_by_offset(200, 0).release().perform()
    lengths = browser.execute_script("return charts.map(g => g.xAxisRange()[1] - g.xAxisRange()[0])")
    whole = browser.execute_script("return report.length")
    assert max(lengths) == min(lengths) < whole / 2, lengths


def main(program, recording):
    with open(recording, encoding="utf-8", newline="") as file:
        rows = {row["time"]: float(row["temperature"]) for row in csv.DictReader(file)}
    rule = "warm: temperature > 8.0"
    with tempfile.TemporaryDirectory() as folder:
        page = os.path.join(folder, "report.html")
        subprocess.run([program, "plot", "--quiet", recording, "--rule", rule, "--to", page], check=True)
        events = subprocess.run([program, "watch", "--quiet", recording, "--rule", rule, "--events"],
                                check=True, capture_output=True).stdout
        rows["events"] = len(events.splitlines())
        browser = open_browser()
        try:
            browser.get("file://" + page)
            check(browser, rows)
        finally:
            browser.quit()


main(*sys.argv[1:])
