#!/usr/bin/env python3
"""`zephlon web` and `zephlon history`: what the real programs keep and serve."""
import json
import signal
import socket
import struct
import time
import unittest

from harness import PATIENCE, ZEPHLON, FakeServer, ProgramTest, exchange, ok, until

from prometheus_test import OLD, SamplingServer


class StickingServer(SamplingServer):
    """A helper whose sampling may hang."""
    is_stuck = False

    def finish_request(self, *request):
        if self.is_stuck:
            self.reply = ok(OLD)
            return FakeServer.finish_request(self, *request)
        return super().finish_request(*request)


class WebTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.leave_token()
        self.state = self.home / ".local" / "state" / "zephlon"

    def start_web(self, helper, *words):
        web = self.spawn(ZEPHLON, "--port", str(helper.port), "web", "--listen", "127.0.0.1:0", *words)
        self.said = []
        while not self.said or "serving" not in self.said[-1]:
            self.said.append(web.stdout.readline())
        self.url, self.key = self.zephlon("web", "--url", port=helper.port).strip().split("/#")
        return web

    def ask(self, target, headers=""):
        request = f"GET {target} HTTP/1.1\r\nHost: localhost\r\nAuthorization: Bearer {self.key}\r\n{headers}\r\n"
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
            before = helper.requests
            for _ in range(100):
                self.now()
            self.assertLess(helper.requests - before, 50)
            status, head, page = self.ask("/")
            self.assertEqual((status, len(page) < 60000), (200, True))
            self.assertRegex(head, r"(?s)Content-Security-Policy: default-src 'none'; script-src 'sha256-.*frame-ancestors 'none'"
                                   r".*nosniff.*no-referrer.*no-store")
            self.assertNotIn(b"SECRET", page + json.dumps(now).encode())
            _, _, block = self.ask(f"/api/history?from={now['slot'] - 2}&to={now['slot']}")
            self.assertEqual(struct.unpack("<8s6I", block[:32])[:5], (b"ZQMHIST1", 1, 1, now["slot"] - 2, 3))
            self.assertIn("cpu usage", json.loads(self.ask("/api/sources")[2])["text"])
            for target, headers in (("/api/now", "Sec-Fetch-Site: cross-site\r\n"), ("/api/else", "")):
                status, head, body = self.ask(target, headers)
                self.assertEqual((status, body), (404 if "else" in target else 403, b"{}"))
            self.assertEqual({path.name: oct(path.stat().st_mode)[-3:] for path in self.door().iterdir() if path.is_file()},
                             {"web.json": "600", "web.html": "600"})
            self.assertIn(f"{self.url}/#{self.key}", (self.door() / "web.html").read_text())
            self.zephlon("web", port=helper.port, status=1)  # it runs already
            with socket.create_connection(("127.0.0.1", int(self.url.rsplit(":", 1)[1]))) as silent:
                self.stop(web)
                self.assertEqual(silent.recv(9), b"")
            self.assertEqual([path.name for path in self.door().iterdir()], ["history"])
            self.zephlon("web", "--url", port=helper.port, status=1)

    def door(self):
        return next(self.state.glob("port-*"))

    def test_the_history_outlives_it_and_a_helper_that_goes_away(self):
        with StickingServer(b"") as helper:
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
            helper.is_stuck = True
            until(lambda: self.now()["problem"])
            self.assertIn("older than three intervals", self.stop(web))
        for words, complaint in ((["cpuu"], "did you mean cpu"), (["cpu", "--last", "1y"], "--last takes a time"),
                                 (["core.1"], "no history of that time")):
            self.assertIn(complaint, self.zephlon("history", *words, status=1 if "core" in words[0] else 2))

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
