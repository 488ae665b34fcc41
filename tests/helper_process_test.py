#!/usr/bin/env python3
"""Drives the real helper from outside: what it prints, answers and refuses. Usage: helper_process_test.py HELPER"""
import json
import os
import pathlib
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

HELPER = sys.argv.pop(1)
CONTAINER = "Q4T7LWX2PN.xyz.tallvek.Zephlon"
READY = "[ZQMHelper] ready"
PATIENCE = 30  # seconds; only ever waited out by a failing test


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def request(port, text):
    with socket.create_connection(("127.0.0.1", port), timeout=PATIENCE) as client:
        client.sendall(text.encode())
        reply = b""
        while piece := client.recv(65536):
            reply += piece
    return reply.decode()


class HelperTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.home = pathlib.Path(folder.name)
        self.port = free_port()

    def environment(self):
        return dict({name: value for name, value in os.environ.items() if not name.startswith("ZQM_")}, XDG_DATA_HOME=str(self.home), XDG_CONFIG_HOME=str(self.home / "config"))

    def start(self, *options, **popen):
        popen.setdefault("stdout", subprocess.PIPE)
        helper = subprocess.Popen([HELPER, "--port", str(self.port), *options], env=self.environment(), text=True,
                                  stderr=subprocess.PIPE, **popen)
        self.addCleanup(lambda: [stream.close() for stream in (helper.stdout, helper.stderr) if stream])
        self.addCleanup(helper.wait)
        self.addCleanup(helper.kill)
        return helper

    def lines_until(self, helper, last):
        lines = []
        while last not in lines:
            line = helper.stdout.readline()
            self.assertTrue(line, f"ended after {lines}")
            lines.append(line.rstrip("\n"))
        return lines

    def token(self):
        return (self.home / CONTAINER / "helper-token").read_text()

    def get(self, path):
        reply = request(self.port, f"GET {path} HTTP/1.1\r\nX-ZQM-Token: {self.token()}\r\n\r\n")
        head, _, body = reply.partition("\r\n\r\n")
        self.assertTrue(head.startswith("HTTP/1.1 200 OK\r\n"), head)
        return body

    def wait_until_serving(self):
        deadline = time.monotonic() + PATIENCE
        while time.monotonic() < deadline:
            try:
                return self.get("/api/ping")
            except OSError:
                time.sleep(0.01)
        self.fail("does not serve")

    def end(self, helper, sign=signal.SIGTERM):
        helper.send_signal(sign)
        self.assertEqual(helper.wait(PATIENCE), 0)

    def test_serves_this_machine_from_the_first_whole_second(self):
        helper = self.start()
        self.assertEqual(self.lines_until(helper, READY),
                         [f"[ZQMHelper] starting on 127.0.0.1:{self.port}", READY])
        warmed = "[ZQMHelper] diagnostics cache warmed"  # in the background, at some moment
        lines = self.lines_until(helper, "[ZQM] scheduleTimer 触发")
        self.assertEqual([line for line in lines if line != warmed],
                         ["[ZQM] engine.start 调用", "[ZQM] scheduleTimer 触发"])
        deadline = time.monotonic() + PATIENCE
        snapshot = {"memory": {"totalBytes": 0}}
        while not snapshot["memory"]["totalBytes"] and time.monotonic() < deadline:
            snapshot = json.loads(self.get("/api/snapshot"))
        pages = os.sysconf("SC_PHYS_PAGES") * os.sysconf("SC_PAGE_SIZE")
        self.assertEqual(snapshot["memory"]["totalBytes"], pages)
        self.assertEqual(len(snapshot["cpu"]["perCoreUsage"]), os.sysconf("SC_NPROCESSORS_CONF"))
        self.assertEqual(snapshot["timestamp"] // 1, snapshot["clock"]["now"] // 1)
        self.end(helper, signal.SIGINT)

    def test_keeps_its_token_private_and_across_restarts(self):
        helper = self.start()
        self.lines_until(helper, READY)
        token = self.token()
        self.assertRegex(token, r"\A[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}\Z")
        self.assertEqual((self.home / CONTAINER).stat().st_mode & 0o777, 0o700)
        self.assertEqual((self.home / CONTAINER / "helper-token").stat().st_mode & 0o777, 0o600)
        self.assertEqual([path.name for path in (self.home / CONTAINER).iterdir()], ["helper-token"])
        helper.kill()
        helper.wait()
        again = self.start()
        self.lines_until(again, READY)
        self.assertEqual(self.token(), token)
        self.assertEqual(self.get("/api/ping"), '{"ok":true}')
        self.assertTrue(request(self.port, "GET /api/snapshot HTTP/1.1\r\n\r\n").startswith("HTTP/1.1 403 Forbidden"))
        self.assertTrue(request(self.port, "GET /else HTTP/1.1\r\n\r\n").startswith("HTTP/1.1 404 Not Found"))
        self.end(again)

    def test_reports_the_machine_but_not_whose_it_is(self):
        helper = self.start()
        self.lines_until(helper, "[ZQMHelper] diagnostics cache warmed")
        report = self.get("/api/diagnostics")
        self.assertTrue(report.startswith("=== Zephlon Diagnostics ===\nDate: "), report)
        self.assertIn("\n--- SMC keys ---\navailable: ", report)
        names = [socket.gethostname(), str(self.home), os.environ.get("USER", ""), self.token(), "127.0.0.1"]
        for serial in ("product_serial", "product_uuid", "board_serial"):
            path = pathlib.Path("/sys/class/dmi/id", serial)
            names.append(path.read_text().strip() if path.exists() and os.geteuid() == 0 else "")
        for name in filter(lambda text: len(text) > 3, names):
            self.assertNotIn(name, report)
        reply = request(self.port, "POST /api/diagnostics/report HTTP/1.1\r\n\r\n").partition("\r\n\r\n")[2]
        self.assertEqual(reply, '{"error":"invalid url"}')  # no host is configured: nothing is sent
        self.end(helper)

    def test_lives_on_when_the_port_is_taken(self):
        with socket.socket() as holder:
            holder.bind(("127.0.0.1", self.port))
            holder.listen()
            helper = self.start()
            self.assertEqual(self.lines_until(helper, READY)[1:],
                             ["[ZQMHelper] listener failed: Address already in use", READY])
            self.lines_until(helper, "[ZQM] scheduleTimer 触发")
            self.end(helper)

    def test_serves_whether_or_not_anyone_reads_its_output(self):
        read_end, write_end = os.pipe()
        os.set_blocking(write_end, False)
        try:
            while True:
                os.write(write_end, b"x" * 4096)
        except BlockingIOError:
            os.set_blocking(write_end, True)
        full = self.start(stdout=write_end)
        self.assertEqual(self.wait_until_serving(), '{"ok":true}')
        self.end(full)
        os.close(read_end)
        closed = self.start(stdout=write_end)
        os.close(write_end)
        self.assertEqual(self.wait_until_serving(), '{"ok":true}')
        self.end(closed)

    def test_needs_a_place_for_its_token(self):
        (self.home / CONTAINER).write_text("a file where the directory belongs")
        helper = self.start()
        self.assertEqual(helper.wait(PATIENCE), 1)
        self.assertIn(f"[ZQMHelper] App Group {CONTAINER} 不可用——entitlements 未生效？", helper.stderr.read())

    def test_reports_preferences_that_are_not_json_once_and_goes_on(self):
        (self.home / "config" / "ZQMHelper").mkdir(parents=True)
        (self.home / "config" / "ZQMHelper" / "defaults.json").write_text("{updateInterval: 1")
        helper = self.start()
        self.lines_until(helper, READY)
        self.end(helper)
        self.assertEqual(len(helper.stderr.read().splitlines()), 1)

    def test_refuses_what_it_does_not_understand_in_one_line(self):
        (self.home / "broken.json").write_text('{"hostStatistics": 5}')
        for options in (["--nonsense"], ["extra"], ["--port", "0"], ["--port", "65536"], ["--port"], ["--root", "/nowhere"],
                        ["--root", __file__], ["--machine", "/nowhere.json"], ["--machine", str(self.home)],
                        ["--machine", str(self.home / "broken.json")],
                        ["--root", "/", "--machine", str(self.home / "broken.json")]):
            result = subprocess.run([HELPER, *options], env=self.environment(), capture_output=True, text=True,
                                    timeout=PATIENCE)
            self.assertEqual(result.returncode, 2, options)
            self.assertRegex(result.stderr, r"\AZQMHelper: .+\n\Z", options)
            self.assertEqual(result.stdout, "", options)
        for option, shown in (("--help", "--machine FILE"), ("--version", "ZQMHelper ")):
            result = subprocess.run([HELPER, option], capture_output=True, text=True, timeout=PATIENCE)
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertIn(shown, result.stdout)


if __name__ == "__main__":
    unittest.main(verbosity=2)
