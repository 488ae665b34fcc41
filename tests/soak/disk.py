"""Scenario of places that cannot take the token: the helper serves on with a token of its own, or ends, and says so in
one line."""
import os
import re
import subprocess
import time

from soak.clients import FORBIDDEN, NOT_FOUND, PONG, ok
from soak.helper import CONTAINER, PATIENCE, Broken, Server, environment, exchange, free_port

UNAVAILABLE = rf"\[ZQMHelper\] App Group {CONTAINER} 不可用——entitlements 未生效？\n"
NOT_SAVED = rf"\[ZQMHelper\] /.+/{CONTAINER}/helper-token: .+; .+\n"
SILENCE = ""
MOUNT = 'mount -t tmpfs -o {} none "$PWD" && cd "$PWD" && '
READ_ONLY = ' && mount -o remount,ro none "$PWD"'
# name, shell commands that spoil the home they run in, what is then said
MOUNTED = [
    ("full", MOUNT.format("size=64k") + f"mkdir {CONTAINER} && ! cat /dev/zero >filler 2>/dev/null", NOT_SAVED),
    ("no file left", MOUNT.format("nr_inodes=1") + ":", UNAVAILABLE),
    ("read-only", MOUNT.format("size=64k") + f"mkdir {CONTAINER}" + READ_ONLY, NOT_SAVED),
    ("read-only, empty", MOUNT.format("size=64k") + ":" + READ_ONLY, UNAVAILABLE),
    ("read-only, token there",
     MOUNT.format("size=64k") + f"mkdir {CONTAINER} && echo T >{CONTAINER}/helper-token" + READ_ONLY, SILENCE),
]
UNMOUNTED = [
    ("container is a file", f"touch {CONTAINER}", UNAVAILABLE),
    ("token is a directory", f"mkdir -p {CONTAINER}/helper-token", NOT_SAVED),
    ("no byte may be written", "ulimit -f 0", NOT_SAVED),
]
# Mounts in a name space of their own, which end with the helper.
UNSHARE = ["unshare", "--mount"] if os.geteuid() == 0 else ["unshare", "--user", "--map-root-user", "--mount"]


def wait_until_serving(helper, port):
    deadline = time.monotonic() + PATIENCE
    while time.monotonic() < deadline and helper.poll() is None:
        try:
            return exchange(port, b"GET /api/ping HTTP/1.1\r\n\r\n")
        except OSError:
            time.sleep(0.02)
    return None


def check_service(helper, port, home, token):
    """All but the token works, and nothing half-written is left."""
    answers = [(wait_until_serving(helper, port), FORBIDDEN),
               (exchange(port, b"GET /else HTTP/1.1\r\n\r\n"), NOT_FOUND),
               (exchange(port, b"GET /api/diagnostics/report HTTP/1.1\r\n\r\n"), ok(b'{"error":"invalid url"}'))]
    if token:
        answers.append((exchange(port, Server(port, token).request("/api/ping")), PONG))
    for answer, expected in answers:
        if answer != expected:
            raise Broken(f"answered {answer!r}")
    container = f"/proc/{helper.pid}/root{home}/{CONTAINER}"
    left = [name for name in os.listdir(container) if name != "helper-token"]
    if left:
        raise Broken(f"left behind: {left}")


def spoil(run, name, commands, said, prefix):
    home, port = run.home(name), free_port()
    script = f'cd "$XDG_DATA_HOME" && {commands} && cd / && exec "$@"'
    helper = subprocess.Popen([*prefix, "sh", "-c", script, "sh", run.program, "--port", str(port)], text=True,
                              env=environment(home), stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    try:
        if said != UNAVAILABLE:
            check_service(helper, port, home, b"T" if said == SILENCE else None)
            helper.terminate()
        errors = helper.communicate(timeout=PATIENCE)[1]
        if helper.returncode != (said == UNAVAILABLE) or not re.fullmatch(said, errors):
            raise Broken(f"ended with status {helper.returncode} and {errors!r}")
    except (Broken, OSError, subprocess.TimeoutExpired) as fault:
        run.break_(f"{name}: {fault}")
    finally:
        helper.kill()
        with helper:
            pass


def disk(run):
    """A container that cannot be written, in every way."""
    unmounted = UNMOUNTED[:-1] if run.preset == "tsan" else UNMOUNTED  # that sanitizer itself has to write a file
    for case in unmounted:
        spoil(run, *case, prefix=[])
    can_mount = subprocess.run([*UNSHARE, "true"], stderr=subprocess.DEVNULL).returncode == 0
    for case in MOUNTED if can_mount else []:
        spoil(run, *case, prefix=UNSHARE)
    names = [case[0] for case in unmounted + (MOUNTED if can_mount else [])]
    run.note(", ".join(names) + ("" if can_mount else "; mounts skipped: this user may make none"))


SCENARIOS = [disk]
