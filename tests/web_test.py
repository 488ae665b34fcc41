#!/usr/bin/env python3
"""`zephlon web` and `zephlon history`: what the real programs keep and serve."""
import json
import signal
import socket
import struct
import time
import unittest

from harness import PATIENCE, ZEPHLON, ProgramTest, exchange, until

from prometheus_test import MACHINE, OLD, SamplingServer

# What OLD tells of each track.
FIGURES = {"ratio": {"load": 0.4375, "cpu": 0.4375, "cpu.efficiency": 0.375, "cpu.performance": 1, "cpu.other": 0, "gpu": 0.625,
                     "memory.pressure": 0.5, "battery": 0.1},
           "MHz": {"cpu.clock.efficiency": 1020.5, "cpu.clock.performance": 3204, "gpu.clock": 714.8},
           "celsius": {"cpu.temperature": 39.75, "gpu.temperature": 31.875},
           "bytes": {"memory": 15032385536, "memory.app": 7420624896, "memory.wired": 2490368000, "memory.compressed": 3063808000,
                     "swap": 1073741824},
           "bytes/s": {"network.download": 4999600, "network.upload": 31249.5, "disk.read": 3145730.5, "disk.write": 999.4},
           "watts": {"power": 12.25, "power.cpu": 0.5, "power.gpu": 0.0245, "power.dram": 0.25, "power.display": 2.75, "battery.power": 15.6}}


class WebTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.leave_token()
        self.state = self.home / ".local" / "state" / "zephlon"

    def start_web(self, helper, *words, address="127.0.0.1:0", root="/", **variables):
        web = self.spawn(ZEPHLON, "--port", str(helper.port), "--root", root, "web", "--listen", address, *words, **variables)
        self.said = []
        while not self.said or "serving" not in self.said[-1]:
            self.said.append(web.stdout.readline())
        self.url, self.key = self.zephlon("web", "--url", port=helper.port).strip().split("/#")
        return web

    def ask(self, target):
        request = f"GET {target} HTTP/1.1\r\nHost: localhost\r\nAuthorization: Bearer {self.key}\r\n\r\n"
        head, _, body = exchange(int(self.url.rsplit(":", 1)[1]), request.encode()).partition(b"\r\n\r\n")
        return int(head[9:12]), head.decode(), body

    def now(self):
        return json.loads(self.ask("/api/now")[2])

    def stop(self, web):
        web.send_signal(signal.SIGTERM)
        self.assertEqual(web.wait(PATIENCE), 0)
        return web.stdout.read()

    def test_serves_its_user_the_page_and_nobody_the_token(self):
        with SamplingServer(b"") as helper:
            web = self.start_web(helper)
            now = until(lambda: (now := self.now())["slot"] and now)
            self.assertEqual((now["problem"], now["values"]["cpu"], now["sample"]["cpu"]["totalUsage"]),
                             (None, 0.4375, 0.4375))
            status, head, page = self.ask("/")
            self.assertEqual((status, len(page) < 60000), (200, True))
            self.assertRegex(head, r"(?s)Content-Security-Policy: default-src 'none'; script-src 'sha256-.*frame-ancestors 'none'"
                                   r".*nosniff.*no-referrer.*no-store")
            self.assertNotIn(b"SECRET", page + json.dumps(now).encode())
            _, head, block = self.ask(f"/api/history?from={now['slot'] - 2}&to={now['slot']}")
            self.assertIn("Content-Type: application/octet-stream\r\n", head)
            self.assertEqual(struct.unpack("<8s6I", block[:32])[:5], (b"ZQMHIST1", 1, 1, now["slot"] - 2, 3))
            self.assertIn("cpu usage", json.loads(self.ask("/api/sources")[2])["text"])
            self.assertEqual(self.ask("/api/else")[::2], (404, b"{}"))
            self.assertEqual({path.name: oct(path.stat().st_mode)[-3:] for path in self.door().iterdir() if path.is_file()},
                             {"web.json": "600", "web.html": "600"})
            self.assertIn(f"{self.url}/#{self.key}", (self.door() / "web.html").read_text())
            self.zephlon("web", port=helper.port, status=1)  # it runs already
            with socket.create_connection(("127.0.0.1", int(self.url.rsplit(":", 1)[1]))) as silent:
                self.stop(web)
                self.assertEqual(silent.recv(9), b"")
            self.assertEqual([path.name for path in self.door().iterdir()], ["history"])
            self.zephlon("web", "--url", port=helper.port, status=1)
        (self.state / "web.json").write_text('{"address":"[::1]:1","key":"ab"}')
        self.assertEqual(self.zephlon("web", "--url", port=18932), "http://[::1]:1/#ab\n")

    def door(self):
        return next(self.state.glob("port-*"))

    def test_the_history_outlives_it_and_a_helper_that_goes_away(self):
        with SamplingServer(b"") as helper:
            web = self.start_web(helper)
            first = until(lambda: self.now()["slot"])
            live = json.loads(self.zephlon("history", "cpu", "--last", "60s", "--format", "json", port=helper.port))
            self.assertIn(0.4375, live["metrics"]["cpu"]["values"])
            self.stop(web)
            kept = self.zephlon("history", "cpu", "--last", "2m", "--format", "csv", port=helper.port)
            self.assertIn(time.strftime("%Y-%m-%dT%H:%M:%SZ,0.4375\n", time.gmtime(first)), kept)
            self.assertRegex(self.zephlon("history", "--last", "2m", port=helper.port), r"(?m)^cpu  least 44%, mean 44%")
            seconds = self.door() / "history" / "seconds.zqmhist"
            seconds.write_bytes(seconds.read_bytes()[:-9])
            web = self.start_web(helper)
            self.assertIn("it is damaged; set aside as", self.said[0])
            self.assertTrue(seconds.with_suffix(".zqmhist.damaged").exists())
            helper.age = 60
            until(lambda: "older than three intervals" in (self.now()["problem"] or ""))
            self.assertIn("older than three intervals", self.stop(web))
        for words, complaint in ((["cpuu"], "did you mean cpu"), (["cpu", "--last", "1y"], "--last takes a time"),
                                 (["core.x"], "no metric"), (["core.1"], "no history of that time")):
            self.assertIn(complaint, self.zephlon("history", *words, status=1 if words == ["core.1"] else 2))

    def test_tells_of_this_machine_in_its_users_units(self):
        for path, content in MACHINE.items():
            (self.home / path).parent.mkdir(parents=True, exist_ok=True)
            (self.home / path).write_text(content)
        self.preferences.parent.mkdir()
        self.preferences.write_text(json.dumps({"tempUnit": "fahrenheit", "freqUnit": "mhz", "language": "en"}))
        opener = self.home / "xdg-open"
        opener.write_text(f'#!/bin/sh\nuntil [ -e {self.home}/go ]; do sleep 0.1; done\ncat "$1" >>{self.home}/opened\n')
        opener.chmod(0o700)
        opens = {"PATH": f"{self.home}:/usr/bin:/bin"}
        with SamplingServer(b"") as helper:
            web = self.start_web(helper, "--open", root=self.home, **opens)
            self.assertRegex("".join(self.said), r"\Azephlon: serving http://127.0.0.1:\d+/; zephlon web --open shows it\n\Z")
            now = until(lambda: (now := self.now())["levels"]["battery"] != "normal" and now["facts"] and now)
            self.assertEqual([now[name] for name in ("language", "temperature", "frequency")], ["en", "fahrenheit", "mhz"])
            self.assertEqual([now["levels"][name] for name in ("gpuHeat", "memory", "battery")], ["normal", "warning", "critical"])
            self.assertEqual([now["facts"][name] for name in ("uptime", "loadAverages", "interfaces")],
                             [1000.5, [1, 2, 3], [{"name": "eth0", "in": 0, "out": 0}]])
            self.assertEqual(now["sample"]["processes"]["network"], [])  # 640 has ended
            _, _, block = self.ask(f"/api/cores?from={now['slot']}&to={now['slot']}")
            self.assertEqual((block[32:40], block[128:132]), (b"core.0\0\0", bytes((125, 25, 200, 0))))
            self.zephlon("web", "--open", port=helper.port, env=self.environment | opens)
            (self.home / "go").touch()  # neither waits for what opens it
            until(lambda: (self.home / "opened").read_text().count(f'"{self.url}/#{self.key}"') == 2)
            self.assertIn(f"open {self.url}", self.zephlon("web", "--open", port=helper.port, status=1, env=self.environment | {"PATH": ""}))
            said = self.zephlon("history", port=helper.port)
            self.assertRegex(said, r"cpu.clock.performance  least 3204 MHz(?s:.*)cpu.temperature  least 104 °F(?s:.*)memory  least 14")
            told = json.loads(self.zephlon("history", "--format", "json", port=helper.port))["metrics"]
            for unit, figures in FIGURES.items():
                self.assertEqual({name: next(filter(None, reversed(of["values"])), 0) for name, of in told.items() if of["unit"] == unit}, figures)
            head, *lines = self.zephlon("history", "--last", "5s", "--format", "csv", port=helper.port).splitlines()
            self.assertEqual((head.split(",")[1:], len(lines)), (list(told), 5))
            self.stop(web)
            for address in ("[::1]:0", "0.0.0.0:0"):
                web = self.start_web(helper, address=address)
                self.assertRegex(self.url, r"http://\[::1\]:\d+\Z" if "[" in address else r"http://127.0.0.1:\d+\Z")
                self.assertEqual("ssh -L" in self.stop(web), "0.0.0.0" in address)

    def test_goes_on_where_nothing_can_be_kept(self):
        self.state.parent.mkdir(parents=True)
        self.state.write_text("in the way")
        with SamplingServer(b"") as helper:
            web = self.spawn(ZEPHLON, "--port", str(helper.port), "web", "--listen", "127.0.0.1:0")
            said = [web.stdout.readline() for _ in range(6)]
            self.assertRegex("".join(said), r"(seconds|minutes|quarters|cores).zqmhist: Not a directory; it cannot be set aside"
                                            r"(?s:.*)cannot write \S+/zephlon/\S*: Not a directory\n.*serving")
            until(lambda: helper.requests > 1)
            self.assertEqual(self.stop(web), "")


if __name__ == "__main__":
    unittest.main()
