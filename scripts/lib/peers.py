"""What the helper costs beside the programs that a user would pick in its place, for scripts/bench."""
import os
import platform
import pwd
import re
import subprocess
import sys
import time

from programs import Helper, Program

CROWD = 3000
SETTLING = 15  # seconds in which a program finishes what it does once
REQUESTS = 2000  # whose times are taken, or as many as there is time for:
REQUEST_TIME = 20  # seconds


class NodeExporter(Program):
    """Asked as Prometheus asks, but uncompressed, which spares it work."""
    name = "node_exporter"
    path = "/metrics"

    def command(self):
        return ["prometheus-node-exporter", f"--web.listen-address=127.0.0.1:{self.port}"]


class NodeExporterWithProcesses(NodeExporter):
    """With its collector of processes, which is off unless asked for and ranks none: it counts them by state."""
    name = "node_exporter+"

    def command(self):
        return [*super().command(), "--collector.processes"]


class Glances(Program):
    """As a server of its own API; its page is not part of Debian's package."""
    name = "glances"
    path = "/api/3/all"

    def command(self):
        return ["glances", "-w", "-B", "127.0.0.1", "-p", str(self.port), "-t", "1", "--disable-check-update",
                "--disable-autodiscover"]


class Netdata(Program):
    """With every collector that the package starts by itself; nothing is sent to its maker and no alarm is mailed."""
    name = "netdata"
    path = "/api/v1/allmetrics?format=json"

    def command(self):
        folders = {}
        for name in ("config", "cache", "lib", "log"):
            folders[name] = self.home / name
            folders[name].mkdir()
        (folders["config"] / ".opt-out-from-anonymous-statistics").touch()
        config = self.home / "netdata.conf"
        config.write_text("\n".join([
            "[global]", f"run as user = {pwd.getpwuid(os.geteuid()).pw_name}",
            "[directories]", *(f"{name} = {folder}" for name, folder in folders.items()),
            "[web]", f"bind to = 127.0.0.1:{self.port}",
            "[statsd]", "enabled = no",
            "[health]", "script to execute on alarm = /bin/true", ""]))
        return ["netdata", "-D", "-c", config, "-P", self.home / "pid"]

    def environment(self):
        return {**super().environment(), "DO_NOT_TRACK": "1", "DISABLE_TELEMETRY": "1"}


class Sleepers:
    """Processes that do nothing. They end with the pipe to their parent, so also when this script is killed."""
    PARENT = """
import os, signal, subprocess, sys
signal.signal(signal.SIGTERM, signal.SIG_IGN)
try:
    for _ in range(int(sys.argv[1])):
        os.posix_spawnp("sleep", ["sleep", "infinity"], os.environ, setsigdef=[signal.SIGTERM])
    print("there", flush=True)
    sys.stdin.read()
finally:
    os.killpg(0, signal.SIGTERM)
"""

    def __init__(self, count):
        self.parent = subprocess.Popen([sys.executable, "-c", self.PARENT, str(count)], stdin=subprocess.PIPE,
                                       stdout=subprocess.PIPE, start_new_session=True)

    def __enter__(self):
        if self.parent.stdout.readline() != b"there\n":
            raise SystemExit("the sleeping processes cannot be started")

    def __exit__(self, *_):
        self.parent.stdin.close()
        self.parent.wait()
        self.parent.stdout.close()


def ask_every_second(program, seconds):
    begin = time.monotonic()
    for second in range(1, seconds + 1):
        program.exchange()
        time.sleep(max(0, begin + second - time.monotonic()))
    return time.monotonic() - begin


def request_times(program, seconds):
    """Milliseconds from before the connection is made to its end, sorted."""
    times = []
    deadline = time.monotonic() + seconds
    while len(times) < REQUESTS and time.monotonic() < deadline:
        begin = time.perf_counter()
        reply = program.exchange()
        times.append((time.perf_counter() - begin) * 1000)
    return sorted(times), len(reply)


def measure(kind, seconds):
    with kind() as program:
        ask_every_second(program, min(SETTLING, seconds))
        cpu = program.cpu_seconds()
        elapsed = ask_every_second(program, seconds)
        cpu = (program.cpu_seconds() - cpu) / elapsed * 100
        pss = program.pss_kib() / 1024
        times, size = request_times(program, min(REQUEST_TIME, seconds))
        return {"cpu_percent": cpu, "pss_mib": pss, "p50_ms": times[len(times) // 2],
                "p99_ms": times[len(times) * 99 // 100], "bytes": size, "requests": len(times)}


FIGURES = {"cpu_percent": "CPU %", "pss_mib": "PSS MiB", "p50_ms": "p50 ms", "p99_ms": "p99 ms", "bytes": "bytes"}


def with_ratios(rows):
    """Adds to each row how many times the helper's figure it is."""
    for row in rows.values():
        row["ratios"] = {figure: row[figure] / (rows[Helper.name][figure] or float("nan")) for figure in FIGURES}
    return rows


def machine():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        model = re.search(r"model name\s*: (.*)", file.read())
    return {"processor": model[1] if model else platform.machine(), "processors": os.cpu_count(),
            "kernel": platform.release(), "root": os.geteuid() == 0}


def versions():
    names = ("prometheus-node-exporter", "glances", "netdata")
    output = subprocess.run(["dpkg-query", "-W", "-f", "${Package} ${Version}\n", *names], capture_output=True, text=True)
    return dict(line.split() for line in output.stdout.splitlines())


def compare(seconds):
    """Every program on its own, one after the other, first on the machine as it is, then in a crowd."""
    kinds = (Helper, NodeExporter, NodeExporterWithProcesses, Glances, Netdata)
    results = {"machine": machine(), "versions": versions(), "seconds": seconds}
    for state, crowd in (("idle", 0), ("crowded", CROWD)):
        with Sleepers(crowd):
            processes = sum(entry.isdigit() for entry in os.listdir("/proc"))
            rows = with_ratios({kind.name: measure(kind, seconds) for kind in kinds})
        results[state] = {"processes": processes, "programs": rows}
    return results


AIMS = (  # the helper's figure as a share of a peer's: at most, on the machine as it is and in a crowd
    (NodeExporter, "cpu_percent", 0.5, 1.2),
    (NodeExporterWithProcesses, "cpu_percent", 0.5, 0.2),
    (NodeExporter, "pss_mib", 0.25, 0.25),
    (NodeExporter, "p50_ms", 0.1, 0.1),
)


def print_table(results):
    for state in ("idle", "crowded"):
        rows = results[state]["programs"]
        print(f"{results[state]['processes']} processes")
        print(f"{'':14}" + "".join(f"{title:>10} {'x':>7}" for title in FIGURES.values()))
        for name, row in rows.items():
            cells = (f"{row[figure]:10.{0 if figure == 'bytes' else 3}f} {row['ratios'][figure]:7.2f}" for figure in FIGURES)
            print(f"{name:14}" + "".join(cells))
        for peer, figure, *limits in AIMS:
            most = limits[state == "crowded"]
            share = rows[Helper.name][figure] / (rows[peer.name][figure] or float("nan"))
            print(f"{'met' if share <= most else 'MISSED':7} {FIGURES[figure]} is {share:.3f} of {peer.name}'s, at most {most}")
        print()
