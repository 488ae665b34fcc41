"""What a helper holds, as seen from outside."""
import dataclasses
import os
import pathlib
import re
import statistics
import time

LOOKS = 20  # over more than one pass over the processes


@dataclasses.dataclass
class Footprint:
    """Over a few seconds: what is held and not just passing."""
    memory: int             # KiB of the process's own, in the middle
    descriptors: list[int]  # least and most
    threads: list[int]

    def growth_since(self, earlier):
        return {"memory": self.memory - earlier.memory,
                "descriptors": max(0, self.descriptors[0] - earlier.descriptors[1]),
                "threads": max(0, self.threads[0] - earlier.threads[1])}


def memory(helper, kind):
    return int(re.search(rf"^{kind}:\s+(\d+)", pathlib.Path(f"/proc/{helper.pid}/smaps_rollup").read_text(), re.M)[1])


def count(helper, kind):
    return len(os.listdir(f"/proc/{helper.pid}/{kind}"))


def footprint(helper):
    time.sleep(1.5)  # by then no connection is waited for any more
    looks = []
    for _ in range(LOOKS):
        looks.append((memory(helper, "Anonymous"), count(helper, "fd"), count(helper, "task")))
        time.sleep(0.15)
    memories, descriptors, threads = zip(*looks)
    return Footprint(int(statistics.median(memories)), [min(descriptors), max(descriptors)], [min(threads), max(threads)])


def quiet_machine(folder):
    """A root directory that shows this machine without its processes but this one: what other users start and end must
    not count as growth."""
    root = pathlib.Path(folder) / "root"
    (root / "proc").mkdir(parents=True)
    for name in os.listdir("/proc"):
        if not name.isdigit() or int(name) == os.getpid():
            (root / "proc" / name).symlink_to(f"/proc/{name}")
    for name in ("sys", "etc"):
        (root / name).symlink_to(f"/{name}")
    return root
