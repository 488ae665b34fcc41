#!/usr/bin/env python3
"""The client's metrics, judged by the real Prometheus. Usage: prometheus_test.py HELPER ZEPHLON"""
import concurrent.futures
import contextlib
import json
import os
import pathlib
import re
import shutil
import signal
import socket
import socketserver
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import urllib.error
import urllib.parse
import urllib.request

ZEPHLON = sys.argv.pop(2)
HELPER = sys.argv.pop(1)
ROOT = pathlib.Path(__file__).resolve().parent.parent
SHIPPED = ROOT / "packaging" / "prometheus"
CONTAINER = "Q4T7LWX2PN.xyz.tallvek.Zephlon"
WITH_PROCESSES = "laptop-efficiency-performance"  # the described machine that tells everything
PATIENCE = 30  # seconds; only ever waited out by a failing test
needs_prometheus = unittest.skipUnless(shutil.which("prometheus") and shutil.which("promtool"),
                                       "the Debian package prometheus is not installed (scripts/setup --checks)")

# By the end of a field's name: the end of its family's name, and the step between the units.
UNITS = {"MHz": ("_hertz", 1e6), "Wh": ("_joules", 3600), "Minutes": ("_seconds", 60), "PerSecond": ("_per_second", 1),
         "Bytes": ("_bytes", 1), "Watts": ("_watts", 1), "C": ("_celsius", 1), "Usage": ("_ratio", 1), "": ("", 1)}
LABELLED = {"cpu.efficiencyFreqMHz": {"kind": "efficiency"}, "cpu.performanceFreqMHz": {"kind": "performance"},
            "cpu.efficiencyMaxMHz": {"kind": "efficiency"}, "cpu.performanceMaxMHz": {"kind": "performance"},
            "network.uploadBytesPerSecond": {"direction": "upload"}, "network.totalUploaded": {"direction": "upload"},
            "network.downloadBytesPerSecond": {"direction": "download"},
            "network.totalDownloaded": {"direction": "download"},
            "disk.readBytesPerSecond": {"direction": "read"}, "disk.writeBytesPerSecond": {"direction": "write"}}
RANKINGS = {"cpu": ("zqm_process_cpu_ratio", 0.01), "gpu": ("zqm_process_gpu_ratio", 1),
            "memory": ("zqm_process_memory_bytes", 1), "disk": ("zqm_process_disk_bytes_per_second", 1),
            "network": ("zqm_process_network_sockets", 1), "power": ("zqm_process_power_watts", 1)}


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def parse(exposition):
    """The samples by family and labels, and the family of each snapshot field, by the format's own rules."""
    samples, family_of = {}, {}
    for line in exposition.rstrip("\n").split("\n"):
        if line.startswith("# HELP "):
            family = line.split(" ")[2]
            sources = re.search(r" From (.*)$", line)
            for field in sources[1].split(", ") if sources else []:
                assert field not in family_of, f"{field} has two families"
                family_of[field] = family
        elif not line.startswith("# TYPE "):
            name, labels, value = re.fullmatch(r"(\w+)(?:\{(.*)\})? (\S+)", line).groups()
            pairs = re.findall(r'(\w+)="((?:[^"\\]|\\.)*)"', labels or "")
            plain = frozenset((key, re.sub(r"\\(.)", lambda escape: {"n": "\n"}.get(escape[1], escape[1]), text))
                              for key, text in pairs)
            assert (name, plain) not in samples, f"twice: {line}"
            samples[name, plain] = float(value)
    return samples, family_of


def figures(record, path=""):
    """Every number, flag and text of a snapshot with its path."""
    for key, value in record.items():
        if key in ("coreKinds", "processes"):
            continue
        if isinstance(value, dict) and key != "perCoreFreqMHz":
            yield from figures(value, path + key + ".")
        else:
            yield path + key, value


def is_told(path, value, snapshot):
    if path.startswith("battery.") and not snapshot["battery"]["isPresent"]:
        return path == "battery.isPresent"
    if path in ("power.cpuWatts", "power.gpuWatts", "power.aneWatts", "power.dramWatts"):
        return snapshot["power"]["totalWatts"] > 0
    if path == "battery.timeRemainingMinutes":
        return value >= 0
    return value != 0 or path == "battery.powerWatts" or \
        not (path == "battery.health" or re.search(r"(MHz|Wh|Watts|C)$", path))


