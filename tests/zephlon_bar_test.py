#!/usr/bin/env python3
"""Drives `zephlon bar --follow` beside the real helper and in a real tmux."""
import json
import re
import shutil
import signal
import subprocess
import time
import unittest
from xml.etree import ElementTree

from harness import PATIENCE, ROOT, ZEPHLON, FakeServer, ProgramTest, ok, until


class BarTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.preferences.parent.mkdir()
        self.preferences.write_text(json.dumps({"updateInterval": 0.25, "language": "en", "metricOrder": ["loadIndex"],
                                                "enabledMetrics": ["loadIndex", "cpuUsage", "battery"]}))

    def follow(self, form):
        return self.spawn(ZEPHLON, "--port", str(self.port), "bar", "--format", form, "--follow")

    @unittest.skipUnless(shutil.which("tmux"), "tmux is not installed")
    def test_tmux_renders_its_line(self):
        self.start_machine("desktop-without-battery")
        outer, inner = (["tmux", "-S", str(self.home / name), "-f", "/dev/null"] for name in ("outer", "inner"))

        def tmux(*words):
            return subprocess.run(words, env=self.environment, capture_output=True, text=True, timeout=PATIENCE).stdout

        def renders():  # within the 40 columns that tmux gives it
            tmux(*inner, "set", "-g", "status-right", bar, ";", "refresh-client", "-S")
            return re.search(r"<Load {1,3}\d+%  CPU {1,3}\d+%  Mem {1,3}\d+%>", tmux(*outer, "capture-pane", "-p"))
        for server in (outer, inner):
            self.addCleanup(tmux, *server, "kill-server")
        bar = f"<#({ZEPHLON} --port {self.port} bar --format tmux --metrics loadIndex,cpuUsage,memoryUsage --follow)>"
        tmux(*outer, "new-session", "-d", "-x", "100", "-y", "6", " ".join([*inner, "new-session 'sleep 60'"]))
        until(renders, "tmux does not show the line")

    def test_follows_the_helper_through_its_absence(self):
        helper = self.start_machine("desktop-without-battery")
        follow, i3bar = self.follow("json"), self.follow("i3bar")
        times = [json.loads(follow.stdout.readline())["timestamp"] for _ in range(6)]
        self.assertAlmostEqual(sorted(later - earlier for earlier, later in zip(times, times[1:]))[2], 0.25, delta=0.05)
        self.assertEqual([i3bar.stdout.readline() for _ in range(2)], ['{"version":1}\n', "[\n"])
        for before in ("", ","):
            blocks = json.loads(i3bar.stdout.readline().removeprefix(before))
            self.assertEqual([block["name"] for block in blocks], ["loadIndex", "cpuUsage"])
        helper.kill()
        self.assertIn('"segments":[]', next(line for line in follow.stdout if '"status":3' in line))
        next(line for line in i3bar.stdout if '"helper away"' in line)
        self.zephlon("bar", status=3)
        self.start_machine("desktop-without-battery")
        self.assertGreater(json.loads(next(line for line in follow.stdout if '"timestamp"' in line))["timestamp"], times[-1])
        follow.stdout.close()
        self.assertEqual(follow.wait(PATIENCE), 0)
        i3bar.send_signal(signal.SIGTERM)
        self.assertEqual(i3bar.wait(PATIENCE), 0)

    def test_tells_the_age_of_a_sample_that_no_newer_one_follows(self):
        self.leave_token()
        snapshot = json.loads((ROOT / "tests" / "transcripts" / "server.json").read_text())
        with FakeServer(ok(json.dumps(snapshot | {"timestamp": time.time()}))) as server:
            self.port = server.port
            lines = self.follow("json").stdout
            self.assertNotIn('"age"', lines.readline())
            self.assertRegex(lines.readline(), r'"metric":"age","label":"Old",.*"text":"\d s","value":3\.\d+,"level":"critical"')

    def test_rises_after_three_samples_and_takes_preferences_as_they_change(self):
        self.leave_token()
        snapshot = json.loads((ROOT / "tests" / "transcripts" / "laptop.json").read_text())
        with FakeServer(b"") as server:
            self.port = server.port

            def shown(pressure):
                """Of the next sample: label and level of each segment."""
                snapshot["memory"]["pressureLevel"] = pressure
                server.reply = ok(json.dumps(snapshot | {"timestamp": time.time()}))
                segments = json.loads(next(line for line in lines if '"timestamp"' in line))["segments"]
                return [(segment["label"], segment["level"]) for segment in segments]
            self.preferences.write_text('{"updateInterval": 1, "language": "en", "enabledMetrics": ["memoryUsage"]}')
            server.reply = ok(json.dumps(snapshot | {"timestamp": time.time()}))
            lines = self.follow("json").stdout
            lines.readline()
            self.preferences.write_text('{"updateInterval": 0.1, "language": "zh", "enabledMetrics": ["memoryUsage"]}')
            next(line for line in lines if "内存" in line)
            self.assertEqual([shown(pressure)[-1][1] for pressure in (1, 4, 4, 4, 2, 1)],
                             ["normal", "normal", "normal", "critical", "warning", "normal"])

    def test_markup_is_well_formed_also_of_a_problem(self):
        self.leave_token()
        problem = dict(self.environment, XDG_DATA_HOME=f"{self.home}/<a&b>")
        (self.home / "<a&b>" / self.token.parent.name / "helper-token").mkdir(parents=True)
        with FakeServer(ok((ROOT / "tests" / "transcripts" / "laptop.json").read_text())) as server:
            for form in ("waybar", "i3status-rust", "genmon"):
                for environment in (self.environment, problem):
                    text = subprocess.run([ZEPHLON, "--port", str(server.port), "bar", "--format", form], env=environment,
                                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, timeout=PATIENCE).stdout
                    parts = [text] if form == "genmon" else filter(lambda part: isinstance(part, str), json.loads(text).values())
                    for part in parts:
                        ElementTree.fromstring(f"<markup>{part}</markup>")


if __name__ == "__main__":
    unittest.main()
