#!/usr/bin/env python3
"""The client's metrics: what a scrape gets, and what the real Prometheus makes of it."""
import concurrent.futures
import contextlib
import json
import re
import shutil
import signal
import socket
import subprocess
import time
import unittest
import urllib.error
import urllib.parse
import urllib.request

from harness import PATIENCE, ROOT, ZEPHLON, FakeServer, ProgramTest, free_port, ok, read_all, until

SHIPPED = ROOT / "packaging" / "prometheus"
OLD = (ROOT / "tests" / "transcripts" / "laptop.json").read_text()  # of a machine that tells everything
SNAPSHOT = ok(json.dumps(json.loads(OLD) | {"timestamp": 4e9}))
DOWN = "# HELP zqm_up Whether the helper answered with a sample of now.\n# TYPE zqm_up gauge\nzqm_up 0\n"
PLAIN = "text/plain; version=0.0.4; charset=utf-8"
OPEN = "application/openmetrics-text; version=1.0.0; charset=utf-8"
# Of the machine that OLD is of: what the client reads itself. Process 640 has ended meanwhile.
MACHINE = {"proc/meminfo": "MemTotal: 16777216 kB\nMemAvailable: 1 kB\n", "proc/uptime": "1000.5 9\n",
           "proc/stat": "".join(f"cpu{i} 1 1 1 1 1 1 1 1 1 1\n" for i in range(4)), "proc/loadavg": "1 2 3 1/2 3\n",
           "proc/net/dev": "a|b\nc|d\n eth0: 7 1 2 3 4 5 6 7 8 1 2 3 4 5 6 7\n",
           "proc/diskstats": "8 0 sda 10 0 8 0 20 0 16 0 0 0 0\n" * 2, "sys/block/sda/device/type": "0\n",
           "proc/777/stat": "", "proc/901/stat": "", "sys/class/hwmon/hwmon0/name": "acpi\n",
           "sys/class/hwmon/hwmon0/temp1_input": "41500\n", "sys/class/hwmon/hwmon0/fan1_input": "1200\n"}
needs_prometheus = unittest.skipUnless(shutil.which("prometheus") and shutil.which("promtool"),
                                       "the Debian package prometheus is not installed (scripts/setup --checks)")


def get(url, **request):
    try:
        with urllib.request.urlopen(urllib.request.Request(url, **request), timeout=PATIENCE) as reply:
            return reply.status, reply.headers["Content-Type"], reply.read().decode()
    except urllib.error.HTTPError as error:
        with error:
            return error.code, None, None


class SamplingServer(FakeServer):
    """A helper with a sample for each question, a new one unless the test says otherwise."""
    age = 0

    def finish_request(self, *request):
        self.reply = ok(json.dumps(json.loads(OLD) | {"timestamp": time.time() - self.age}))
        super().finish_request(*request)


class PrometheusTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.leave_token()

    def start_exporter(self, helper_port, address="127.0.0.1:0", root="/"):
        exporter = self.spawn(ZEPHLON, "--port", str(helper_port), "--root", root, "exporter", "--listen", address)
        return exporter, re.fullmatch(r"zephlon: serving (http://\S+)/metrics\n", exporter.stdout.readline())[1]

    def test_a_helper_that_gives_no_figures_is_down(self):
        for reply, status in ((b"HTTP/1.1 403 Forbidden\r\n\r\n{}", 5), (ok("{}"), 6),
                              (ok('{"error":"engine not started"}'), 3), (ok(OLD), 4), (None, 4)):
            with FakeServer(reply) as helper, open(self.home / "out", "w+") as out:
                self.zephlon("metrics", port=helper.port, status=status, stdout=out)
                self.assertEqual((self.home / "out").read_text(), DOWN)

    def test_the_exporter_answers_whatever_the_helper_does(self):
        with FakeServer(None) as helper:
            exporter, url = self.start_exporter(helper.port, "127.0.0.2:0")
            place = urllib.parse.urlsplit(url)
            self.assertEqual(place.hostname, "127.0.0.2")
            with self.assertRaises(OSError):
                socket.create_connection(("127.0.0.1", place.port))
            with socket.create_connection((place.hostname, place.port)), concurrent.futures.ThreadPoolExecutor(20) as pool:
                scrapes = [pool.submit(get, url + "/metrics") for _ in range(20)]
                until(lambda: helper.requests)
                self.assertEqual(get(url + "/")[:2], (200, "text/html; charset=utf-8"))
                self.assertFalse(any(scrape.done() for scrape in scrapes))
                self.assertEqual({scrape.result() for scrape in scrapes}, {(200, PLAIN, DOWN)})
            self.assertLessEqual(helper.requests, 2)
            for status, path, request in ((404, "/else", {}), (404, "/metrics", {"data": b"x"}),
                                          (403, "/metrics", {"headers": {"Host": "rebound.example:9932"}}),
                                          (200, "/", {"headers": {"Host": "localhost:9932"}}),
                                          (200, "/", {"headers": {"Host": "[::1]:9932"}})):
                self.assertEqual(get(url + path, **request)[0], status, (path, request))
            helper.requests, helper.reply = 0, SNAPSHOT
            until(lambda: "\nzqm_up 1\n" in get(url + "/metrics?from=here")[2])
            before = helper.requests
            texts = {get(url + "/metrics")[2] for _ in range(100)}
            self.assertLess(helper.requests - before, 50)  # once an interval, whoever scrapes
            for accept, type in ((OPEN, OPEN), ("application/openmetrics-text;version=1.0.0;q=0.5,text/plain", PLAIN), ("*/*", PLAIN),
                                 ("text/plain;q=0.5, application/openmetrics-text ; version=0.0.1 ;q=1,application/openmetrics-text;q=0.6", OPEN),
                                 ("application/openmetrics-text;version=2.0.0", PLAIN), ("application/openmetrics-text;q=0", PLAIN)):
                status, got, text = get(url + "/metrics", headers={"Accept": accept})
                self.assertEqual((got, text.endswith("# EOF\n")), (type, type == OPEN), accept)
            with socket.create_connection((place.hostname, place.port)) as client:
                client.sendall(b"HEAD /metrics HTTP/1.1\r\n\r\n")
                self.assertRegex(read_all(client), rb"\AHTTP/1.1 200 OK\r\n(.+\r\n)*Content-Length: \d{4}\r\n(.+\r\n)*\r\n\Z")
        exporter.send_signal(signal.SIGTERM)
        self.assertEqual(exporter.wait(PATIENCE), 0)
        self.assertRegex(exporter.stdout.read(), r"\Azephlon: the helper on \S+ does not answer\n"
                                                 r"zephlon: the helper answers again\n\Z")
        open_to_all, _ = self.start_exporter(free_port(), "0.0.0.0:0")
        self.assertRegex(open_to_all.stdout.readline(), r"whoever reaches 0\.0\.0\.0:\d+ reads .*without a password")
        with socket.create_server(("127.0.0.1", 0)) as taken:
            self.zephlon("exporter", "--listen", "127.0.0.1:%d" % taken.getsockname()[1], status=1)

    @needs_prometheus
    def test_a_real_server_scrapes_it_and_answers_for_each_family(self):
        for path, content in MACHINE.items():
            (self.home / path).parent.mkdir(parents=True, exist_ok=True)
            (self.home / path).write_text(content)
        helper = SamplingServer(b"")
        self.addCleanup(helper.__exit__)
        here = self.start_helper().wait_until_serving().server.port  # this machine: file systems are told of no other
        (_, url), (_, away_url), (_, here_url) = (self.start_exporter(helper.port, root=self.home),
                                                  self.start_exporter(free_port()), self.start_exporter(here))
        until(lambda: all(name in get(url + "/metrics")[2] for name in ("zqm_energy", "zqm_fan")))
        until(lambda: "zqm_filesystem" in get(here_url + "/metrics")[2])
        text, here_text = get(url + "/metrics")[2], get(here_url + "/metrics")[2]
        series = re.findall(r"^(zqm.*) \S+$", text, re.MULTILINE)
        self.assertEqual(len(series), len(set(series)))
        self.assertIn('name="Browser"', text)
        self.assertNotIn('name="计算器"', text)
        for words in (("check", "config", SHIPPED / "prometheus.yml"), ("check", "rules", SHIPPED / "zqm.rules.yml"),
                      ("test", "rules", ROOT / "tests" / "prometheus_rules_test.yml"), ("check", "metrics")):
            done = subprocess.run(["promtool", *words], input=text, capture_output=True, text=True, timeout=PATIENCE)
            self.assertEqual((done.returncode, done.stderr), (0, ""), done.stdout)
        folder = shutil.copytree(SHIPPED, self.home / "server")
        for name, old, new in (("prometheus.yml", "15s", "1s"), ("zqm-helpers.yml", "- 127.0.0.1:9932", "".join(f"- {each[7:]}\n    " for each in (url, away_url, here_url)))):
            before = (folder / name).read_text()
            self.assertIn(old, before)
            (folder / name).write_text(before.replace(old, new))
        server = f"127.0.0.1:{free_port()}"
        self.spawn("sh", "-c", f"exec prometheus --config.file={folder}/prometheus.yml --storage.tsdb.path={self.home}/data "
                   f"--web.listen-address={server} >{self.home}/log 2>&1")

        def ask(query):
            with contextlib.suppress(OSError, KeyError, ValueError, TypeError):
                reply = get(f"http://{server}/api/v1/query?" + urllib.parse.urlencode({"query": query}))
                return [sample["metric"] for sample in json.loads(reply[2])["data"]["result"]]
        families = set(re.findall(r"^(zqm_\w+)", text + here_text, re.MULTILINE))
        recorded = set(re.findall(r"record: (\S+)", (SHIPPED / "zqm.rules.yml").read_text()))
        until(lambda: len(ask("zqm_up == 0") or []) == 1 and all(map(ask, families | recorded)))
        self.assertEqual({metric["instance"] for metric in ask("zqm_load_ratio")}, {url[7:], here_url[7:]})
        used = {name for file in SHIPPED.iterdir() for name in re.findall(r"[\w:]*\bzqm_[\w:]+", file.read_text())}
        self.assertEqual(used - families - recorded, {"zqm_process_"})  # of an expression for all of them
        for panel in json.loads((SHIPPED / "zqm-dashboard.json").read_text())["panels"]:
            for target in panel["targets"]:
                self.assertTrue(ask(target["expr"].replace("$instance", ".*").replace("$__rate_interval", "1m")), target["expr"])


if __name__ == "__main__":
    unittest.main()
