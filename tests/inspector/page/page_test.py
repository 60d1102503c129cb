#!/usr/bin/python3
# Copyright (c) 2026 The Velmora Tessaryn authors
# SPDX-License-Identifier: BSL-1.0

"""page_test.py <page_host> <recording.csv> <folder for pictures> [<tessaryn>] [<test>...]: the
inspector's page in headless Chromium, before a host that pushes the recording, and before
`tessaryn serve` that replays a real one: the CSV file that VELMORA_RECORDING names, of which the
first column holds times and another one numbers, or else one of the machine that runs the test.
Each test looks at what a reader of the page sees, and none may leave an error or a violation of the
page's policy in the console."""

import calendar
import csv
import datetime
import os
import re
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.parse

from selenium import webdriver
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.wait import WebDriverWait

PROGRAM, RECORDING, PICTURES = sys.argv[1:4]
SERVICE = sys.argv[4] if os.path.isfile("".join(sys.argv[4:5])) else None
STREAM = "plant/recording"
HOSTILE = '<img src=x onerror="window.pwned=1">'
RULE = "temperature > 8.0"
PATIENCE = 60
# Half an hour off, so that a page that takes one zone for another is noticed.
ZONE, AHEAD = "Asia/Kolkata", 19800

# Columns of a chart's picture whose top pixels have the colour of the matches' bars.
MARKED = """
const canvas = arguments[0].querySelectorAll("canvas")[0];
const scale = canvas.width / canvas.clientWidth;
const { data, width } = canvas.getContext("2d").getImageData(0, 0, canvas.width, 3);
const columns = [];
for (let x = 0; x < width; ++x) {
  const i = 4 * (2 * width + x);
  if (data[i + 3] > 200 && data[i] > data[i + 2] + 80) columns.push(x / scale);
}
return columns;
"""
DRAWN = """
const canvas = arguments[0].querySelectorAll("canvas")[0];
return canvas.toDataURL();
"""

def read_recording():
    with open(RECORDING, encoding="utf-8", newline="") as file:
        rows = list(csv.DictReader(file))
    return [(row["time"].rstrip("Z").replace("T", " "), float(row["temperature"])) for row in rows]


def to_seconds(text):
    return calendar.timegm(time.strptime(text, "%Y-%m-%d %H:%M:%S"))


def shift(text, seconds):
    return time.strftime("%Y-%m-%d %H:%M:%S", time.gmtime(to_seconds(text) + seconds))


