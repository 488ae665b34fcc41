"""Scenarios of a helper that asks other hosts: here a TLS server on loopback."""
import concurrent.futures
import contextlib
import socket
import time

import tls_server
from harness import Broken, connect, exchange, read_all, until
from soak.clients import answer, forked, running, slowest
from soak.footprint import memory as memory_of
from soak.footprint import quiet_machine

UPLOAD = b"POST /api/diagnostics/report HTTP/1.1\r\n\r\n"
FACTS = b'{"success":true,"ip":"192.0.2.7","country_code":"SE","country":"Sweden"}'


class Host(tls_server.Connection):
    """Knows public addresses, collects reports, and counts both; as a `stalled` host it does not answer reports."""
    lookups, uploads, stalled = forked.Value("i"), forked.Value("i"), forked.Value("b")

    def serve(self):
        request = self.rfile.readline()
        length = 0
        while line := self.rfile.readline().strip():
            name, _, value = line.partition(b":")
            length = int(value) if name.lower() == b"content-length" else length
        report = self.rfile.read(length)
        is_report = request.startswith(b"POST /api/diagnostics ") and report.startswith(b"=== Zephlon Diagnostics ===")
        counter = self.uploads if is_report else self.lookups
        with counter.get_lock():
            counter.value += 1
        if not is_report:
            self.answer(200, FACTS)
        elif self.stalled.value:
            self.rfile.read(1)  # until the client leaves
        else:
            self.answer(200, b"")


@contextlib.contextmanager
def host(folder):
    """A process that serves Host; what the helper's environment needs to find it."""
    for shared in (Host.lookups, Host.uploads, Host.stalled):
        shared.value = 0
    server = tls_server.make_server(f"{folder}/good", "IP:127.0.0.1", Host)
    name = f"127.0.0.1:{server.server_address[1]}"
    with running(server.serve_forever):
        server.server_close()
        yield {"ZQM_CA_FILE": f"{folder}/good.pem", "ZQM_GEOLOCATION_HOST": name, "ZQM_COLLECTION_HOST": name}


def upload(server, count):
    with concurrent.futures.ThreadPoolExecutor(8) as clients:
        for given in clients.map(lambda _: exchange(server.port, UPLOAD), range(count)):
            if given != answer(b'{"status":"sent"}'):
                raise Broken(f"a report got {given!r}")


def uploads(run):
    """Reports, eight at a time."""
    early, late = run.amount((100, 900), (50, 50))
    with host(run.folder) as variables:
        with run.helper("--root", quiet_machine(run.folder), variables=variables) as helper:
            upload(helper.server, early)
            with run.no_growth(helper):
                upload(helper.server, late)
            run.note(f"{Host.uploads.value} uploads")


def stalls(run):
    """Other routes beside a report that the collection host takes without answering, and callers who left, read half,
    wait or say nothing. Those who left cause no report; the others share the next."""
    paths = "/api/ping", "/api/snapshot", "/api/diagnostics"

    def measure():
        return {path: slowest(helper.server, path, run.amount(1000, 100), 0.002) for path in paths}

    with host(run.folder) as variables, run.helper(variables=variables) as helper, contextlib.ExitStack() as clients:
        def call(request=UPLOAD):
            client = clients.enter_context(connect(helper.server.port))
            client.sendall(request)
            return client

        Host.stalled.value = 1
        without, first = measure(), call()
        until(lambda: Host.uploads.value)
        for _ in range(run.amount(20_000, 2000)):
            with connect(helper.server.port) as client:
                client.sendall(UPLOAD)
        half = call()
        half.shutdown(socket.SHUT_WR)
        callers = [call() for _ in range(200)] + [call(b"") for _ in range(200)]
        for path, time_ in measure().items():
            run.note(f"{path} p99 without {without[path]:.2f} ms")
            run.check("beside", time_, max(50 * run.slowness, 2 * without[path]), " ms")
        if b"too many" not in read_all(callers[199]):
            raise Broken("more callers wait than may")
        Host.stalled.value = 0
        read_all(first)
        if {read_all(half), read_all(callers[0])} != {answer(b'{"status":"sent"}')}:
            raise Broken("who waits does not share a report")
        run.check("uploads", Host.uploads.value, 2)


def memory(run):
    """PSS without hosts, and with both once they have been asked."""
    if run.preset != "release":
        return run.note("says nothing of a sanitized helper")
    with run.helper() as helper:
        time.sleep(run.amount(30, 5))
        run.check("without hosts", memory_of(helper, "Pss") / 1024, 5, " MiB")
    with host(run.folder) as variables, run.helper(variables=variables) as helper:
        upload(helper.server, 3)
        until(lambda: Host.lookups.value)
        time.sleep(run.amount(30, 5))
        run.check("with both", memory_of(helper, "Pss") / 1024, 8, " MiB")


SCENARIOS = [uploads, stalls, memory]
