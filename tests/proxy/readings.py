#!/usr/bin/env python3
"""Whether nginx and haproxy read requests as the relay does: readings.py RELAY [SECONDS]

Rows, and then mutated rows for SECONDS, go to the relay, to nginx and to haproxy, each in front of a recorder. What the
relay accepts they must read the same way or refuse, and so they must what the relay sends on: the same number of
requests with the same methods, targets and bodies. Otherwise a request could hide in another one.
"""

import contextlib
import pathlib
import random
import re
import socket
import subprocess
import sys
import tempfile
import threading
import time

RELAY = sys.argv[1]
SECONDS = float(sys.argv[2]) if len(sys.argv) > 2 else 2
KEY = "sk-readings"
AT = b"127.0.0.1:00000"  # the relay's address and port go here, of the same length
END = b"GET /v1/end HTTP/1.1\r\nHost: %b\r\nConnection: close\r\n\r\n" % AT
NGINX = """
daemon off; master_process off; worker_processes 1; pid @FOLDER@/nginx.pid; error_log @FOLDER@/nginx-error.log;
events { worker_connections 512; }
http {
  access_log off; client_body_temp_path @FOLDER@/body; proxy_temp_path @FOLDER@/proxy; client_max_body_size 0;
  fastcgi_temp_path @FOLDER@/fastcgi; uwsgi_temp_path @FOLDER@/uwsgi; scgi_temp_path @FOLDER@/scgi;
  upstream recorder { server 127.0.0.1:@RECORDER@; keepalive 4; }
  server {
    listen 127.0.0.1:@PORT@;
    location / { proxy_pass http://recorder; proxy_http_version 1.1; proxy_set_header Connection ""; }
  }
}
"""
HAPROXY = """
global
  log stderr local0 emerg
defaults
  mode http
  option http-buffer-request
  timeout connect 5s
  timeout client 20s
  timeout server 20s
listen all
  bind 127.0.0.1:@PORT@
  server recorder 127.0.0.1:@RECORDER@
"""


def row(line, *fields, body=b""):
    return b"\r\n".join([line, b"Host: " + AT, *fields]) + b"\r\n\r\n" + body


CHUNKED = b"Transfer-Encoding: chunked"
LENGTH = b"Content-Length: 5"
HIDDEN = row(b"GET /v1/hidden HTTP/1.1")


def post(*fields, body=b""):
    return row(b"POST /v1/a HTTP/1.1", *fields, body=body)


def chunked(body, *fields):
    return post(CHUNKED, *fields, body=body)


ROWS = [
    ("plain", row(b"GET /v1/a?b=c%2F..//d HTTP/1.1")),
    ("length", post(LENGTH, body=b"hello")),
    ("two at once", post(LENGTH, body=b"hello") + row(b"HEAD /v1/b HTTP/1.1")),
    ("body that looks like a request", post(b"Content-Length: %d" % len(HIDDEN), body=HIDDEN)),
    ("chunks", chunked(b"5\r\nhello\r\n00a\r\n0123456789\r\n0\r\n\r\n")),
    ("chunk extensions", chunked(b"5;a=\"b;c\"\r\nhello\r\n1 \t; x\r\n!\r\n0;end\r\n\r\n")),
    ("trailers", chunked(b"5\r\nhello\r\n0\r\nX-Sum: 1\r\nContent-Length: 9\r\n\r\n")),
    ("chunk that looks like a request", chunked(b"%x\r\n%b\r\n0\r\n\r\n" % (len(HIDDEN), HIDDEN))),
    ("coding in capitals", post(b"TRANSFER-ENCODING:\tChunked ", body=b"1\r\na\r\n0\r\n\r\n")),
    ("length named by Connection", post(LENGTH, b"Connection: Content-Length", body=b"hello")),
    ("coding named by Connection", chunked(b"5\r\nhello\r\n0\r\n\r\n", b"Connection: Transfer-Encoding, Host")),
    ("length with zeros", post(b"Content-Length: 0005", body=b"hello")),
    ("equal lengths", post(LENGTH, LENGTH, body=b"hello")),
    ("GET with a body", row(b"GET /v1/a HTTP/1.1", b"Content-Length: %d" % len(HIDDEN), body=HIDDEN)),
    ("fields that look like lengths", post(b"Content_Length: 9", b"X-Content-Length: 9", LENGTH, body=b"hello")),
    ("expectation", post(b"Expect: 100-continue", LENGTH, body=b"hello")),
    ("absolute target", row(b"GET http://" + AT + b"/v1/a HTTP/1.1")),
    ("empty lines before", b"\r\n" + row(b"GET /v1/a HTTP/1.1")),
    ("HTTP/1.0", row(b"POST /v1/a HTTP/1.0", b"Connection: keep-alive", b"Content-Length: 2", body=b"hi")),
    ("HTTP/1.0 with an upgrade", row(b"GET /v1/a HTTP/1.0", b"Connection: Upgrade", b"Upgrade: websocket") + HIDDEN),
    ("WebSocket that is not to be", row(b"GET /v1/a HTTP/1.1", b"Connection: Upgrade", b"Upgrade: websocket") + HIDDEN),
    ("POST with an upgrade", post(b"Connection: Upgrade", b"Upgrade: websocket", LENGTH, body=b"hello")),
    ("unknown method", row(b"BREW /v1/a HTTP/1.1")),
    ("dots in the path", row(b"GET /v1/a/../b HTTP/1.1")),
    ("bytes over 127", row(b"GET /v1/\xc3\xa9 HTTP/1.1", b"X: \xc3\xa9")),
]


