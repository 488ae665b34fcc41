#!/usr/bin/env python3
"""Drives `zephlon watch` through pseudo-terminals against the real helper."""
import fcntl
import json
import os
import pwd
import re
import select
import signal
import struct
import subprocess
import termios
import time
import unittest

from harness import PATIENCE, ROOT, ZEPHLON, FakeServer, ProgramTest, ok, until

LEFT = b"\x1b[?1049l"  # the alternate screen; what xterm and its kin understand
MACHINE = "laptop-efficiency-performance"
SHOWN = b"WindowServer"  # a process of that machine


class Terminal:
    """A program on a terminal of its own, of which everything that it writes is kept."""

    def __init__(self, command, environment):
        self.master, self.slave = os.openpty()
        self.resize(80, 24)
        self.before = termios.tcgetattr(self.slave)
        self.written = b""
        self.program = subprocess.Popen(command, env=environment, stdin=self.slave, stdout=self.slave,
                                        stderr=self.slave, start_new_session=True,
                                        preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))

    def resize(self, columns, rows):
        fcntl.ioctl(self.master, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))

    def press(self, keys):
        os.write(self.master, keys)

    def read_until(self, condition, stroke=b""):
        """Repeats the stroke while it waits."""
        deadline = time.monotonic() + PATIENCE
        while not condition():
            assert time.monotonic() < deadline, self.written
            if select.select([self.master], [], [], 0.2)[0]:
                self.written += os.read(self.master, 65536)
            else:
                self.press(stroke)

    def expect(self, text, since=0):
        self.read_until(lambda: text in self.written[since:], b"\x0c")  # draws all of it, not only what has changed
        return self.written.index(text, since) + len(text)

    def quit(self, key=b"q"):
        """The status with which the program ends at this key or signal, and all that it had to say read."""
        self.press(key) if isinstance(key, bytes) else self.program.send_signal(key)
        self.read_until(lambda: self.program.poll() is not None and not select.select([self.master], [], [], 0)[0])
        return self.program.returncode

    def close(self):
        self.program.kill()
        self.program.wait()
        os.close(self.master)
        os.close(self.slave)


