#!/usr/bin/env python3
"""Drives the real helper from outside: what it prints, answers and refuses."""
import os
import pathlib
import re
import shlex
import shutil
import signal
import socket
import subprocess
import unittest

from harness import BUILD, CONTAINER, HELPER, PATIENCE, ROOT, ProgramTest, exchange, until

READY = "[ZQMHelper] ready"
WARMED = "[ZQMHelper] diagnostics cache warmed"  # in the background, at some moment
TOKEN = rf"\[ZQMHelper\] /.+/{CONTAINER}/helper-token: "
UNAVAILABLE = rf"\[ZQMHelper\] App Group {CONTAINER} 不可用——entitlements 未生效？\n\[ZQMHelper\] /.+/{CONTAINER}: .+\n"
NOT_SAVED, EXPOSED, FOREIGN, UNSENDABLE = (
    TOKEN + text for text in (".+; the new token serves until the end only\n", "other users may read the token; .+\n",
                              "the token belongs to another user; .+\n", "no client can send a token that .+\n"))
TMPFS = 'mount -t tmpfs -o {} none "$PWD" && cd "$PWD" && '
READ_ONLY = ' && mount -o remount,ro none "$PWD"'
UNSHARE = ["unshare", "--mount", *([] if os.geteuid() == 0 else ["--user", "--map-root-user"])]
LAST = "[ZQM] scheduleTimer 触发"