CORPUS = pathlib.Path(__file__).parent.parent / "fuzz" / "corpus"
SEEDS = [request for _, request in ROWS]
SEEDS += [file.read_bytes().replace(b"127.0.0.1:8787", AT) for file in sorted(CORPUS.glob("head/*"))]
SEEDS += [chunked(file.read_bytes()) for file in sorted(CORPUS.glob("framing/*"))]


class Recorder:
    """An HTTP server that keeps what it is asked: (method, target, body) and, in `raw`, the bytes themselves."""

    def __init__(self):
        self.listener = socket.create_server(("127.0.0.1", 0), backlog=128)
        self.port = self.listener.getsockname()[1]
        self.requests, self.raw = [], b""
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            connection, _ = self.listener.accept()
            threading.Thread(target=self.serve, args=(connection,), daemon=True).start()

    def serve(self, connection):
        with connection, connection.makefile("rb") as stream, contextlib.suppress(OSError, ValueError):
            while raw := b"".join(self.head(stream)):
                method, target = raw.split(b" ", 2)[:2]
                framed, body = self.body(stream, raw)
                self.requests.append((method, target, body))
                self.raw += raw + framed
                connection.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n")

    @staticmethod
    def head(stream):
        while (line := stream.readline()) not in (b"", b"\r\n"):
            yield line
        yield line

    @staticmethod
    def body(stream, head):
        """The body as it came, and what it says."""
        length = re.search(rb"\r\ncontent-length: (\d+)\r\n", head, re.IGNORECASE)
        if length:
            body = Recorder.exactly(stream, int(length[1]))
            return body, body
        framed, body = b"", b""
        while re.search(rb"\r\ntransfer-encoding: chunked\r\n", head, re.IGNORECASE):
            line = stream.readline()
            size = int(line.split(b";")[0], 16)
            chunk = Recorder.exactly(stream, size + 2) if size else b"".join(Recorder.head(stream))
            framed, body = framed + line + chunk, body + (chunk[:-2] if size else b"")
            if size == 0:
                break
        return framed, body

    @staticmethod
    def exactly(stream, size):
        content = stream.read(min(size, 1 << 20))
        if len(content) != size:
            raise ValueError("cut off")
        return content


class Peer:
    """One of the three, in front of a recorder of its own. All are addressed as the first, the relay."""

    host = None

    def __init__(self, name, folder, command, configuration):
        self.name, self.recorder = name, Recorder()
        with socket.create_server(("127.0.0.1", 0)) as probe:
            self.port = probe.getsockname()[1]
        file = folder / f"{name}.conf"
        Peer.host = Peer.host or self.port
        values = {"@PORT@": self.port, "@RECORDER@": self.recorder.port, "@FOLDER@": folder, "@FILE@": file}

        def filled(text):
            for mark, value in values.items():
                text = text.replace(mark, str(value))
            return text

        file.write_text(filled(configuration))
        self.process = subprocess.Popen([filled(part) for part in command], stdout=open(folder / f"{name}.log", "wb"))
        deadline = time.monotonic() + 20
        while socket.socket().connect_ex(("127.0.0.1", self.port)) != 0:
            if self.process.poll() is not None or time.monotonic() > deadline:
                sys.exit(f"{name} did not start")
            time.sleep(0.01)

    def read(self, request, patience):
        self.recorder.requests, self.recorder.raw = [], b""
        answers, waits = b"", False
        with socket.create_connection(("127.0.0.1", self.port)) as connection, contextlib.suppress(ConnectionError):
            connection.settimeout(patience)
            connection.sendall(request.replace(AT, b"127.0.0.1:%05d" % Peer.host))
            try:
                while block := connection.recv(65536):
                    answers += block
            except TimeoutError:
                waits = True
        statuses = [int(status) for status in re.findall(rb"HTTP/1.1 ([2-5]..) ", answers)]
        return Reading(self.recorder.requests, statuses, waits)


