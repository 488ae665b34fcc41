#!/usr/bin/env python3
"""Drives the real client beside the real helper and beside servers that are none."""
import json
import os
import re
import shutil
import subprocess
import unittest

from harness import BUILD, PATIENCE, ROOT, ZEPHLON, FakeServer, ProgramTest, ok

TRANSCRIPTS = ROOT / "tests" / "transcripts"


class ZephlonTest(ProgramTest):
    def test_each_way_of_not_being_answered_has_its_status(self):
        self.assertIn("has not run yet", self.zephlon("status", status=3))
        self.leave_token()
        self.assertIn(f"no helper listens on 127.0.0.1:{self.port}", self.zephlon("status", status=3))
        for response, status, words in [
                (b"HTTP/1.1 403 Forbidden\r\nContent-Length: 2\r\n\r\n{}", 5, "refuses the token"),
                (b"HTTP/1.1 404 Not Found\r\n\r\n{}", 6, "does not know"),
                (b"SSH-2.0-OpenSSH\r\n", 6, "does not answer as the helper"),
                (b"", 6, "does not answer as the helper"),
                (ok('{"error":"engine not started"}'), 3, "still starting"),
                (ok((TRANSCRIPTS / "server.json").read_text().replace("[0.25]", "[]").replace("1024", "0")), 3, "no sample yet"),
                (ok("{}"), 6, "another version: cpu: missing"),
                (ok('{"cpu":\udcff'), 6, "another version: not JSON"),
                (b"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n{}", 3, "broke off"),
                (ok(" " * (5 << 20)), 6, "has no end"),
                (None, 4, "does not answer")]:
            with self.subTest(words), FakeServer(response) as server:
                self.assertIn(words, self.zephlon("status", port=server.port, status=status))
                bar = subprocess.run([ZEPHLON, "--port", str(server.port), "bar", "--format", "i3status-rust"],
                                     env=self.environment, capture_output=True, timeout=PATIENCE).stdout
                short = "no sample yet" if words in ("still starting", "no sample yet") else {
                    3: "helper away", 4: "helper silent", 5: "helper refuses", 6: "helper of another version"}[status]
                self.assertEqual(json.loads(bar)["short_text"], short)
        for spoil in (lambda: self.token.symlink_to("/dev/null"), self.token.mkdir, lambda: self.token.write_text(" "),
                      lambda: self.token.write_text("two\r\nlines"), lambda: self.token.write_text("x" * 20000), self.token.touch):
            shutil.rmtree(self.token.parent)
            self.token.parent.mkdir()
            spoil()
            said = self.zephlon("status", status=5)
        self.assertIn("does not hold a token", said)
        if os.geteuid() == 0:
            shutil.rmtree(self.token.parent)
            self.leave_token()
            os.seteuid(65534)
            with FakeServer(ok("{}")) as server:
                os.seteuid(0)
                self.assertIn("another user's program", self.zephlon("status", port=server.port, status=3))
                self.assertEqual(server.requests, 0)
            os.chown(self.token, 65534, -1)
            self.assertIn("belongs to another user", self.zephlon("status", status=5))
            shutil.rmtree(self.token.parent)
            for user, hint in (("1000", True), ("0", False)):
                self.environment["SUDO_UID"] = user
                self.assertEqual("this is root's home" in self.zephlon("status", status=3), hint)

    def test_says_what_the_transcripts_say(self):
        """Beside a helper that serves the snapshot of the same name, on the machine of that name. ZQM_UPDATE_GOLDEN=1 writes them anew."""
        self.environment["PATH"] = f"{BUILD}:{self.environment['PATH']}"
        self.leave_token()
        for file in sorted(TRANSCRIPTS.glob("*.txt")):
            snapshot = file.with_suffix(".json")
            shutil.rmtree(self.preferences.parent, ignore_errors=True)
            if file.with_suffix(".tree").exists():
                self.make_machine(file.with_suffix(".tree").read_text())
            with FakeServer(ok(snapshot.read_text() if snapshot.exists() else "{}")) as server:
                self.environment["ZQM_PORT"] = str(server.port)
                said = "".join(self.said(line) for line in file.read_text().splitlines() if line.startswith("$ "))
                if snapshot.exists():
                    shown = json.loads(self.zephlon("status", "--json", port=server.port))
                    self.assertEqual(shown, json.loads(snapshot.read_text()))
            if "ZQM_UPDATE_GOLDEN" in os.environ:
                file.write_text(said)
            self.assertEqual(said, file.read_text())

    def make_machine(self, tree):
        """What the client itself reads below --root ~/machine: "@path" lines, each with its content below."""
        for part in tree.split("@")[1:]:
            path, content = part.split("\n", 1)
            (self.home / "machine" / path).parent.mkdir(parents=True, exist_ok=True)
            (self.home / "machine" / path).write_text(content)

    def said(self, line):
        done = subprocess.run(["bash", "-c", line[2:]], env=self.environment, cwd=self.home, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=PATIENCE)
        shown = re.sub(r"(start it with: |启动命令：)(\S+/ZQMHelper( --port \d+)?|systemctl [ \w-]+)", r"\1HELPER",
                       done.stdout.replace(str(self.home), "~"))
        return f"{line}\n{shown}" + (f"[{done.returncode}]\n" if done.returncode else "")

    def test_agrees_with_the_helper_on_the_token_and_sends_no_report_without_a_host(self):
        self.leave_token()
        self.token.rename(self.home / "elsewhere").write_text("ein Schlüssel 钥匙")
        self.token.symlink_to(self.home / "elsewhere")
        self.start_helper().wait_until_serving(lambda snapshot: snapshot["cpu"]["perCoreUsage"])
        self.zephlon("status")
        self.assertIn("invalid url", self.zephlon("diagnostics", "--send", status=1))

    def test_tells_where_each_figure_comes_from(self):
        table = r"\Afamily +value +time +source\ncpu usage +.* of \d+ processors +\d+\.\d\d ms  .+\n(.+\n)*"
        report = r"=== Zephlon Diagnostics ===\n"
        self.start_machine("laptop-third-kind")
        self.assertRegex(self.zephlon("sources"), table + r"\Z")
        self.assertRegex(self.zephlon("diagnostics"), table + r"\n" + report)


if __name__ == "__main__":
    unittest.main()