class Host:
    def __init__(self, folder, port=0, token=None):
        arguments = [PROGRAM, RECORDING, os.path.join(folder, "history.db"), str(port)]
        self.process = subprocess.Popen(arguments + ([token] if token else []), text=True,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.url = self.process.stdout.readline().strip()
        self.port = urllib.parse.urlsplit(self.url).port

    def tell(self, order):
        self.process.stdin.write(order + "\n")
        self.process.stdin.flush()
        assert self.process.stdout.readline() == "done\n", order

    def stop(self):
        if self.process.poll() is None:
            self.process.stdin.close()
            assert self.process.wait(PATIENCE) == 0
        self.process.stdout.close()


def record_machine(folder):
    """The memory that this machine has left, some of which is taken near the end."""
    history, table = os.path.join(folder, "host.db"), os.path.join(folder, "host.csv")
    recorder = subprocess.Popen([SERVICE, "record", "host", "--every", "100ms", "--for", "20s",
                                 "--quiet", "--to", history])
    time.sleep(12)
    taken = b"x" * (512 << 20)
    time.sleep(5)
    del taken
    assert recorder.wait(PATIENCE) == 0
    subprocess.run([SERVICE, "convert", "--quiet", "--columns", "memory_available", history, table],
                   check=True)
    return table


class RealRecording:
    """Up to 600 rows of one column, to shortly after an event: an excursion of the numbers to the
    side that they are seldom on, beyond the middle between the least and the greatest."""

    def __init__(self, folder):
        with open(os.environ.get("VELMORA_RECORDING") or record_machine(folder),
                  encoding="utf-8", newline="") as file:
            table = list(csv.reader(file))[1:]
        times = [datetime.datetime.fromisoformat(row[0].rstrip("Z")) for row in table]
        columns = [self.numbers(column) for column in list(zip(*table))[1:]]
        values = next(column for column in columns if column and min(column) < max(column))
        middle = (min(values) + max(values)) / 2
        sign = "<" if sum(value < middle for value in values) < len(values) / 2 else ">"
        self.rule = f"value {sign} {middle!r}"
        def holds(value):
            return value < middle if sign == "<" else value > middle
        # The first event that comes when there has been something to see for a while.
        first = next((i for i in range(len(values) // 4, len(values)) if holds(values[i])), 0)
        end = next((i for i in range(first, len(values)) if not holds(values[i])), len(values))
        rows = range(max(0, end - 580), min(len(values), end + 20))
        self.seconds = (times[rows[-1]] - times[rows[0]]).total_seconds()
        self.matches = [times[i].strftime("%Y-%m-%d %H:%M:%S") for i in rows if holds(values[i])]
        self.path = os.path.join(folder, "real.csv")
        with open(self.path, "w", encoding="utf-8") as file:
            file.write("time,value\n")
            file.writelines(f"{times[i].isoformat()}Z,{values[i]!r}\n" for i in rows)

    @staticmethod
    def numbers(column):
        try:
            return [float(text) for text in column]
        except ValueError:
            return []


class Service:
    """`tessaryn serve`, which replays a recording within forty seconds."""

    def __init__(self, folder, recording, port=0):
        config = os.path.join(folder, "plant.toml")
        with open(config, "w", encoding="utf-8") as file:
            file.write(f"""
title = "Machine"
[page]
listen = "127.0.0.1:{port}"
[source.store]
from = "{recording.path}"
stream = "{STREAM}"
replay = true
speed = {recording.seconds / 40}
keep-times = true
[rule.warm]
rule = "{recording.rule}"
""")
        self.process = subprocess.Popen([SERVICE, "serve", "--config", config], text=True,
                                        stderr=subprocess.PIPE)
        for line in self.process.stderr:
            found = re.search(r"page at (http://[^ ]*/)", line)
            if found:
                break
        self.url = found.group(1)
        self.port = urllib.parse.urlsplit(self.url).port

    def stop(self):
        if self.process.poll() is None:
            self.process.terminate()
            assert self.process.wait(PATIENCE) == 0
        self.process.stderr.close()


def open_browser():
    options = webdriver.ChromeOptions()
    for argument in ["--headless=new", "--no-sandbox", "--disable-gpu", "--window-size=1280,1000"]:
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    browser = webdriver.Chrome(options=options)
    browser.execute_cdp_cmd("Emulation.setTimezoneOverride", {"timezoneId": ZONE})
    return browser


class BrowserTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        os.makedirs(PICTURES, exist_ok=True)
        cls.rows = read_recording()
        cls.browser = open_browser()
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.set_size(1280, 1000)
        # What reading the pictures of charts makes Chromium say.
        self.allowed = ["willReadFrequently"]
        self.browser.get_log("browser")

    def tearDown(self):
        messages = [entry["message"] for entry in self.browser.get_log("browser")]
        wrong = [each for each in messages if not any(part in each for part in self.allowed)]
        self.assertEqual(wrong, [])
        self.assertIsNone(self.run_script("return window.pwned ?? null"))
        self.browser.execute_script("localStorage.clear(); sessionStorage.clear()")
        self.browser.get("about:blank")

    # What a reader does.

    def set_size(self, width, height):
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 500})

    def run_script(self, script, *arguments):
        return self.browser.execute_script(script, *arguments)

    def find(self, selector):
        return self.wait(lambda: self.browser.find_elements(By.CSS_SELECTOR, selector), selector)[0]

    def wait(self, condition, what):
        return WebDriverWait(self.browser, PATIENCE, 0.1).until(lambda _: condition(), what)

    def wait_text(self, selector, pattern):
        def matches():
            return any(re.search(pattern, text) for text in self.texts(selector))
        self.wait(matches, f"{selector} with {pattern}")

    # Of elements that may be replaced meanwhile.
    def texts(self, selector):
        return self.run_script("return [...document.querySelectorAll(arguments[0])]"
                               ".map((each) => each.textContent)", selector)

    def click_row(self, text):
        self.wait_text("#tree .row", text)
        self.run_script("[...document.querySelectorAll('#tree .row')]"
                        ".find((row) => row.textContent.includes(arguments[0])).click()", text)

    def open_page(self, path=None, rule=None):
        place = {"stream": path, "rule": rule} if rule else {"stream": path} if path else {}
        self.browser.get("about:blank")
        self.browser.get(self.host.url + "#" + urllib.parse.urlencode(place))
        self.wait_text("#connection", "Connected")
        if path:
            self.find(".facts")

    def open_chart(self, rule=None):
        self.open_page(STREAM, rule)
        self.wait_text("output.value", ".")
        return self.find(".chart")

    def picture(self, name):
        self.browser.save_screenshot(os.path.join(PICTURES, name + ".png"))

    def choose_range(self, value):
        self.run_script("const select = document.querySelector('.toolbar select');"
                        "select.value = arguments[0];"
                        "select.dispatchEvent(new Event('change'))", value)

    def write_rule(self, text):
        box = self.find("#rule")
        box.send_keys(Keys.CONTROL + "a")
        box.send_keys(text)

    def focused(self, property_name):
        return self.run_script("return document.activeElement[arguments[0]]", property_name)

    # The time that the page shows for a column of a chart, in UTC.
    def time_at(self, chart, column):
        plot = chart.find_element(By.CSS_SELECTOR, "canvas:last-of-type")
        def point():
            ActionChains(self.browser).move_to_element_with_offset(
                plot, int(column) - plot.size["width"] // 2, 10).perform()
            text = chart.find_element(By.CSS_SELECTOR, "output.value").text
            return re.search(r"at ([-0-9]+ [:0-9]+)", text)
        return shift(self.wait(point, "a value that is pointed at").group(1), -AHEAD)

    # The picture of a chart that stands still: its range has been read and drawn.
    def settled(self, chart):
        pictures = []
        def is_same():
            pictures.append(self.run_script(DRAWN, chart))
            return len(pictures) > 10 and len(set(pictures[-10:])) == 1
        self.wait(is_same, "a chart that stands still")
        return pictures[-1]

    # The page compares the marks of its first chart with the samples that match.
    def check_marks(self, first, last, what, tolerance=120):
        chart = self.find(".chart")
        self.wait(lambda: self.run_script(MARKED, chart), "marks")
        columns = self.run_script(MARKED, chart)
        for column, real in [(columns[0], first), (columns[-1], last)]:
            seen = self.time_at(chart, column)
            error = abs(to_seconds(seen) - to_seconds(real))
            self.assertLessEqual(error, tolerance, (what, seen, real))


GONE = ["ERR_CONNECTION_REFUSED", "ERR_INCOMPLETE_CHUNKED_ENCODING", "ERR_EMPTY_RESPONSE",
        "ERR_CONNECTION_RESET"]


class PageTest(BrowserTest):
    def setUp(self):
        super().setUp()
        self.host = Host(self.folder)
        self.addCleanup(self.host.stop)
        self.pushed = len(self.rows) // 2

    def push(self, count):
        self.host.tell(f"push {count}")
        self.pushed += count
        return self.rows[self.pushed - 1]

    def test_finds_a_stream_and_moves_its_chart(self):
        self.open_page()
        self.wait_text(".overview h1", "Plant <i>north</i>")
        self.picture("overview")
        self.find("#search").send_keys("RECORD")
        self.wait_text("#listState", "^1 stream$")
        self.assertEqual(self.find("#results mark").text, "record")
        self.find("#search").send_keys(Keys.ENTER)
        self.wait_text("h1", "^plant/recording$")
        self.wait_text("output.value", str(self.rows[self.pushed - 1][1]))
        chart = self.find(".chart")
        before = self.run_script(DRAWN, chart)
        newest = self.push(3)
        self.wait_text(".chart:first-child output.value", f"^{newest[1]:g}$")
        self.wait_text(".values", f"{newest[1]:g} °C")
        self.assertNotEqual(before, self.run_script(DRAWN, chart))
        self.wait_text(".facts", "200 of 200")
        self.find("#search").send_keys(Keys.ESCAPE)
        self.wait_text("#tree .row[aria-selected=true]", r"^recording\d+ d$")
        self.picture("stream")

    def test_underlines_what_is_wrong_in_a_rule(self):
        self.open_chart()
        self.write_rule("temperature > 8.0 && door_open = 1")
        self.wait_text(".finding.error", ".")
        text, at = self.run_script("""
            const finding = document.querySelector(".finding");
            const range = document.createRange();
            range.setStart(finding.parentNode, 0);
            range.setEndBefore(finding);
            return [finding.textContent, range.toString().length];""")
        self.assertEqual((text, at), ("=", len("temperature > 8.0 && door_open ")))
        line = self.run_script("return getComputedStyle(document.querySelector('.finding'))"
                               ".textDecorationLine")
        self.assertEqual(line, "underline")
        self.wait_text("#findings .hint", "==")
        self.assertEqual(self.find("#rule").get_attribute("aria-invalid"), "true")
        self.picture("wrong_rule")
        self.write_rule("temprature > 8.0")
        self.wait_text("#findings .warning", "temprature")
        self.write_rule(RULE)
        self.wait_text("#findings", "^$")
        self.assertEqual(self.find("#rule").get_attribute("aria-invalid"), "false")

    def test_marks_matches_at_their_times_and_lists_new_ones(self):
        hot = [time for time, value in self.rows if value > 8]
        first = next(at for at, (_, value) in enumerate(self.rows) if value > 8)
        self.open_chart()
        self.write_rule(RULE)
        self.wait_text("h2", "^Matches$")
        self.push(first + len(hot) + 20 - self.pushed)
        self.wait_text(".matches tbody tr:first-child", shift(hot[-1], AHEAD))
        self.assertEqual(len(self.texts(".matches .new")), len(hot))
        # As marked while samples came, and as read from the server.
        self.check_marks(hot[0], hot[-1], "live")
        self.picture("matches_live")
        self.open_chart(RULE)
        self.check_marks(hot[0], hot[-1], "read")
        self.picture("matches_read")

    def test_says_that_the_server_is_gone_and_back(self):
        self.allowed += GONE
        self.open_chart()
        self.host.stop()
        self.wait_text(".notice", "connection to the server was lost")
        self.wait_text("#connection", "No connection")
        self.picture("gone")
        os.remove(os.path.join(self.folder, "history.db"))
        self.host = Host(self.folder, self.host.port)
        self.addCleanup(self.host.stop)
        self.wait_text(".notice", "connection is back")
        self.wait_text("#connection", "Connected")
        self.pushed = len(self.rows) // 2
        newest = self.push(40)
        self.wait_text(".chart:first-child output.value", f"^{newest[1]:g}$")
        self.wait_text(".chart:first-child output.value", f"^{self.push(1)[1]:g}$")

    def test_pauses_zooms_and_goes_back_into_the_history(self):
        chart = self.open_chart()
        self.find(".follow").click()
        self.wait_text(".follow", "Go live")
        before = self.settled(chart)
        self.push(5)
        self.wait_text(".facts", "200 of 200")
        self.assertEqual(before, self.settled(chart))
        self.find(".follow").click()
        self.wait(lambda: self.run_script(DRAWN, chart) != before, "a chart that moves")
        plot = chart.find_element(By.CSS_SELECTOR, "canvas:last-of-type")
        ActionChains(self.browser).move_to_element(plot).click_and_hold().move_by_offset(
            100, 0).release().perform()
        self.wait_text(".follow", "Go live")
        begin, end = self.shown_range()
        self.assertGreater(begin, to_seconds(self.rows[0][0]))
        self.assertLess(end, to_seconds(self.rows[self.pushed - 1][0]))
        self.choose_range("all")
        # The ring has the newest 200 samples, the history all.
        self.wait(lambda: self.shown_range() == (to_seconds(self.rows[0][0]),
                                                 to_seconds(self.rows[self.pushed - 1][0])), "all")
        left, early = 75, to_seconds(self.rows[0][0]) + 1800
        self.wait(lambda: to_seconds(self.time_at(chart, left)) < early, "older samples")
        self.picture("history")

    # Of a chart that stands still, in seconds of UTC.
    def shown_range(self):
        text = self.find(".rangeText").text
        times = re.findall(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d", text)
        return tuple(to_seconds(each) - AHEAD for each in times)

    def test_shows_times_in_the_zone_that_is_chosen(self):
        self.open_chart()
        newest = self.rows[self.pushed - 1][0]
        local = shift(newest, AHEAD)
        self.wait_text(".time", local + ", local time")
        labels = ".dygraph-axis-label-x"
        self.wait_text(labels, f"^{local[11:13]}:00$")
        self.find("#zone").click()
        self.wait_text(".time", newest + ", UTC")
        self.wait_text(".rangeText", "UTC")
        self.wait_text(labels, f"^{newest[11:13]}:00$")
        self.assertNotIn(local[11:13] + ":00", self.texts(labels))

    def test_follows_a_recording_that_begins_while_it_is_open(self):
        self.open_page("plant/burst")
        self.wait_text(".dygraph-axis-label-x", ".")
        self.host.tell("old 50")
        self.wait_text(".chart output.value", "^49$")
        self.wait_text(".dygraph-axis-label-x", "^10:30:[1-4]0$")
        self.choose_range("all")
        self.wait_text(".rangeText", "^2014-02-08 10:30:00.* to 2014-02-08 10:30:49")

    def test_says_how_many_changes_were_lost(self):
        self.open_page("plant/burst")
        self.find(".chart")
        # Until the page listens, nothing is lost on the way to it.
        def is_told():
            self.host.tell("burst 30000")
            time.sleep(1)
            return any(re.search(r"\d changes were lost", text) for text in self.texts(".notice"))
        self.wait(is_told, "lost changes")
        self.picture("lost")

    def test_says_that_a_stream_was_removed(self):
        self.allowed += ["404"]
        self.open_page("plant/burst")
        self.find(".chart")
        self.host.tell("remove plant/burst")
        self.wait_text(".notice", "removed")
        self.open_page()
        self.browser.get(self.host.url + "#stream=no%2Fsuch")
        self.wait_text("main", "There is no stream of this name")
        self.picture("removed")

    def test_takes_no_name_for_markup(self):
        self.open_page(HOSTILE, 'nothing == "<b>"')
        self.wait_text("h1", re.escape(HOSTILE))
        self.wait_text(".values", r"<script>window\.pwned=1</script>")
        self.wait_text(".values", r"</td><script>window\.pwned=1</script>")
        self.wait_text(".values", "9007199254740993")
        self.wait_text(".values", "64 values")
        self.wait_text(".chart", r"<script>window\.pwned=1</script>")
        self.wait_text(".noData", "No numbers")
        self.wait_text("#tree .row", r"\$\{7\*7\} \\u202egnp\.exe")
        self.host.tell("hostile")
        time.sleep(1)
        for selector in ["main img", "main svg", "nav img", "nav svg", "body script", "main b"]:
            self.assertEqual(self.browser.find_elements(By.CSS_SELECTOR, selector), [], selector)
        self.picture("hostile")

    def test_can_be_used_with_a_keyboard(self):
        self.open_page()
        self.find("#tree .row")
        self.find("body").send_keys("/")
        self.assertEqual(self.focused("id"), "search")
        self.browser.switch_to.active_element.send_keys("plant")
        self.wait_text("#listState", "3 streams")
        self.browser.switch_to.active_element.send_keys(Keys.ARROW_DOWN)
        self.assertEqual(self.focused("id"), "results")
        self.browser.switch_to.active_element.send_keys(Keys.END, Keys.HOME, Keys.ARROW_DOWN,
                                                        Keys.ENTER)
        self.wait_text("h1", "^plant/recording$")
        self.find("#search").send_keys(Keys.ESCAPE)
        self.find("#search").send_keys(Keys.ARROW_DOWN)
        self.assertEqual(self.focused("id"), "tree")
        tree = self.browser.switch_to.active_element
        tree.send_keys(Keys.HOME)
        while not self.active_row()[2].startswith("plant"):
            tree.send_keys(Keys.ARROW_DOWN)
        self.assertEqual(self.active_row()[:2], ["treeitem", "true"])
        tree.send_keys(Keys.ARROW_LEFT)
        self.assertEqual(self.active_row()[:2], ["treeitem", "false"])
        tree.send_keys(Keys.ARROW_RIGHT, Keys.ARROW_RIGHT, Keys.ENTER)
        self.wait_text("h1", "^plant/burst$")
        self.check_outlines()

    # Role, state and text of the row that readers of the tree are told of.
    def active_row(self):
        return self.run_script("""
            const row = document.getElementById(
                document.activeElement.getAttribute("aria-activedescendant"));
            return [row.getAttribute("role"), row.getAttribute("aria-expanded"), row.textContent,
                    getComputedStyle(row).outlineStyle];""")

    # Everything that the tab key reaches shows that it is there.
    def check_outlines(self):
        reached = set()
        self.run_script("document.activeElement.blur()")
        for _ in range(25):
            ActionChains(self.browser).send_keys(Keys.TAB).perform()
            name, outline = self.run_script("""
                const at = document.activeElement;
                return [at === document.body ? "" : at.id || at.textContent.slice(0, 20),
                        getComputedStyle(at).outlineStyle];""")
            if name == "" or name in reached:
                continue
            reached.add(name)
            self.assertNotEqual(outline, "none", name)
        self.assertLessEqual({"search", "tree", "rule", "Pause", "CSV"}, reached)

    def test_fits_a_phone(self):
        self.set_size(390, 844)
        for name, path in [("overview", None), ("stream", STREAM), ("hostile", HOSTILE),
                           ("long", "plant/" + "w" * 300)]:
            self.open_page(path, RULE if path == STREAM else None)
            time.sleep(1)
            # What is wider would be cut off, or make the page scroll.
            widths = self.run_script("return [document.documentElement, document.body,"
                                     "document.querySelector('main')].map((e) => e.scrollWidth)")
            self.assertLessEqual(max(widths), 390, name)
            self.picture("phone_" + name)
        self.open_page()
        self.click_row("plant")
        self.click_row("recording")
        self.wait_text("h1", "^plant/recording$")
        self.assertFalse(self.find("#search").is_displayed())
        self.find(".up").click()
        self.wait(lambda: self.find("#search").is_displayed(), "the list")

    # The console tells of what still goes on with a chart that has gone.
    def test_leaves_a_chart_that_has_just_changed_its_size(self):
        self.open_chart()
        self.browser.execute_async_script("""
            const done = arguments[0];
            document.querySelector(".plots").style.width = "300px";
            const leave = () => {
              location.hash = "";
              setTimeout(done, 500);
            };
            requestAnimationFrame(() => requestAnimationFrame(leave));""")
        self.wait_text(".overview h1", ".")

    def test_follows_dark_and_light(self):
        def ground():
            colour = self.run_script("return getComputedStyle(document.body).backgroundColor")
            return sum(int(part) for part in re.findall(r"\d+", colour)[:3])
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": "dark"}]})
        chart = self.open_chart(RULE)
        self.assertLess(ground(), 150)
        self.picture("dark")
        dark = self.run_script(DRAWN, chart)
        self.find("#theme").click()
        self.wait_text("#theme", "light")
        self.assertGreater(ground(), 600)
        self.wait(lambda: self.run_script(DRAWN, chart) != dark, "a light chart")
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": []})

    # 10,000 streams are shown about as soon as ten.
    def test_shows_many_streams_as_soon_as_few(self):
        def first_view():
            times = []
            for _ in range(3):
                self.open_page()
                self.wait(lambda: self.run_script(
                    "return performance.getEntriesByName('streams shown').length"), "streams")
                times.append(self.run_script(
                    "return performance.getEntriesByName('streams shown')[0].startTime"))
            return min(times)
        few = first_view()
        self.host.tell("many 10000")
        many = first_view()
        print(f"first view: {few:.0f} ms with few streams, {many:.0f} ms with 10,000")
        self.assertLess(many, 3 * few + 100)
        self.find("#search").send_keys("stream 99")
        self.wait_text("#listState", "^111 streams$")
        self.find("#search").send_keys(Keys.ESCAPE)
        self.click_row("many10,000")
        self.find("#tree").send_keys(Keys.END)
        self.wait_text("#tree .row", "stream 9999")
        rows = len(self.browser.find_elements(By.CSS_SELECTOR, "#tree .row"))
        self.assertLess(rows, 100)
        self.picture("many")

    def test_asks_for_the_token(self):
        self.allowed += ["401"]
        self.host.stop()
        os.remove(os.path.join(self.folder, "history.db"))
        self.host = Host(self.folder, 0, "correct horse battery".replace(" ", "-"))
        self.addCleanup(self.host.stop)
        self.browser.get(self.host.url)
        self.find("#token").send_keys("wrong-horse-battery", Keys.ENTER)
        self.wait_text(".wrong", "not the token")
        self.picture("login")
        self.find("#token").send_keys("correct-horse-battery", Keys.ENTER)
        self.wait_text("#connection", "Connected")
        self.assertEqual(self.run_script("return document.cookie"), "")

    # What tearDown looks for would be seen.
    def test_has_a_policy_whose_violations_are_seen(self):
        self.open_page()
        self.run_script("""document.body.insertAdjacentHTML("beforeend",
            "<i style='color: red' onclick='1'>x</i>");""")
        messages = [entry["message"] for entry in self.browser.get_log("browser")]
        self.assertIn("Content Security Policy", " ".join(messages))


@unittest.skipIf(SERVICE is None, "no program is given")
class ServiceTest(BrowserTest):
    def setUp(self):
        super().setUp()
        self.recording = RealRecording(self.folder)
        self.host = Service(self.folder, self.recording)
        self.addCleanup(self.host.stop)

    def test_is_looked_at_while_it_replays_a_recording(self):
        self.allowed += GONE
        self.open_page()
        self.wait_text("h1", "^Machine$")
        self.wait_text(".overview", "warm" + re.escape(self.recording.rule))
        self.find("#search").send_keys("record")
        self.wait_text("#listState", "^1 stream$")
        self.find("#search").send_keys(Keys.ENTER)
        self.wait_text("output.value", ".")
        chart = self.find(".chart")
        before = self.run_script(DRAWN, chart)
        self.wait(lambda: self.run_script(DRAWN, chart) != before, "a chart that moves")
        self.write_rule("value > 8.0 & value < 90")
        self.wait_text(".finding.error", "&")
        self.write_rule(self.recording.rule)
        matches = self.recording.matches
        self.wait_text(".matches tbody tr:first-child", shift(matches[-1], AHEAD))
        self.choose_range("all")
        time.sleep(1)
        self.picture("service")
        self.check_marks(matches[0], matches[-1], "replayed", 2 + self.recording.seconds / 100)
        self.find(".follow").click()
        self.host.stop()
        self.wait_text(".notice", "connection to the server was lost")
        self.picture("service_gone")
        self.host = Service(self.folder, self.recording, self.host.port)
        self.addCleanup(self.host.stop)
        self.wait_text(".notice", "connection is back")
        self.wait(lambda: self.texts(".chart output.value")[0], "a value")
        before = self.run_script(DRAWN, chart)
        self.wait(lambda: self.run_script(DRAWN, chart) != before, "a chart that moves again")
        self.picture("service_back")


tests = [each for each in sys.argv[4:] if each != SERVICE]
unittest.main(argv=sys.argv[:1] + tests, verbosity=2)
