"""Opens the reports that `tzmchain` writes in a real browser and does what a user does. Usage: check_report.py PROGRAM"""

import array
import json
import math
import pathlib
import random
import struct
import subprocess
import sys
import tempfile
import unittest

from selenium import webdriver
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.support.ui import Select, WebDriverWait

PROGRAM = sys.argv.pop(1)
SAMPLES, ASCANS, CHANNELS, LANES = 64, 40, ["left", '<script>alert("x")</script>', "TX3"], 2
LINES = len(CHANNELS) * LANES
BARE_CHAIN = {"chain": [{"algorithm": "OffsetRemoval"}]}


def write_raw(stem, sizes, values, **told):
    pathlib.Path(f"{stem}.f32").write_bytes(array.array("f", values).tobytes())
    samples, ascans, bscans = sizes
    sidecar = {"samples": samples, "ascans": ascans, "bscans": bscans, "delta_t": 1e-10, "delta_x": 0.02, **told}
    pathlib.Path(f"{stem}.json").write_text(json.dumps(sidecar))


def write_ogpr(file, ascans, channels, samples):
    """Two channels with known places: a line of longitudes along, a parallel one 1e-5 degrees north."""
    volume = b"".join(struct.pack("<f", random.gauss(0, 1)) for _ in range(ascans * channels * samples))
    places = b"".join(struct.pack("<3d", 11 + a * 1e-6, 47 + c * 1e-5, 500) for a in range(ascans) for c in range(channels))
    def header(start):
        blocks = [{"type": "Radar Volume", "byteOffset": start, "byteSize": len(volume), "valueType": "float",
                   "radar": {"samplingStep_m": 0.05, "samplingTime_ns": 0.5, "frequency_MHz": 600}},
                  {"type": "Sample Geolocations", "byteOffset": start + len(volume), "byteSize": len(places),
                   "srs": {"type": "EPSG", "value": 4326}}]
        return json.dumps({"version": {"major": 1, "minor": 0}, "dataBlockDescriptors": blocks, "mainDescriptor": {
            "samplesCount": samples, "channelsCount": channels, "slicesCount": ascans, "metadata": {"swathName": "s"}}})
    text = header(10**6)  # as long as the true one will be
    begin = 5 + 33 + 9 + len(text) + 1
    text = header(begin).ljust(len(text))
    file.write_bytes(b"ogpr\n" + b"0" * 32 + b"\n" + b"%08x\n" % len(text) + text.encode() + b"\n" + volume + places)


def run(*words):
    return subprocess.run([PROGRAM, *map(str, words)], capture_output=True, text=True, timeout=300)


class Browser:
    def __init__(self, *more):
        options = webdriver.ChromeOptions()
        for word in ("--headless=new --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking "
                     "--disable-component-update --disable-sync --window-size=1920,1400").split():
            options.add_argument(word)
        for name, value in more:
            options.add_experimental_option(name, value)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        options.binary_location = "/usr/bin/chromium"
        self.driver = webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))

    def open(self, file, place=""):
        self.driver.get("about:blank")  # or another place alone wouldn't load the page anew
        self.driver.get(file.as_uri() + place)
        WebDriverWait(self.driver, 60).until(lambda d: self.readout().get_attribute("data-value") is not None)

    def find(self, name):
        return self.driver.find_element(By.ID, name)

    def readout(self):
        return self.find("readout")

    def place(self):
        """A-scan, line and sample of the cross-hair, when the page has drawn all that it was told."""
        self.driver.execute_async_script("requestAnimationFrame(() => requestAnimationFrame(arguments[0]))")
        return tuple(int(self.readout().get_attribute(f"data-{name}")) for name in ("ascan", "line", "sample"))

    def value(self):
        return float(self.readout().get_attribute("data-value"))

    def set(self, name, value):
        self.driver.execute_script("arguments[0].value = arguments[1]; arguments[0].dispatchEvent(new Event('input'))",
                                   self.find(name), value)

    def pinch(self, name, before, after):
        """Two fingers that lie so many pixels from the middle of a canvas, to the left and to the right, move apart."""
        x, y = self.driver.execute_script(
            "const box = arguments[0].getBoundingClientRect(); return [box.x + box.width / 2, box.y + box.height / 2]",
            self.find(name))
        def touch(kind, *reach):
            points = [{"x": x + side * r, "y": y, "id": i} for r in reach for i, side in enumerate((-1, 1))]
            self.driver.execute_cdp_cmd("Input.dispatchTouchEvent", {"type": kind, "touchPoints": points})
        self.driver.execute_cdp_cmd("Emulation.setTouchEmulationEnabled", {"enabled": True, "maxTouchPoints": 2})
        touch("touchStart", before)
        touch("touchMove", after)
        touch("touchEnd")
        self.driver.execute_cdp_cmd("Emulation.setTouchEmulationEnabled", {"enabled": False})

    def messages(self):
        return self.driver.get_log("browser")


