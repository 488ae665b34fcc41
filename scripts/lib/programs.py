"""Servers that the scripts start on loopback, each in a session and a folder of its own, and give back at the end."""
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent.parent / "tests"))
sys.dont_write_bytecode = True

from harness import BUILD, CONTAINER, PATIENCE, ROOT, Broken, exchange, free_port, until  # noqa: E402, F401

PATH = os.environ["PATH"] + ":/usr/sbin:/sbin"  # an ordinary user's has no place for servers


def end_in_order():
    """Makes the signals that end a script unwind it, so that everything it started is given back."""
    numbers = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)

    def leave(number, _):
        for other in numbers:
            signal.signal(other, signal.SIG_IGN)  # a second one must not cut the unwinding short
        raise SystemExit(128 + number)
    for number in numbers:
        signal.signal(number, leave)


def stat_fields(pid):
    """The fields of /proc/PID/stat from the third on; None when the process is gone."""
    try:
        return pathlib.Path(f"/proc/{pid}/stat").read_text(errors="replace").rpartition(")")[2].split()
    except OSError:
        return None


class Program:
    """A program that answers HTTP on 127.0.0.1, and what it costs with all its children."""
    name = ""
    path = "/"
    headers = ""

    def __init__(self):
        self.port = free_port()
        self.folder = tempfile.TemporaryDirectory(prefix="zqm-", ignore_cleanup_errors=True)
        self.home = pathlib.Path(self.folder.name)
        os.chmod(self.home, 0o755)  # servers may give up root
        try:
            inherited = {name: value for name, value in os.environ.items() if not name.startswith("ZQM_")}
            command = self.command()
            self.process = subprocess.Popen(command, env={**inherited, "PATH": PATH, **self.environment()},
                                            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                            stderr=subprocess.DEVNULL, start_new_session=True, cwd=self.home,
                                            **self.popen_options())
        except BaseException:
            self.folder.cleanup()
            raise
        try:
            self.wait_until_serving()
        except BaseException:
            self.stop()
            raise

    def command(self):
        raise NotImplementedError

    def environment(self):
        return {"HOME": str(self.home), "XDG_DATA_HOME": str(self.home), "XDG_CONFIG_HOME": str(self.home)}

    def popen_options(self):
        return {}

    def is_serving(self):
        return bool(self.get())

    def wait_until_serving(self):
        def serves():
            if self.process.poll() is not None:
                raise SystemExit(f"{self.name} has ended")
            return self.is_serving()
        try:
            until(serves)
        except Broken:
            raise SystemExit(f"{self.name} does not answer") from None

    def exchange(self, path=None):
        """One request on a connection of its own; the whole reply."""
        request = f"GET {path or self.path} HTTP/1.1\r\nHost: 127.0.0.1\r\n{self.headers}Connection: close\r\n\r\n"
        reply = exchange(self.port, request.encode())
        if reply[9:12] != b"200":
            raise ConnectionError(f"{self.name} answered {reply[:80]!r}")
        return reply

    def get(self, path=None):
        return self.exchange(path).partition(b"\r\n\r\n")[2]

    def members(self):
        """Every process of the session, by id."""
        found = {}
        for entry in os.listdir("/proc"):
            fields = stat_fields(entry) if entry.isdigit() else None
            if fields and int(fields[3]) == self.process.pid:
                found[int(entry)] = fields
        return found

    def cpu_seconds(self):
        """User and system time, that of children which have ended included."""
        ticks = sum(int(ticks) for fields in self.members().values() for ticks in fields[11:15])
        return ticks / os.sysconf("SC_CLK_TCK")

    def pss_kib(self):
        total = 0
        for pid in self.members():
            try:
                total += int(re.search(r"^Pss:\s+(\d+)", pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text(), re.M)[1])
            except (ProcessLookupError, FileNotFoundError):
                pass
            except PermissionError:
                print(f"memory of {self.name}: process {pid} is left out, only root may look at it", file=sys.stderr)
        return total

    def stop(self):
        """Ends the program with all its children; returns its exit status."""
        self.process.terminate()
        try:
            self.process.wait(10)
        except subprocess.TimeoutExpired:
            self.process.kill()
        for pid in self.members():
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        status = self.process.wait()
        self.folder.cleanup()
        return status

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()