class WatchTest(ProgramTest):
    def watch(self, command=None, shows=SHOWN, port=None, **variables):
        more = {"TERM": "xterm-256color", "NO_COLOR": "", "ASAN_OPTIONS": "detect_leaks=0"}  # curses never gives all back
        command = command or [ZEPHLON, "--port", str(port or self.port), "watch"]
        terminal = Terminal(command, self.environment | more | variables)
        self.addCleanup(terminal.close)
        terminal.expect(shows)
        return terminal

    def test_every_end_leaves_the_terminal_as_it_was(self):
        self.start_machine(MACHINE)
        for end in (b"q", b"\x03", b"\x1c", signal.SIGTERM, signal.SIGHUP, signal.SIGUSR1):
            terminal = self.watch()
            self.assertNotEqual(termios.tcgetattr(terminal.slave), terminal.before)
            self.assertEqual(terminal.quit(end), 0)
            self.assertEqual(termios.tcgetattr(terminal.slave), terminal.before, end)
            self.assertRegex(terminal.written[-200:], rb"\?25h(?s:.*)\?1049l")  # the cursor is seen again
        gone = self.watch()
        os.close(gone.master)
        os.close(gone.slave)
        gone.master, gone.slave = os.openpty()
        self.assertEqual(gone.program.wait(PATIENCE), 0)
        stuck = self.watch()
        termios.tcflow(stuck.slave, termios.TCOOFF)
        stuck.program.terminate()
        self.assertEqual(stuck.program.wait(PATIENCE), 1)
        self.assertEqual(termios.tcgetattr(stuck.slave), stuck.before)

    def test_stops_and_goes_on(self):
        self.start_machine(MACHINE)
        script = f"set -m; {ZEPHLON} --port {self.port} watch; echo [stopped]; stty -a; fg; echo [ended $?]"
        terminal = self.watch(["bash", "--norc", "-c", script])
        terminal.press(b"\x1a")
        stopped = terminal.expect(b"[stopped]")
        self.assertIn(LEFT, terminal.written)
        terminal.expect(SHOWN, stopped)
        self.assertRegex(terminal.written[stopped:], rb"[^-]icanon[^-]*[^-]echo ")
        terminal.press(b"q")
        terminal.expect(b"[ended 0]")

    def test_says_that_the_helper_is_away_until_it_is_back(self):
        terminal = self.watch(shows=b"the helper has not run yet")
        helper = self.start_machine(MACHINE)
        seen = terminal.expect(SHOWN)
        helper.kill()
        seen = terminal.expect(b"no helper listens on 127.0.0.1:", seen)
        self.start_machine(MACHINE)
        seen = terminal.expect(SHOWN, seen)
        for columns, rows in ((20, 5), (1, 1), (40, 12), (200, 60), (300, 100), (2, 30), (200, 2), (500, 500), (80, 24)):
            terminal.resize(columns, rows)
            terminal.press(b"\t\x1b[D\x1bOC\x1b[Z3x\x0c")
            before, seen = seen, terminal.expect(b"z", seen)  # of "zephlon"
        terminal.expect(b"Sockets", before)
        self.assertEqual(terminal.quit(), 0)
        with FakeServer(None) as silent:
            self.assertEqual(self.watch(port=silent.port, shows=b"does not answer").quit(), 0)
        with FakeServer(ok((ROOT / "tests" / "transcripts" / "laptop.json").read_text())) as stale:
            self.watch(port=stale.port, shows=b"takes no new sample")

    def test_asks_a_process_to_end_and_goes_on_after_a_pause(self):
        sleeper = self.spawn("sleep", "1234")
        helper = self.start_helper().wait_until_serving(lambda snapshot: snapshot["cpu"]["perCoreUsage"])
        snapshot = helper.server.snapshot()
        helper.kill()
        snapshot["processes"] = {name: [] for name in snapshot["processes"]}
        snapshot["processes"]["cpu"] = [{"pid": sleeper.pid, "name": "sleeper", "value": 50}]
        snapshot["timestamp"] = time.time() + 60
        with FakeServer(ok(json.dumps(snapshot))) as server:
            terminal = self.watch(port=server.port, shows=b"sleeper")
            terminal.press(b"\x1bOB\r")
            terminal.expect(b"sleep 1234")
            self.assertIn(f"PID {sleeper.pid} of {pwd.getpwuid(os.geteuid()).pw_name}".encode(), terminal.written)
            terminal.press(b"ky")
            terminal.expect(b"Asked to end.")
            self.assertEqual(sleeper.wait(PATIENCE), -signal.SIGTERM)
            terminal.press(b"xp")
            seen = terminal.expect(b"paused")
            asked = server.requests
            terminal.press(b"+p")
            terminal.expect(b" min", seen)  # the graphs' slots last twice as long
            until(lambda: server.requests > asked + 1)
            self.assertEqual(terminal.quit(), 0)

    def test_uses_what_the_terminal_has(self):
        self.start_machine(MACHINE)
        for variables, colour, mark in (({}, "38;5;", "⣀"), ({"NO_COLOR": "1"}, None, "⣀"), ({"TERM": "vt100"}, None, "⣀"),
                                        ({"LC_ALL": "C"}, "38;5;", "--"), ({"TERM": "linux"}, "\x1b[32m", "..")):
            terminal = self.watch(**variables)
            terminal.expect(mark.encode())
            terminal.quit()
            text = terminal.written.decode()
            coloured = re.search(r"\x1b\[[0-9;]*(?<![0-9])(3[1-7]|38;5;\d+)[;m]", text)
            self.assertTrue(colour in text if colour else not coloured, variables)
            self.assertEqual(text.isascii(), "LC_ALL" in variables)
        for variables, end in (({"TERM": "dumb"}, "; exit $?"), ({}, " | cat; exit ${PIPESTATUS[0]}")):
            terminal = self.watch(["bash", "-c", f"{ZEPHLON} watch {end}"], shows=b"", **variables)
            self.assertEqual(terminal.quit(b""), 1)
            self.assertRegex(terminal.written, rb"\A\r?zephlon: .*terminal.*\r\n\Z")
        status = [ZEPHLON, "--port", str(self.port), "status"]
        terminal = self.watch(status, shows=b"Top mem", NO_COLOR="1")
        terminal.quit(b"")
        self.assertLessEqual(max(map(len, terminal.written.decode().splitlines())), 80)
        self.assertGreater(max(map(len, subprocess.check_output(status, env=self.environment, text=True).splitlines())), 80)
        self.preferences.parent.mkdir()
        self.preferences.write_text('{"showProcessSidebar": false, "language": "zh"}')
        terminal = self.watch(shows="温度".encode())
        terminal.quit()
        self.assertNotIn(SHOWN, terminal.written)


if __name__ == "__main__":
    unittest.main()
