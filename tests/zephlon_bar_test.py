#!/usr/bin/env python3
"""Drives `zephlon bar` and `zephlon defaults` beside the real helper. Usage: zephlon_bar_test.py HELPER ZEPHLON"""
import json
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
import xml.etree.ElementTree

ZEPHLON = sys.argv.pop()
HELPER = sys.argv.pop()
MACHINES = pathlib.Path(__file__).resolve().parent.parent / "machines"
METRICS = "loadIndex cpuUsage cpuFreq gpuUsage gpuFreq memoryUsage network disk power clock battery".split()
PATIENCE = 30  # seconds; only ever waited out by a failing test


class BarTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.home = pathlib.Path(folder.name)
        self.file = self.home / "config/ZQMHelper/defaults.json"
        self.environment = dict(os.environ, XDG_DATA_HOME=str(self.home / "a&<b>"), TZ="UTC0", LC_ALL="C.UTF-8",
                                XDG_CONFIG_HOME=str(self.home / "config"), TMUX="")
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            self.port = str(probe.getsockname()[1])

    def spawn(self, *command):
        process = subprocess.Popen(command, env=self.environment, stdout=subprocess.PIPE, text=True)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def start_helper(self, machine):
        helper = self.spawn(HELPER, "--port", self.port, "--machine", str(MACHINES / f"{machine}.json"))
        deadline = time.monotonic() + PATIENCE
        while not re.search('"systemWatts":[1-9]', self.zephlon("status", "--json", status=None).stdout):
            self.assertLess(time.monotonic(), deadline, "the helper gives no second sample")
            time.sleep(0.05)
        return helper

    def zephlon(self, *words, status=0):
        result = subprocess.run([ZEPHLON, "--port", self.port, *words], env=self.environment, capture_output=True,
                                text=True, timeout=PATIENCE)
        if status is not None:
            self.assertEqual(result.returncode, status, (words, result.stderr))
            self.assertRegex(result.stderr, r"\Azephlon: .+\n\Z" if status else r"\A\Z", words)
        return result

    def write(self, **preferences):
        for key, value in preferences.items():
            self.assertIn("next start", self.zephlon("defaults", "write", key, value).stdout)

    def bar(self, form):
        return self.zephlon("bar", "--format", form).stdout

    def segments(self):
        return {segment["metric"]: segment for segment in json.loads(self.bar("json"))["segments"]}

    def every_format(self):
        """What each format says of one sample, and that sample."""
        while True:
            snapshot = self.zephlon("status", "--json").stdout
            texts = {form: self.bar(form) for form in ("plain", "waybar", "i3bar", "tmux", "json")}
            if self.zephlon("status", "--json").stdout.partition("timestamp")[2] == snapshot.partition("timestamp")[2]:
                return json.loads(snapshot), texts

    def markup(self, text):
        return "".join(xml.etree.ElementTree.fromstring(f"<markup>{text}</markup>").itertext())

    def test_shows_what_the_preferences_ask_for_in_every_format(self):
        self.start_helper("laptop-third-kind")
        self.assertRegex(self.bar("plain"), r"\A负载 \d+%  CPU \d+%  网络 ↓\S+ .?B/s ↑\S+ .?B/s\n\Z")
        self.write(enabledMetrics=",".join(METRICS), iconTextGap="0.1")
        self.assertEqual(list(self.segments()), METRICS)
        self.assertRegex(self.segments()["clock"]["text"], r"\A\d\d:\d\d\Z")
        self.assertRegex(self.segments()["cpuFreq"]["text"], r" GHz\Z")
        self.assertRegex(self.segments()["cpuUsage"]["detail"], r" °C\Z")
        self.write(language="en", metricOrder="clock,power,clock", segmentGap="12.4", iconTextGap="6", freqUnit="mhz",
                   tempUnit="kelvin", use24Hour="false")
        snapshot, texts = self.every_format()
        segments = {segment["metric"]: segment for segment in json.loads(texts["json"])["segments"]}
        self.assertEqual(list(segments), ["clock", "power", *METRICS[:8], "battery"])
        for metric, label, text, value, detail in (
                ("loadIndex", "Load", r"\d+%", snapshot["load"]["value"], ""),
                ("cpuUsage", "CPU", r"\d+%", snapshot["cpu"]["totalUsage"], r"\d{3} K"),
                ("cpuFreq", "CPU clock", r"\d+ MHz", snapshot["cpu"]["performanceFreqMHz"], r"E \d+ MHz"),
                ("gpuFreq", "GPU clock", r"\d+ MHz", snapshot["gpu"]["frequencyMHz"], r"≤ 1578 MHz"),
                ("disk", "Disk", r"R .*/s W .*/s", snapshot["disk"], ""),
                ("power", "Power", r"\S+ W", snapshot["power"]["systemWatts"], ".*"),
                ("clock", "Time", time.strftime("%I:%M %p", time.gmtime(snapshot["clock"]["now"])).lstrip("0"),
                 snapshot["clock"]["now"], r"\d{4}-\d\d-\d\d"),
                ("battery", "Bat", "100%", 1, r"on AC \S+ W")):
            self.assertEqual((segments[metric]["label"], segments[metric]["value"]), (label, value))
            self.assertRegex(segments[metric]["text"], rf"\A{text}\Z")
            self.assertRegex(segments[metric]["detail"], rf"\A{detail}\Z")
        blocks = [f"{segment['label']}  {segment['text']}" for segment in segments.values()]
        line = "    ".join(blocks)
        self.assertEqual(texts["plain"], line + "\n")
        self.assertEqual(re.sub(r"#\[(fg=(red|yellow)|default)\]", "", texts["tmux"]), line + "\n")
        waybar = json.loads(texts["waybar"])
        self.assertEqual(self.markup(waybar["text"]), line)
        self.assertEqual(len(self.markup(waybar["tooltip"]).splitlines()), len(METRICS))
        self.assertEqual(waybar["percentage"], round(snapshot["load"]["value"] * 100))
        levels = [segment["level"] for segment in segments.values()]
        worst = max(levels, key=["normal", "warning", "critical"].index)
        self.assertEqual(waybar["class"], worst)
        header, _, rest = texts["i3bar"].partition("\n")
        self.assertEqual(json.loads(header), {"version": 1})
        (i3bar,) = json.loads(rest)
        self.assertEqual([(block["name"], block["full_text"]) for block in i3bar], list(zip(segments, blocks)))
        self.assertEqual(["color" in block for block in i3bar], [level != "normal" for level in levels])
        self.assertEqual({(block["separator"], block["separator_block_width"]) for block in i3bar}, {(False, 12)})
        self.write(enabledMetrics="")
        self.assertEqual((self.bar("plain"), json.loads(self.bar("waybar"))["text"]), ("\n", ""))

    @unittest.skipUnless(shutil.which("tmux"), "tmux is not installed")
    def test_tmux_renders_its_line(self):
        self.write(language="en", enabledMetrics="loadIndex,cpuUsage", metricOrder="loadIndex")
        self.start_helper("laptop-third-kind")
        tmux = ["tmux", "-S", str(self.home / "tmux"), "-f", "/dev/null"]
        inner = " ".join([*tmux[:2], str(self.home / "inner"), *tmux[3:]])
        self.addCleanup(subprocess.run, [*tmux, "kill-server"], capture_output=True)
        self.addCleanup(subprocess.run, [*inner.split(), "kill-server"], capture_output=True)
        bar = f"#({ZEPHLON} --port {self.port} bar --format tmux --follow)"
        subprocess.run([*tmux, "new-session", "-d", "-x", "100", "-y", "6", f"{inner} new-session 'sleep 60'"],
                       env=self.environment, check=True, timeout=PATIENCE)
        setting = [*inner.split(), "set", "-g", "status-right-length", "80", ";",
                   "set", "-g", "status-right", f"<{bar}>"]
        shown, deadline = "", time.monotonic() + PATIENCE
        while not re.search(r"<Load \d+%  CPU \d+%>", shown):
            self.assertLess(time.monotonic(), deadline, shown)
            subprocess.run([*setting, ";", "refresh-client", "-S"], env=self.environment, capture_output=True)
            shown = subprocess.run([*tmux, "capture-pane", "-p"], capture_output=True, text=True).stdout
            time.sleep(0.2)

    def test_follows_the_helper_through_its_absence(self):
        self.write(updateInterval="0.25", language="en", enabledMetrics=",".join(METRICS))
        helper = self.start_helper("desktop-without-battery")
        self.assertNotIn("battery", self.segments())
        follow = self.spawn(ZEPHLON, "--port", self.port, "bar", "--format", "json", "--follow")
        i3bar = self.spawn(ZEPHLON, "--port", self.port, "bar", "--format", "i3bar", "--follow")
        times = [json.loads(follow.stdout.readline())["timestamp"] for _ in range(6)]
        self.assertAlmostEqual(sorted(later - earlier for earlier, later in zip(times, times[1:]))[2], 0.25, delta=0.05)
        self.assertEqual([i3bar.stdout.readline() for _ in range(2)], ['{"version":1}\n', "[\n"])
        first, second = (i3bar.stdout.readline() for _ in range(2))
        self.assertEqual([block["name"] for block in json.loads(first)], METRICS[:-1])
        self.assertEqual([block["name"] for block in json.loads(second.removeprefix(","))], METRICS[:-1])
        helper.kill()
        for line in map(json.loads, follow.stdout):
            if line.get("status") == 3:  # an answer may have broken off before
                break
        self.assertEqual(line["segments"], [])
        for (block, *_) in (json.loads(line.removeprefix(",")) for line in i3bar.stdout):
            if block["full_text"] == "helper away":
                break
        self.zephlon("bar", status=3)
        self.start_helper("desktop-without-battery")
        self.assertGreater(json.loads(follow.stdout.readline())["timestamp"], times[-1])
        follow.stdout.close()
        self.assertEqual(follow.wait(PATIENCE), 0)
        i3bar.send_signal(signal.SIGTERM)
        self.assertEqual(i3bar.wait(PATIENCE), 0)

    def test_escapes_what_comes_from_outside(self):
        token = self.home / "a&<b>/Q4T7LWX2PN.xyz.tallvek.Zephlon/helper-token"
        token.mkdir(parents=True)
        waybar = json.loads(self.spawn(ZEPHLON, "bar", "--format", "waybar", "--follow").stdout.readline())
        self.assertIn(str(token), self.markup(waybar["tooltip"]))
        self.assertEqual((waybar["text"], waybar["class"]), ("监视助手拒绝访问", "away"))

    def test_defaults_keep_what_they_are_given_and_refuse_the_rest(self):
        self.assertNotIn("*", self.zephlon("defaults").stdout)
        self.file.parent.mkdir(parents=True)
        self.file.write_text('{"other": [1], "language": "xx"}')
        for key, value, stored in (
                ("updateInterval", "0.25", 0.25), ("use24Hour", "false", False), ("language", "en", "en"),
                ("enabledMetrics", "disk,clock", ["disk", "clock"]), ("freqUnit", "mhz", "mhz"),
                ("tempUnit", "kelvin", "kelvin"), ("iconTextGap", "1.5", 1.5), ("segmentGap", "8", 8),
                ("topProcessCount", "10", 10), ("showProcessSidebar", "false", False)):
            self.write(**{key: value})
            self.assertEqual(json.loads(self.file.read_text())[key], stored)
            shown = self.zephlon("defaults", "read", key).stdout
            self.assertEqual(sorted(shown.strip().split(",")), sorted(value.split(",")))
        self.write(metricOrder=" battery, clock")
        self.assertTrue(self.zephlon("defaults", "read", "metricOrder").stdout.startswith("battery,clock,loadIndex,"))
        kept = self.file.read_bytes()
        self.assertEqual(json.loads(kept)["other"], [1])
        for key, *values in (
                ("updateInterval", "0", "-1", "nan", "inf", "1e999", "1 s", ""), ("segmentGap", "-0.0"),
                ("topProcessCount", "0", "11", "2.5"), ("use24Hour", "yes", "True"), ("language", "EN"),
                ("freqUnit", "GHz"), ("tempUnit", "C"), ("metricOrder", "clock,,disk", "Clock", "clock disk"),
                ("languageVersion", "1"), ("other", "2")):
            for value in values:
                self.zephlon("defaults", "write", key, value, status=2)
        self.zephlon("defaults", "read", "nothing", status=2)
        self.zephlon("defaults", "delete", "other", status=2)
        self.assertEqual(self.file.read_bytes(), kept)
        self.assertIn("* language            en\n", self.zephlon("defaults").stdout)
        self.zephlon("defaults", "delete", "language")
        self.assertIn("  language            zh\n", self.zephlon("defaults", "read").stdout)
        self.assertEqual(json.loads(self.file.read_text()).keys(), json.loads(kept).keys() - {"language"})
        self.file.write_text("{")
        self.zephlon("defaults", "write", "language", "en", status=None)
        self.assertEqual(json.loads(self.file.read_text()), {"language": "en"})
        self.assertEqual((self.file.parent / "defaults.json.invalid").read_text(), "{")
        shutil.rmtree(self.file.parent)
        self.file.parent.write_text("a file where the folder belongs")
        self.zephlon("defaults", "write", "language", "en", status=1)


if __name__ == "__main__":
    unittest.main(verbosity=2)