class Helper(Program):
    name = "ZQMHelper"
    path = "/api/snapshot"

    def __init__(self, binary=BUILD / "ZQMHelper", variables=None):
        self.binary = binary
        self.variables = variables or {}
        super().__init__()

    def command(self):
        return [self.binary, "--port", str(self.port)]

    def environment(self):
        return {**super().environment(), **self.variables}

    def is_serving(self):
        self.token = (self.home / CONTAINER / "helper-token").read_text()
        self.headers = f"X-ZQM-Token: {self.token}\r\n"
        return b'"cpu"' in self.get()

    def read_calls(self):
        return int(re.search(r"^syscr: (\d+)", pathlib.Path(f"/proc/{self.process.pid}/io").read_text(), re.M)[1])

    def stop(self):
        if (status := super().stop()) != 0:
            raise SystemExit(f"the helper ended with {status}")


class Web(Program):
    """`zephlon web` beside a helper, whose home it shares for the token."""
    name = "zephlon web"

    def __init__(self, helper):
        self.helper = helper
        super().__init__()

    def zephlon(self, *words):
        return [BUILD / "zephlon", "--port", str(self.helper.port), "web", *words]

    def command(self):
        return self.zephlon("--listen", f"127.0.0.1:{self.port}")

    def environment(self):
        return self.helper.environment()

    def is_serving(self):
        done = subprocess.run(self.zephlon("--url"), env={**os.environ, **self.environment()}, capture_output=True, text=True)
        self.url = done.stdout.strip()
        self.headers = f"Authorization: Bearer {self.url.partition('#')[2]}\r\n"
        return done.returncode == 0


class Nginx(Program):
    """One worker that serves files of given contents, a connection a request."""
    name = "nginx"

    def __init__(self, files):
        self.files = files
        self.path = "/" + next(iter(files))
        super().__init__()

    def command(self):
        for name, content in self.files.items():
            (self.home / name).write_bytes(content)
        config = self.home / "nginx.conf"
        config.write_text(f"""
            worker_processes 1; daemon off; pid {self.home}/pid; error_log {self.home}/error.log; user root;
            events {{ worker_connections 1024; }}
            http {{ access_log off; keepalive_timeout 0; default_type application/json; sendfile on;
                    server {{ listen 127.0.0.1:{self.port}; root {self.home}; }} }}""")
        return ["nginx", "-c", config, "-e", self.home / "error.log"]


def throughput(port, path, token, seconds):
    """Requests per second of 16 clients, a connection a request where the server closes it."""
    output = subprocess.run(["wrk", "-t1", "-c16", f"-d{seconds}s", "-H", f"X-ZQM-Token: {token}",
                             f"http://127.0.0.1:{port}{path}"], check=True, capture_output=True, text=True).stdout
    if "Non-2xx" in output or "Socket errors" in output:
        print(output, file=sys.stderr)
    return float(re.search(r"Requests/sec:\s+([\d.]+)", output)[1])


def beside_nginx(helper, seconds):
    """Requests per second of both servers for the same bytes, in turn, three rounds; the median ratio of each path."""
    if not (shutil.which("nginx", path=PATH) and shutil.which("wrk")):
        return {}
    bodies = {"ping": helper.get("/api/ping"), "snapshot": helper.get("/api/snapshot")}
    results = {}
    with Nginx(bodies) as nginx:
        for name, body in bodies.items():
            rounds = []
            for _ in range(3):
                ours = throughput(helper.port, f"/api/{name}", helper.token, seconds)
                theirs = throughput(nginx.port, f"/{name}", helper.token, seconds)
                rounds.append((ours / theirs, ours, theirs))
            ratio, ours, theirs = sorted(rounds)[1]
            results[name] = {"bytes": len(body), "helper_per_s": ours, "nginx_per_s": theirs, "ratio": ratio}
    return results