class Report(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory()
        cls.folder = pathlib.Path(cls.scratch.name)
        random.seed(1)
        values = [random.gauss(0, 100) + 3000 * math.exp(-s / 5) for _ in range(LINES * ASCANS) for s in range(SAMPLES)]
        write_raw(cls.folder / "survey", (SAMPLES, ASCANS, LINES), values, channel_names=CHANNELS, line_spacing=0.1,
                  time_zero_sample=4, permittivity=9)
        (cls.folder / "chain.json").write_text(json.dumps(BARE_CHAIN))
        done = run("run", cls.folder / "survey.f32", "--chain", cls.folder / "chain.json", "--out", cls.folder / "out")
        assert done.returncode == 0, done.stderr
        run("convert", cls.folder / "out/image.vti", "--out", cls.folder / "image.f32")
        cls.image = array.array("f", (cls.folder / "image.f32").read_bytes())
        cls.report = cls.folder / "out/report.html"
        cls.browser = Browser()

    @classmethod
    def tearDownClass(cls):
        cls.browser.driver.quit()
        cls.scratch.cleanup()

    def expect_value_of(self, place):
        """The page's value is that of the image but for the step of its 8-bit levels, high (2 u + 1 / 254) / 254 at u^2 high."""
        ascan, line, sample = place
        true = self.image[(line * ASCANS + ascan) * SAMPLES + sample]
        block = json.loads(self.browser.find("about").get_attribute("textContent"))["image"]
        far = min(abs(true - block["middle"]), block["high"])
        step = block["high"] / 254 * (2 * math.sqrt(far / block["high"]) + 1 / 254)
        self.assertLessEqual(abs(min(max(true, block["middle"] - block["high"]), block["middle"] + block["high"]) - self.browser.value()),
                             1.01 * step, place)

    def test_a_place_in_the_address_opens_with_the_images_value(self):
        for place in ((0, 0, 0), (ASCANS - 1, LINES - 1, SAMPLES - 1), (17, 4, 9), (3, 1, 40)):
            self.browser.open(self.report, "#ascan=%d&line=%d&sample=%d" % place)
            self.assertEqual(self.browser.place(), place)
            self.expect_value_of(place)
        self.browser.open(self.report, "#ascan=1e9&line=-3&sample=<b>&mark=1,2&mark=a,b,c,d")  # nonsense is cut to the block
        self.assertEqual(self.browser.place()[:2], (ASCANS - 1, 0))
        self.assertEqual(self.browser.messages(), [])

    def test_pointer_keys_wheel_and_sliders_move_one_cross_hair(self):
        browser = self.browser
        browser.open(self.report, "#ascan=10&line=2&sample=30")
        actions = lambda: webdriver.ActionChains(browser.driver)
        actions().click_and_hold(browser.find("bscan")).move_by_offset(40, 25).release().perform()
        ascan, line, sample = browser.place()
        self.assertEqual(line, 2)
        self.assertGreater(ascan, ASCANS // 2)
        self.assertGreater(sample, SAMPLES // 2)
        self.expect_value_of((ascan, line, sample))
        # The pixel under the pointer: margins of 58 and 46 beside the plot.
        box = browser.find("bscan").rect
        self.assertAlmostEqual(ascan, (box["width"] / 2 + 40 - 58) / (box["width"] - 58 - 46) * ASCANS - 0.5, delta=0.6)
        browser.find("bscan").send_keys(Keys.ARROW_LEFT, Keys.ARROW_UP, Keys.PAGE_DOWN)
        self.assertEqual(browser.place(), (ascan - 1, 3, sample - 1))
        far = ascan
        browser.pinch("bscan", 20, 100)  # five times as large: the same way of the pointer is a fifth of it
        actions().click_and_hold(browser.find("bscan")).move_by_offset(40, 0).release().perform()
        near = browser.place()[0]
        self.assertLess(near, far)
        self.assertAlmostEqual(near, ASCANS / 2 - 0.5 + 40 / (box["width"] - 58 - 46) * ASCANS / 5, delta=0.9)
        browser.set("ascan", ascan - 1), browser.set("sample", sample - 1)
        browser.find("cross").send_keys(Keys.ARROW_RIGHT, Keys.PAGE_UP)
        self.assertEqual(browser.place(), (ascan - 2, 4, sample - 1))
        browser.find("plan").send_keys(Keys.SHIFT, Keys.ARROW_LEFT, Keys.NULL)
        self.assertEqual(browser.place(), (ascan - 12, 4, sample - 1))
        browser.driver.execute_script("arguments[0].dispatchEvent(new WheelEvent('wheel', {deltaY: 100, cancelable: true}))",
                                      browser.find("plan"))
        self.assertEqual(browser.place(), (ascan - 12, 4, sample))
        for name, value in (("ascan", 5), ("line", 1), ("sample", 7)):
            browser.set(name, value)
        self.assertEqual(browser.place(), (5, 1, 7))
        self.expect_value_of((5, 1, 7))
        WebDriverWait(browser.driver, 10).until(lambda d: "ascan=5&line=1&sample=7" in d.current_url)
        self.assertEqual(browser.messages(), [])

    def test_channels_sections_and_input_are_shown_without_a_message(self):
        browser = self.browser
        browser.open(self.report, "#ascan=5&line=2&sample=7")
        channel = Select(browser.find("channel"))
        self.assertEqual([option.text for option in channel.options], ["all"] + CHANNELS)
        channel.select_by_index(2)
        WebDriverWait(browser.driver, 10).until(lambda d: browser.place()[1] % len(CHANNELS) == 1)
        browser.find("bscan").send_keys(Keys.PAGE_DOWN, Keys.PAGE_DOWN)
        self.assertEqual(browser.place()[1], LINES - 2)  # the last of that channel
        channel.select_by_index(0)
        browser.find("input-beside").click()
        WebDriverWait(browser.driver, 20).until(lambda d: "Input" in browser.find("beside-title").text)
        picture = lambda name: browser.driver.execute_script("return arguments[0].toDataURL()", browser.find(name))
        for name, value in (("thick-sample", 9), ("thick-line", 3), ("mode", "maximum"), ("mode", "rms"), ("clip", 92), ("colours", "seismic")):
            before = picture("plan") + picture("bscan")
            browser.set(name, value)
            browser.place()
            self.assertNotEqual(picture("plan") + picture("bscan"), before, name)
        before = picture("bscan")
        browser.find("bscan").send_keys("+")
        browser.place()
        self.assertNotEqual(picture("bscan"), before)
        browser.find("whole").click()
        browser.place()
        self.assertEqual(picture("bscan"), before)
        self.assertEqual(browser.messages(), [])

    def test_distances_are_measured_and_marks_travel_in_the_address(self):
        browser = self.browser
        browser.open(self.report, "#ascan=10&line=0&sample=10")
        browser.find("measure").click()
        for name, value in (("ascan", 25), ("line", 4), ("sample", 30)):
            browser.set(name, value)
        browser.place()
        # 15 A-scans of 0.02 m, 4 lines of 0.1 m, 20 samples of 0.1 ns at 0.3 / 3 / 2 m per ns
        self.assertIn("along 0.3 m, across 0.4 m, down 2 ns = 0.1 m, in plan 0.5 m, in all 0.5099 m", browser.find("distance").text)
        browser.find("mark-text").send_keys("<b>pipe</b>, 2", Keys.ENTER)
        WebDriverWait(browser.driver, 10).until(lambda d: "mark=" in d.current_url)
        browser.open(self.report, "#" + browser.driver.current_url.split("#")[1].replace("ascan=25", "ascan=1"))
        self.assertEqual(browser.find("marks").find_element(By.TAG_NAME, "button").text, "<b>pipe</b>, 2")
        browser.find("marks").find_element(By.TAG_NAME, "button").click()
        self.assertEqual(browser.place(), (25, 4, 30))
        self.assertFalse(browser.find("export").is_displayed())  # nobody knows where it was recorded
        self.assertEqual(browser.messages(), [])

    def test_marks_of_a_recording_with_positions_become_geojson(self):
        write_ogpr(self.folder / "swath.ogpr", 20, 2, 32)
        done = run("run", self.folder / "swath.ogpr", "--chain", self.folder / "chain.json", "--out", self.folder / "placed")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.browser.open(self.folder / "placed/report.html", "#mark=10,1,5,a%20pipe")
        self.assertTrue(self.browser.find("track").is_displayed())
        self.assertTrue(self.browser.find("export").is_displayed())
        self.browser.driver.execute_script("const make = URL.createObjectURL; URL.createObjectURL = (b) => { window.saved = b; return make(b); }")
        self.browser.find("export").click()
        document = json.loads(self.browser.driver.execute_async_script("window.saved.text().then(arguments[0])"))
        [feature] = document["features"]
        for got, true in zip(feature["geometry"]["coordinates"], (11 + 10e-6, 47 + 1e-5, 500)):
            self.assertAlmostEqual(got, true, delta=1e-9)
        self.assertEqual(feature["properties"]["text"], "a pipe")
        self.assertEqual(self.browser.messages(), [])

    def test_without_scripts_there_is_a_picture_and_the_recipe(self):
        bare = Browser(("prefs", {"profile.managed_default_content_settings.javascript": 2}))
        try:
            bare.driver.get(self.report.as_uri())
            self.assertIn("JavaScript is off", bare.driver.find_element(By.TAG_NAME, "noscript").text)
            self.assertGreater(bare.driver.find_element(By.TAG_NAME, "img").rect["height"], 100)
            self.assertIn("OffsetRemoval", bare.find("recipe").text)
            self.assertFalse(bare.find("viewer").is_displayed())
        finally:
            bare.driver.quit()

    def test_blocks_of_any_shape_and_size(self):
        tiny = [random.random() * 1e-40 for _ in range(16 * 9)]
        for name, sizes, values in (("line", (32, 30, 1), [float(i % 7) for i in range(960)]), ("ascan", (20, 1, 1), range(20)),
                                    ("flat", (16, 8, 3), [0.0] * 384), ("tiny", (16, 9, 1), tiny),
                                    ("long", (16, 4000, 1), [float(i % 97) for i in range(64000)])):
            write_raw(self.folder / name, sizes, values)
            run("convert", self.folder / f"{name}.f32", "--out", self.folder / f"{name}-image.vti")
            done = run("view", self.folder / f"{name}-image.vti", "--out", self.folder / f"{name}.html")
            self.assertEqual(done.returncode, 0, done.stderr)
            self.browser.open(self.folder / f"{name}.html")
            self.assertTrue(self.browser.find("bscan").is_displayed(), name)
            self.assertEqual(self.browser.messages(), [], name)
        done = run("view", self.folder / "line-image.vti", "--out", self.folder / "line.json")  # no report: it stays
        self.assertEqual((done.returncode, "is no report" in done.stderr), (2, True), done.stderr)

    def test_a_smaller_report_tells_so_and_keeps_the_images_indices(self):
        done = run("view", self.folder / "out/image.vti", self.folder / "survey.f32", "--out", self.folder / "small.html", "--report-size", "12K")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.browser.open(self.folder / "small.html", "#ascan=39&line=5&sample=63")
        self.assertEqual(self.browser.place(), (39, 5, 63))
        self.assertIn("shown as one", self.browser.driver.find_element(By.TAG_NAME, "header").text)
        block = json.loads(self.browser.find("about").get_attribute("textContent"))["image"]
        s, a, b = block["factors"]
        self.assertGreater(s * a * b, 1)
        cell = [self.image[(z * ASCANS + y) * SAMPLES + x] for z in range(5 // b * b, min(LINES, 5 // b * b + b))
                for y in range(39 // a * a, min(ASCANS, 39 // a * a + a)) for x in range(63 // s * s, min(SAMPLES, 63 // s * s + s))]
        strongest = max(cell, key=abs)
        self.assertAlmostEqual(self.browser.value(), strongest, delta=block["high"] / 60)


unittest.main(verbosity=2)