class FakeHelper(socketserver.ThreadingTCPServer):
    """Answers what `answer` returns; None: says nothing until it is closed."""
    daemon_threads = allow_reuse_address = True

    def __init__(self, answer):
        self.answer, self.questions, self.closed = answer, 0, threading.Event()
        super().__init__(("127.0.0.1", 0), None)
        threading.Thread(target=self.serve_forever, daemon=True).start()

    def finish_request(self, request, _):
        request.recv(16384)
        self.questions += 1
        answer = self.answer()
        if answer is None:
            self.closed.wait(PATIENCE)
        else:
            request.sendall(answer.encode())

    def __exit__(self, *_):
        self.closed.set()
        self.shutdown()
        self.server_close()


def ok(body):
    return "HTTP/1.1 200 OK\r\n\r\n" + body


class PrometheusTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.home = pathlib.Path(folder.name)
        self.environment = dict(os.environ, XDG_DATA_HOME=str(self.home), XDG_CONFIG_HOME=str(self.home / "config"))

    def spawn(self, *command):
        process = subprocess.Popen(command, env=self.environment, text=True, stdout=subprocess.PIPE)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def start_helper(self, machine):
        port = free_port()
        file = ROOT / "machines" / f"{machine}.json"
        self.spawn(HELPER, "--port", str(port), "--machine", str(file))
        last = ["zqm_cpu_usage_ratio "]
        if machine == WITH_PROCESSES:
            last += ["zqm_process_power_watts{", "zqm_power_total_watts "]
        self.until(lambda: all(name in self.zephlon(port, "metrics").stdout for name in last))
        return port

    def start_exporter(self, helper_port, address="127.0.0.1:0"):
        exporter = self.spawn(ZEPHLON, "--port", str(helper_port), "exporter", "--listen", address)
        url = re.fullmatch(r"zephlon: serving (http://\S+)/metrics\n", exporter.stdout.readline())[1]
        return exporter, url

    def zephlon(self, port, *arguments, **options):
        return subprocess.run([ZEPHLON, "--port", str(port), *arguments], env=self.environment, capture_output=True,
                              text=True, timeout=PATIENCE, **options)

    def leave_token(self):
        (self.home / CONTAINER).mkdir(exist_ok=True)
        (self.home / CONTAINER / "helper-token").write_text("SECRET")

    def until(self, condition):
        deadline = time.monotonic() + PATIENCE
        while not condition():
            self.assertLess(time.monotonic(), deadline, "waited in vain")
            time.sleep(0.05)

    def get(self, url, **request):
        try:
            with urllib.request.urlopen(urllib.request.Request(url, **request), timeout=PATIENCE) as reply:
                return reply.status, reply.headers["Content-Type"], reply.read().decode()
        except urllib.error.HTTPError as error:
            with error:
                return error.code, None, error.read().decode()

    def check(self, *arguments, text=None):
        result = subprocess.run(["promtool", *arguments], input=text, capture_output=True, text=True, timeout=PATIENCE)
        self.assertEqual((result.returncode, result.stderr), (0, ""), result.stdout)

    def metrics_and_snapshot(self, port):
        """Of one and the same sample."""
        for _ in range(100):
            before = self.zephlon(port, "status", "--json").stdout
            text = self.zephlon(port, "metrics").stdout
            if self.zephlon(port, "status", "--json").stdout == before:
                return text, json.loads(before)
        return self.fail("the samples follow each other too fast")

    def test_every_figure_of_the_snapshot_has_one_family_and_its_value(self):
        for machine in (WITH_PROCESSES, "laptop-terminated-texts", "desktop-without-battery", "hostile"):
            text, snapshot = self.metrics_and_snapshot(self.start_helper(machine))
            samples, family_of = parse(text)
            for path, value in figures(snapshot):
                if isinstance(value, str):
                    self.assertNotIn(path, family_of)  # addresses and places stay here
                    continue
                ending = next(ending for ending in UNITS if path.endswith(ending))
                suffix, factor = UNITS[ending]
                if isinstance(value, list):
                    kinds = [next(iter(kind)) for kind in snapshot["cpu"]["coreKinds"]]
                    expected = {(("core", str(i)), ("kind", kinds[i])): each for i, each in enumerate(value)}
                elif isinstance(value, dict):
                    expected = {(("core", core),): each for core, each in value.items()}
                else:
                    expected = {tuple(LABELLED.get(path, {}).items()): value}
                for labels, each in expected.items():
                    key = family_of.get(path), frozenset(labels)
                    with self.subTest(machine=machine, path=path, labels=labels):
                        if not is_told(path, each, snapshot):
                            self.assertNotIn(key, samples)
                            continue
                        self.assertTrue(key[0].endswith(suffix), key[0])
                        self.assertAlmostEqual(samples.pop(key) / (each * factor or 1), 1 if each else 0, 12)
            for category, (family, factor) in RANKINGS.items():
                for rank, process in enumerate(snapshot["processes"][category], 1):
                    value = samples.pop((family, frozenset({("rank", str(rank)), ("name", process["name"])})))
                    self.assertAlmostEqual(value, process["value"] * factor, 9)
            self.assertEqual(samples, {("zqm_up", frozenset()): 1})  # and nothing else
            if shutil.which("promtool"):
                self.check("check", "metrics", text=text)

    def test_names_from_outside_cannot_break_the_format(self):
        snapshot = json.loads(self.zephlon(self.start_helper("hostile"), "status", "--json").stdout)
        snapshot["processes"]["cpu"] = [{"pid": 1, "name": 'a"b\\c\n# TYPE d\x1b[2J\0\x9b\u202e"} 1\n', "value": 50}]
        with FakeHelper(lambda: ok(json.dumps(snapshot))) as helper:
            text = self.zephlon(helper.server_address[1], "metrics").stdout
        labels = frozenset({("rank", "1"), ("name", 'a"b\\c\n# TYPE d?[2J???"} 1\n')})
        self.assertEqual(parse(text)[0]["zqm_process_cpu_ratio", labels], 0.5)
        self.assertNotRegex(text, r"[\0-\x09\x0b-\x1f\x7f-\x9f]")

    def test_a_helper_that_gives_no_figures_is_down(self):
        self.leave_token()
        down = {("zqm_up", frozenset()): 0}
        for answer, status in ((lambda: "HTTP/1.1 403 Forbidden\r\n\r\n{}", 5), (lambda: ok("{}"), 6),
                               (lambda: ok('{"error":"engine not started"}'), 3), (lambda: None, 4)):
            with FakeHelper(answer) as helper:
                result = self.zephlon(helper.server_address[1], "metrics")
                self.assertEqual((result.returncode, parse(result.stdout)[0]), (status, down))
                self.assertRegex(result.stderr, r"\Azephlon: [^\n]+\n\Z")

    def test_the_file_is_replaced_whole_for_everyone_to_read(self):
        helper = self.start_helper("laptop-third-kind")
        folder = self.home / "collector"
        folder.mkdir()
        file = folder / "zqm.prom"
        file.write_text("old")
        self.assertEqual(self.zephlon(helper, "metrics", "--output", str(file), umask=0o077).returncode, 0)
        self.assertIn("zqm_load_ratio ", file.read_text())
        self.assertEqual(file.stat().st_mode & 0o777, 0o644)
        self.assertEqual(self.zephlon(free_port(), "metrics", "--output", str(file)).returncode, 3)
        self.assertEqual(parse(file.read_text())[0], {("zqm_up", frozenset()): 0})
        link = folder / "link"
        link.symlink_to("/dev/null")
        for place in (link, folder, folder / "absent" / "zqm.prom"):
            self.assertEqual(self.zephlon(helper, "metrics", "--output", str(place)).returncode, 1)
        self.assertEqual(sorted(path.name for path in folder.iterdir()), ["link", "zqm.prom"])
        self.assertTrue(link.is_symlink())

    def test_the_exporter_answers_whatever_the_helper_does(self):
        self.leave_token()
        reply = None
        with FakeHelper(lambda: reply) as helper:
            exporter, url = self.start_exporter(helper.server_address[1], "127.0.0.2:0")
            self.assertTrue(url.startswith("http://127.0.0.2:"))
            with self.assertRaises(OSError):
                socket.create_connection(("127.0.0.1", urllib.parse.urlsplit(url).port))
            with contextlib.closing(socket.create_connection(urllib.parse.urlsplit(url).netloc.split(":"))), \
                    concurrent.futures.ThreadPoolExecutor(20) as pool:
                scrapes = [pool.submit(self.get, url + "/metrics") for _ in range(20)]
                self.until(lambda: helper.questions)
                self.assertEqual(self.get(url + "/")[:2], (200, "text/html; charset=utf-8"))
                self.assertFalse(any(scrape.done() for scrape in scrapes))
                for scrape in scrapes:
                    status, kind, text = scrape.result()
                    self.assertEqual((status, kind), (200, "text/plain; version=0.0.4; charset=utf-8"))
                    self.assertEqual(parse(text)[0], {("zqm_up", frozenset()): 0})
            self.assertLessEqual(helper.questions, 2)
            for status, path, request in ((404, "/else", {}), (404, "/metrics", {"data": b"x"}),
                                          (403, "/metrics", {"headers": {"Host": "rebound.example:9932"}}),
                                          (200, "/", {"headers": {"Host": "localhost:9932"}}),
                                          (200, "/", {"headers": {"Host": "[::1]:9932"}})):
                self.assertEqual(self.get(url + path, **request)[0], status, (path, request))
            asked = helper.questions
            reply = ok(self.zephlon(self.start_helper("hostile"), "status", "--json").stdout)
            for _ in range(3):
                self.assertIn("\nzqm_up 1\n", self.get(url + "/metrics?from=here")[2])
            self.assertEqual(helper.questions, asked + 3)
        exporter.send_signal(signal.SIGTERM)
        self.assertEqual(exporter.wait(PATIENCE), 0)
        self.assertRegex(exporter.stdout.read(), r"\Azephlon: the helper on \S+ does not answer\n"
                                                 r"zephlon: the helper answers again\n\Z")
        taken = socket.create_server(("127.0.0.1", 0))
        with contextlib.closing(taken):
            place = "127.0.0.1:%d" % taken.getsockname()[1]
            for address, status in ((place, 1), ("localhost:0", 1), (":9932", 2), ("::1:9932", 2), ("[::]:65536", 2)):
                self.assertEqual(self.zephlon(1, "exporter", "--listen", address).returncode, status, address)

    @needs_prometheus
    def test_a_real_server_scrapes_it_and_answers_for_each_family(self):
        self.check("check", "config", str(SHIPPED / "prometheus.yml"))
        self.check("check", "rules", str(SHIPPED / "zqm.rules.yml"))
        self.check("test", "rules", str(ROOT / "tests" / "prometheus_rules_test.yml"))
        exporter, url = self.start_exporter(self.start_helper(WITH_PROCESSES))
        away, away_url = self.start_exporter(free_port())
        shutil.copytree(SHIPPED, self.home / "server")
        self.adapt("prometheus.yml", {"15s": "1s", "scrape_timeout: 5s": "scrape_timeout: 1s"})
        self.adapt("zqm-helpers.yml", {"- 127.0.0.1:9932": f"- {url[7:]}\n    - {away_url[7:]}"})
        server = f"127.0.0.1:{free_port()}"
        log = open(self.home / "log", "w")
        self.addCleanup(log.close)
        process = subprocess.Popen(["prometheus", f"--config.file={self.home}/server/prometheus.yml",
                                    f"--storage.tsdb.path={self.home}/data", f"--web.listen-address={server}"],
                                   stdout=log, stderr=log)
        self.addCleanup(process.wait)
        self.addCleanup(process.terminate)

        def ask(query):
            try:
                reply = self.get(f"http://{server}/api/v1/query?" + urllib.parse.urlencode({"query": query}))
                return [sample["metric"] for sample in json.loads(reply[2])["data"]["result"]]
            except (OSError, KeyError, ValueError):
                return []

        families = {key[0] for key in parse(self.get(url + "/metrics")[2])[0]}
        recorded = set(re.findall(r"record: (\S+)", (SHIPPED / "zqm.rules.yml").read_text()))
        self.until(lambda: len(ask("zqm_up == 0")) == 1 and all(ask(name) for name in families | recorded))
        self.assertEqual({metric["instance"] for metric in ask("zqm_load_ratio")}, {url[7:]})
        used = set()
        for file in SHIPPED.iterdir():  # the walk-through too
            used |= set(re.findall(r"[\w:]*\bzqm_[\w:]+", file.read_text()))
        self.assertEqual(used - families - recorded, {"zqm_process_"})  # of an expression for all of them
        for panel in json.loads((SHIPPED / "zqm-dashboard.json").read_text())["panels"]:
            for target in panel["targets"]:
                self.assertTrue(ask(target["expr"].replace("$instance", ".*")), target["expr"])

    def adapt(self, file, replacements):
        path = self.home / "server" / file
        text = path.read_text()
        for old, new in replacements.items():
            self.assertIn(old, text)
            text = text.replace(old, new)
        path.write_text(text)


if __name__ == "__main__":
    unittest.main(verbosity=2)
