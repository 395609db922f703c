#!/usr/bin/env python3
"""Whether nginx and haproxy read requests as the relay does.

Rows go to the relay, to nginx and to haproxy, each in front of a recorder. What the relay accepts they must read the
same way or refuse, and so they must what the relay sends on: the same number of requests with the same methods, targets
and bodies. Otherwise a request could hide in another one.
"""

import contextlib
import pathlib
import re
import socket
import subprocess
import sys
import tempfile

from peers import Connection, Relay, Upstream, eventually
from tables import filled, request_rows

HERE = pathlib.Path(__file__).parent
END = "GET /v1/end HTTP/1.1\r\nHost: 127.0.0.1:00000\r\nConnection: close\r\n\r\n"


class Recorder(Upstream):
    """An HTTP server that keeps what it is asked: (method, target, body) and, in `raw`, the bytes themselves."""

    def __init__(self):
        super().__init__()
        self.requests, self.raw = [], ""
        self.serve_each(self.serve)

    def serve(self, side):
        with contextlib.suppress(AssertionError, EOFError, OSError, ValueError):
            while head := side.until():
                framed, body = side.body(head)
                self.requests.append((*head.split(" ", 2)[:2], body))
                self.raw += head + framed
                side.send("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n")


class Reader:
    """One of the three, in front of a recorder of its own, whose port `start` is told and answers with the reader's."""

    def __init__(self, name, start):
        self.name, self.recorder = name, Recorder()
        self.port = start(self.recorder.port)
        if not eventually(lambda: socket.socket().connect_ex(("127.0.0.1", self.port)) == 0):
            sys.exit(f"{name} did not start")

    def read(self, request):
        self.recorder.requests, self.recorder.raw = [], ""
        client, waits = Connection(self.port), False
        client.socket.settimeout(2)
        try:
            client.send(request)
            while client.fill():
                pass
        except AssertionError:
            waits = True
        except OSError:  # refused before all of it was sent
            pass
        client.close()
        statuses = [int(status) for status in re.findall(rb"HTTP/1.1 ([2-5]..) ", client.buffer)]
        return Reading(self.recorder.requests, statuses, waits)


class Reading:
    """What one of them takes some bytes for, up to where it refuses, closes or waits for more."""

    def __init__(self, requests, statuses, waits):
        self.requests = [(method, re.sub(r"^http://[^/]*", "", target), body) for method, target, body in requests]
        self.statuses, self.waits = statuses, waits
        self.whole = bool(requests) and requests[-1][1] == "/v1/end"

    def __repr__(self):
        return f"{self.requests}{'' if self.whole else ' and waits' if self.waits else ' and no more'}"

    def contradicts(self, other):
        common = min(len(self.requests), len(other.requests))
        return self.requests[:common] != other.requests[:common] or any(
            one.whole and (len(another.requests) > common or (another.waits and not another.whole))
            for one, another in ((self, other), (other, self)))


def contradictions(relay, others, request):
    """What the relay reads, and lines that tell of others who read it, or what the relay sends on, differently."""
    lines, end = [], END.replace("00000", str(relay.port))
    ours = relay.read(request + end)
    sent = relay.recorder.raw + end
    expected = Reading(ours.requests + [("GET", "/v1/end", "")], [], False)
    for other in others:
        theirs, again = other.read(request + end), other.read(sent)
        if ours.contradicts(theirs):
            lines.append(f"{other.name} reads {theirs}, the relay {ours}")
        if expected.contradicts(again):
            lines.append(f"{other.name} reads what the relay sends on as {again}, and not as {expected}")
    return ours, lines


def main(folder, cleanup):
    def relay(recorder):
        process = Relay(f"http://127.0.0.1:{recorder}/v1", timeout=20)
        cleanup.callback(process.stop)
        return process.port

    def configured(name, *command):
        def start(recorder):
            with socket.create_server(("127.0.0.1", 0)) as probe:
                port = probe.getsockname()[1]
            (folder / name).write_text(filled((HERE / name).read_text(), PORT=port, RECORDER=recorder, FOLDER=folder))
            cleanup.callback(subprocess.Popen([*command, folder / name], stderr=subprocess.DEVNULL).terminate)
            return port
        return start

    ours = Reader("relay", relay)
    others = [Reader("nginx", configured("nginx.conf", "/usr/sbin/nginx", "-e", folder / "nginx-error.log", "-c")),
              Reader("haproxy", configured("haproxy.cfg", "/usr/sbin/haproxy", "-db", "-q", "-f"))]
    rows, failures = [row for row in request_rows(ours.port) if row[0].startswith("passed")], []
    for _, name, text in rows:
        reading, lines = contradictions(ours, others, text)
        failures += [f"{name}: {line}" for line in lines]
        if not {*reading.statuses} <= {200, 426}:
            failures.append(f"{name}: the relay answers {reading.statuses}")
    print(*failures, f"{len(rows)} rows, {len(failures)} failures", sep="\n")
    return 1 if failures else 0


with tempfile.TemporaryDirectory() as temporary, contextlib.ExitStack() as stack:
    sys.exit(main(pathlib.Path(temporary), stack))