class HelperTest(ProgramTest):
    def start(self, *options, stdout=subprocess.PIPE):
        return self.start_helper(*options, stdout=stdout)

    def lines_until(self, helper, last):
        lines = []
        while last not in lines:
            line = helper.process.stdout.readline().decode()
            self.assertTrue(line, f"ended after {lines}")
            lines.append(line.rstrip("\n"))
        return lines

    def ask(self, text):
        return exchange(self.port, text.encode() + b"\r\n\r\n").decode()

    def test_serves_this_machine_from_the_first_whole_second(self):
        helper = self.start()
        lines = self.lines_until(helper, LAST)
        self.assertEqual([line for line in lines if line != WARMED],
                         [f"[ZQMHelper] starting on 127.0.0.1:{self.port}", READY, "[ZQM] engine.start 调用", LAST])
        helper.wait_until_serving(lambda snapshot: snapshot["memory"]["totalBytes"])
        snapshot = helper.server.snapshot()
        self.assertEqual(snapshot["memory"]["totalBytes"], os.sysconf("SC_PHYS_PAGES") * os.sysconf("SC_PAGE_SIZE"))
        self.assertEqual(len(snapshot["cpu"]["perCoreUsage"]), os.sysconf("SC_NPROCESSORS_CONF"))
        self.assertEqual(snapshot["timestamp"] // 1, snapshot["clock"]["now"] // 1)
        helper.stop(by=signal.SIGINT)

    def test_keeps_its_token_private_and_across_restarts(self):
        helper = self.start()
        self.lines_until(helper, READY)
        token = self.token.read_text()
        self.assertRegex(token, r"\A[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}\Z")
        self.assertEqual([path.stat().st_mode & 0o777 for path in (self.token.parent, self.token)], [0o700, 0o600])
        self.assertEqual(list(self.token.parent.iterdir()), [self.token])
        helper.kill()
        again = self.start()
        self.lines_until(again, READY)
        self.assertEqual(self.token.read_text(), token)
        for request, reply in ((f"GET /api/ping HTTP/1.1\r\nX-ZQM-Token: {token}", r'200 OK.*\r\n\r\n\{"ok":true\}\Z'),
                               ("GET /api/snapshot HTTP/1.1", "403 Forbidden"), ("GET /else HTTP/1.1", "404 Not Found")):
            self.assertRegex(self.ask(request), re.compile(rf"\AHTTP/1\.1 {reply}", re.DOTALL))
        again.stop()

    def test_reports_the_machine_but_not_whose_it_is(self):
        helper = self.start()
        self.lines_until(helper, WARMED)
        report = helper.wait_until_serving().server.get("/api/diagnostics").decode()
        self.assertRegex(report, r"\A=== Zephlon Diagnostics ===\nDate: [^$]*\n--- SMC keys ---\navailable: ")
        names = [socket.gethostname(), str(self.home), os.environ.get("USER", ""), self.token.read_text(), "127.0.0.1"]
        for serial in map(pathlib.Path("/sys/class/dmi/id").joinpath, ("product_serial", "product_uuid", "board_serial")):
            names.append(serial.read_text().strip() if serial.exists() and os.geteuid() == 0 else "")
        for name in filter(lambda text: len(text) > 3, names):
            self.assertNotIn(name, report)
        reply = self.ask("POST /api/diagnostics/report HTTP/1.1")
        self.assertTrue(reply.endswith('\r\n\r\n{"error":"invalid url"}'))  # no host is configured: nothing is sent

    def test_lives_on_when_the_port_is_taken_which_its_service_notices(self):
        unit = (ROOT / "packaging/systemd/zephlon-helper.service.in").read_text()
        check = shlex.split(re.search("^ExecStartPost=(.*)", unit, re.MULTILINE)[1].replace("@bindir@", str(BUILD)))
        (self.home / "sleep").symlink_to(shutil.which("true"))
        variables = dict(self.environment, ZQM_PORT=str(self.port), PATH=f"{self.home}:{os.environ['PATH']}")
        with socket.create_server(("127.0.0.1", self.port)) as other:
            helper = self.start()
            self.assertEqual(self.lines_until(helper, READY)[1], "[ZQMHelper] listener failed: Address already in use")
            self.lines_until(helper, LAST)
            self.assertFalse(self.token.exists())  # nobody would take it
            other.close()
            self.assertNotEqual(subprocess.run(check, env=variables, stderr=subprocess.DEVNULL).returncode, 0)
            helper.stop()
        serving = self.start().wait_until_serving()
        until(lambda: subprocess.run(check, env=variables, stderr=subprocess.DEVNULL).returncode == 0)
        self.token.unlink()
        second = self.start()
        self.lines_until(second, READY)
        until(lambda: self.token.exists() and self.token.read_bytes() == serving.server.token)
        for running in (second, serving):
            running.stop()

    def test_serves_whether_or_not_anyone_reads_its_output(self):
        read_end, write_end = os.pipe()
        os.set_blocking(write_end, False)
        with self.assertRaises(BlockingIOError):
            while os.write(write_end, b"x" * 4096):
                pass
        os.set_blocking(write_end, True)
        for reader_leaves in (False, True):
            if reader_leaves:
                os.close(read_end)
            self.start(stdout=write_end).wait_until_serving().stop()
        os.close(write_end)
        helper = self.start_helper(before=["sh", "-c", 'exec "$@" <&- >&- 2>&-', "sh"]).wait_until_serving()
        self.assertEqual({os.readlink(f"/proc/{helper.pid}/fd/{stream}") for stream in range(3)}, {"/dev/null"})
        helper.stop()

    def test_says_in_one_line_what_it_cannot_use(self):
        self.preferences.parent.mkdir()
        self.preferences.write_text("{updateInterval: 1")
        helper = self.start()
        self.lines_until(helper, READY)  # and goes on
        helper.process.terminate()
        self.assertEqual(helper.process.communicate(timeout=PATIENCE)[1].count(b"\n"), 1)
        self.preferences.unlink()
        broken = self.home / "broken.json"
        broken.write_text('{"hostStatistics": 5}')
        pipe = self.home / "pipe"
        os.mkfifo(pipe)
        for options in (["--nonsense"], ["extra"], ["--port", "0"], ["--port", "65536"], ["--port"],
                        ["--root", "/nowhere"], ["--root", __file__], ["--root", self.home], ["--machine", "/nowhere.json"],
                        ["--machine", ""], ["--machine", pipe], ["--machine", self.home], ["--machine", broken],
                        ["--root", "/", "--machine", broken], ["--port", "0x5"]):
            self.expect_end(options, 2, r"\A\Z", r"\AZQMHelper: .+\n\Z")
        self.expect_end(["--help"], 0, "18932[^$]*--machine FILE", r"\A\Z")
        self.expect_end(["--version"], 0, r"\AZQMHelper \d", r"\A\Z")

    def test_serves_on_where_its_token_cannot_be_kept(self):
        can_mount = subprocess.run([*UNSHARE, "true"], stderr=subprocess.DEVNULL).returncode == 0
        for spoil, said in ((f"touch {CONTAINER}", UNAVAILABLE), (f"mkdir -p {CONTAINER}/helper-token", NOT_SAVED),
                            (TMPFS.format("size=64k") + f"mkdir {CONTAINER} && ! cat /dev/zero >filler 2>&1", NOT_SAVED),
                            (TMPFS.format("nr_inodes=1") + ":", UNAVAILABLE),
                            (TMPFS.format("size=64k") + f"mkdir {CONTAINER}" + READ_ONLY, NOT_SAVED),
                            (TMPFS.format("size=64k") + f"mkdir {CONTAINER} && echo T >{self.token}" + READ_ONLY, EXPOSED),
                            (f"mkdir {CONTAINER} && umask 77 && echo T >{self.token}", ""),
                            (f"mkdir {CONTAINER} && umask 77 && printf 'a\\nb' >{self.token}", UNSENDABLE),
                            (f"mkdir {CONTAINER} && umask 77 && printf '\\357\\273\\277T' >{self.token}", UNSENDABLE),
                            (f"mkdir {CONTAINER} && umask 77 && echo T >{self.token} && chown 1 {self.token}", FOREIGN)):
            if "mount" in spoil and not can_mount or "chown" in spoil and os.geteuid() != 0:
                continue
            shutil.rmtree(self.home)
            self.home.mkdir()
            script = f'cd {self.home} && {spoil} && exec "$@"'
            helper = self.start_helper(before=[*UNSHARE * ("mount" in spoil), "sh", "-c", script, "sh"])
            if said != UNAVAILABLE:
                self.assertIn("403", until(lambda: self.ask("GET /api/ping HTTP/1.1")))
                left = os.listdir(f"/proc/{helper.pid}/root{self.token.parent}")
                self.assertLessEqual(set(left), {"helper-token"}, spoil)  # nothing half-written
                helper.process.terminate()
            errors = helper.process.communicate(timeout=PATIENCE)[1].decode()
            self.assertEqual(helper.process.returncode, said == UNAVAILABLE, spoil)
            self.assertRegex(errors, rf"\A{said}\Z", spoil)

    def expect_end(self, options, status, output, errors):
        done = subprocess.run([HELPER, *options], env=self.environment, capture_output=True, text=True, timeout=PATIENCE)
        self.assertEqual(done.returncode, status, options)
        self.assertRegex(done.stdout, output, options)
        self.assertRegex(done.stderr, errors, options)


if __name__ == "__main__":
    unittest.main()
