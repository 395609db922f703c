"""Processes under measurement: where they listen, what they have used, by the kernel's own counts."""

import os
import pathlib
import re
import socket
import time


def pinned(core, ahead=False):
    """What a command on `core` begins with; `ahead` of what else runs there, where that is allowed."""
    return [*(["nice", "-n", "-20"] if ahead else []), "taskset", "-c", core]


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_until_listening(port, process, limit=20.0):
    """Seconds until `port` accepts connections."""
    start = time.monotonic()
    while time.monotonic() - start < limit:
        with socket.socket() as probe:
            if probe.connect_ex(("127.0.0.1", port)) == 0:
                return time.monotonic() - start
        if process.poll() is not None:
            raise RuntimeError(f"{process.args} ended with status {process.returncode}")
        time.sleep(0.0002)
    raise RuntimeError(f"{process.args} does not listen")


def descendants(pid):
    children = pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()
    return [pid] + [each for child in children for each in descendants(int(child))]


def cpu_seconds(pid):
    total = 0
    for process in descendants(pid):
        for task in pathlib.Path(f"/proc/{process}/task").iterdir():
            total += int((task / "schedstat").read_text().split()[0])
    return total / 1e9


def resident_bytes(pid):
    pages = sum(int(pathlib.Path(f"/proc/{process}/statm").read_text().split()[1]) for process in descendants(pid))
    return pages * os.sysconf("SC_PAGESIZE")


def context_switches(pid):
    total = 0
    for process in descendants(pid):
        status = pathlib.Path(f"/proc/{process}/status").read_text()
        total += sum(int(count) for count in re.findall(r"ctxt_switches:\s+(\d+)", status))
    return total
