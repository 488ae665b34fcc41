"""Scenario of places that cannot take the token: the helper serves on with a token of its own, or ends, and says so in
one line."""
import os
import re
import subprocess

from harness import CONTAINER, PATIENCE, Broken, Server, environment, exchange, free_port, until
from soak.clients import FORBIDDEN, PONG

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
    ("read-only, token there",
     MOUNT.format("size=64k") + f"mkdir {CONTAINER} && echo T >{CONTAINER}/helper-token" + READ_ONLY, SILENCE),
]
UNMOUNTED = [("token is a directory", f"mkdir -p {CONTAINER}/helper-token", NOT_SAVED),
             ("no byte may be written", "ulimit -f 0", NOT_SAVED)]
# Mounts in a name space of their own, which end with the helper.
UNSHARE = ["unshare", "--mount"] if os.geteuid() == 0 else ["unshare", "--user", "--map-root-user", "--mount"]


def check_service(helper, port, home, token):
    """All but the token works, and nothing half-written is left."""
    def refusal():
        if helper.poll() is not None:
            raise Broken(f"ended with {helper.communicate()[1]!r}")
        return exchange(port, b"GET /api/ping HTTP/1.1\r\n\r\n")
    answers = [(until(refusal), FORBIDDEN)]
    if token:
        answers.append((exchange(port, Server(port, token).request("/api/ping")), PONG))
    for given, expected in answers:
        if given != expected:
            raise Broken(f"answered {given!r}")
    if left := set(os.listdir(f"/proc/{helper.pid}/root{home}/{CONTAINER}")) - {"helper-token"}:
        raise Broken(f"left behind: {left}")


def spoil(run, name, commands, said, prefix=()):
    home, port = run.home(name), free_port()
    script = f'cd "$XDG_DATA_HOME" && {commands} && cd / && exec "$@"'
    with subprocess.Popen([*prefix, "sh", "-c", script, "sh", run.program, "--port", str(port)], text=True,
                          env=environment(home), stdout=subprocess.DEVNULL, stderr=subprocess.PIPE) as helper:
        try:
            if said != UNAVAILABLE:
                check_service(helper, port, home, b"T" if said == SILENCE else None)
                helper.terminate()
            errors = helper.communicate(timeout=PATIENCE)[1]
            if helper.returncode != (said == UNAVAILABLE) or not re.fullmatch(said, errors):
                raise Broken(f"ended with status {helper.returncode} and {errors!r}")
            run.note(name)
        except (Broken, OSError, subprocess.TimeoutExpired) as fault:
            run.break_(f"{name}: {fault}")
        finally:
            helper.kill()


def disk(run):
    """A container that cannot be written, in every way."""
    for case in UNMOUNTED[:-1] if run.preset == "tsan" else UNMOUNTED:  # that sanitizer itself has to write a file
        spoil(run, *case)
    if subprocess.run([*UNSHARE, "true"], stderr=subprocess.DEVNULL).returncode != 0:
        return run.note("mounts skipped: this user may make none")
    for case in MOUNTED:
        spoil(run, *case, prefix=UNSHARE)


SCENARIOS = [disk]