class Reading:
    """What one of them takes some bytes for, up to where it refuses, closes or waits for more."""

    def __init__(self, requests, statuses, waits):
        self.requests = [(method, re.sub(rb"^http://[^/]*", b"", target), body) for method, target, body in requests]
        self.statuses, self.waits = statuses, waits
        self.whole = bool(requests) and requests[-1][1] == b"/v1/end"

    def __repr__(self):
        return f"{self.requests}{'' if self.whole else ' and waits' if self.waits else ' and no more'}"

    def contradicts(self, other):
        if {403, 404} & {*self.statuses}:  # some were not sent on, and are only counted
            return self.whole and other.whole and len(self.statuses) != len(other.requests)
        common = min(len(self.requests), len(other.requests))
        return self.requests[:common] != other.requests[:common] or any(
            one.whole and (len(another.requests) > common or (another.waits and not another.whole))
            for one, another in ((self, other), (other, self)))


def contradictions(relay, others, request, patience):
    """What the relay reads, and lines that tell of others who read it, or what the relay sends on, differently."""
    lines = []
    ours = relay.read(request + END, patience)
    sent = relay.recorder.raw + END
    expected = Reading(ours.requests + [(b"GET", b"/v1/end", b"")], [], False)
    for other in others:
        theirs, again = other.read(request + END, patience), other.read(sent, patience)
        if ours.contradicts(theirs):
            lines.append(f"{other.name} reads {theirs}, the relay {ours}")
        if expected.contradicts(again):
            lines.append(f"{other.name} reads what the relay sends on as {again}, and not as {expected}")
    return ours, lines


def checked(relay, others, request):
    """As contradictions(), and asked again with more patience before they count: the machine may have been busy."""
    result = contradictions(relay, others, request, 0.15)
    return contradictions(relay, others, request, 3) if result[1] else result


def mutated(chance):
    text = bytearray(chance.choice(SEEDS))
    for _ in range(chance.randint(1, 3)):
        at = chance.randrange(len(text))
        kind = chance.randrange(4)
        if kind == 0:
            text[at] = chance.choice(b"\0\t\n\r ,:;0159afx\x7f\xff")
        elif kind == 1:
            del text[at:at + chance.randint(1, 4)]
        elif kind == 2:
            text[at:at] = chance.choice([b"\r\n", b"\n", b"\r", b" ", b"\t", b"0", b";", b",", CHUNKED, LENGTH])
        else:
            other = chance.choice(SEEDS)
            start = chance.randrange(len(other))
            text[at:at] = other[start:start + chance.randint(1, 40)]
    return bytes(text)


def started(folder, cleanup):
    options = "--host 127.0.0.1 --port @PORT@ --upstream http://127.0.0.1:@RECORDER@/v1 --api-key-file @FILE@ --timeout 20"
    peers = []
    for name, configuration, command in (
            ("relay", KEY, [RELAY, *options.split()]),
            ("nginx", NGINX, ["/usr/sbin/nginx", "-c", "@FILE@", "-e", "@FOLDER@/nginx-error.log"]),
            ("haproxy", HAPROXY, ["/usr/sbin/haproxy", "-db", "-q", "-f", "@FILE@"])):
        peers.append(Peer(name, folder, command, configuration))
        cleanup.callback(peers[-1].process.terminate)
    return peers


def main(folder, cleanup):
    relay, *others = started(folder, cleanup)
    failures = []
    for name, request in ROWS:
        ours, lines = checked(relay, others, request)
        failures += [f"{name}: {line}" for line in lines]
        if not {*ours.statuses} <= {200, 426}:
            failures.append(f"{name}: the relay answers {ours.statuses}")
    chance, count, end = random.Random(1), 0, time.monotonic() + SECONDS
    while time.monotonic() < end:
        request, count = mutated(chance), count + 1
        failures += [f"{request!r}: {line}" for line in checked(relay, others, request)[1]]
    print(*failures, f"{len(ROWS)} rows and {count} mutated ones, {len(failures)} failures", sep="\n")
    return 1 if failures else 0


with tempfile.TemporaryDirectory() as temporary, contextlib.ExitStack() as stack:
    sys.exit(main(pathlib.Path(temporary), stack))
