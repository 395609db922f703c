"""The two sides that a relay stands between, played by a test, and the built relay between them as a process of its own.

Bytes are strings of Latin-1. Every wait has a deadline, after which the test fails.
"""

import functools
import os
import pathlib
import re
import select
import signal
import socket
import struct
import subprocess
import tempfile
import threading
import time
import unittest

RELAY = os.environ.get("FERRIN_RELAY_PROGRAM")
RELEASED = os.environ.get("FERRIN_RELEASED_RELAY_PROGRAM")  # for what sanitizers get in the way of
needs_released = unittest.skipUnless(RELEASED, "of this relay there is no released one")
PATIENCE = 20
KEY = "sk-test-key"
OK = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"
LAST = OK.replace("OK\r\n", "OK\r\nConnection: close\r\n")
STREAM = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"


def eventually(condition, limit=PATIENCE):
    end = time.monotonic() + limit
    while not (holds := condition()) and time.monotonic() < end:
        time.sleep(0.002)
    return holds


class Connection:
    """One end of a TCP connection; `end` is a socket, or a port of this computer. A small `room` makes a slow reader."""

    def __init__(self, end, room=0):
        self.socket, self.buffer = end, bytearray()
        if isinstance(end, int):
            self.socket = socket.socket()
            if room:
                self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, room)
            self.socket.connect(("127.0.0.1", end))
        self.socket.settimeout(PATIENCE)

    def send(self, text):
        self.socket.sendall(text.encode("latin-1"))

    def fill(self):
        """Reads once. False at the end; a reset counts as "<reset>" there."""
        block = b""
        try:
            block = self.socket.recv(65536)
        except ConnectionResetError:
            self.buffer += b"<reset>"
        except TimeoutError:
            raise AssertionError(f"nothing came; so far: {self.buffer[:300]}") from None
        self.buffer += block
        return bool(block)

    def fill_until(self, enough):
        while not enough():
            if not self.fill():
                raise EOFError(f"ended early, after: {self.buffer[:300]}")

    def read(self, size):
        self.fill_until(lambda: len(self.buffer) >= size)
        text = self.buffer[:size].decode("latin-1")
        del self.buffer[:size]
        return text

    def until(self, end="\r\n\r\n"):
        self.fill_until(lambda: end.encode("latin-1") in self.buffer)
        return self.read(self.buffer.index(end.encode("latin-1")) + len(end))

    def message(self):
        """A head and as much body as its Content-Length says."""
        head = self.until()
        length = re.search(r"\r\nContent-Length: (\d+)", head)
        return head + self.read(int(length[1]) if length else 0)

    def body(self, head):
        """What follows `head`: as it comes, and the content. EOFError when it ends early."""
        if length := re.search(r"\r\ncontent-length: (\d+)", head, re.IGNORECASE):
            return 2 * (self.read(int(length[1])),)
        framed, content, size = "", "", 1 if re.search(r"\r\ntransfer-encoding: chunked\r\n", head, re.IGNORECASE) else 0
        while size:
            line = self.until("\r\n")
            size = int(line.split(";")[0], 16)
            chunk = self.read(size + 2) if size else "".join(iter(lambda: self.until("\r\n"), "\r\n")) + "\r\n"
            framed, content = framed + line + chunk, content + (chunk[:-2] if size else "")
        return framed, content

    def rest(self):
        while self.fill():
            pass
        return self.read(len(self.buffer))

    def some(self):
        """What comes next, however little; "" at the end."""
        if not self.buffer:
            self.fill()
        return self.read(len(self.buffer))

    def silent(self, seconds):
        return not self.buffer and not select.select([self.socket], [], [], seconds)[0]

    def time_to_end(self):
        start = time.monotonic()
        self.rest()
        return time.monotonic() - start

    def close(self):
        self.socket.close()

    def reset(self):
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.close()


class Upstream:
    """A listening socket that the relay takes for its provider."""

    def __init__(self, address="127.0.0.1", port=0):
        self.socket = socket.create_server((address, port), backlog=1024)
        self.socket.settimeout(PATIENCE)
        self.port = self.socket.getsockname()[1]
        self.url = f"http://127.0.0.1:{self.port}"

    def accept(self):
        return Connection(self.socket.accept()[0])

    def serve_each(self, serve):
        """Has `serve` called with every connection, in threads, for the life of the process."""
        def accept():
            while True:
                threading.Thread(target=serve, args=(self.accept(),), daemon=True).start()
        self.socket.settimeout(None)
        threading.Thread(target=accept, daemon=True).start()

    def silent(self, seconds):
        return not select.select([self.socket], [], [], seconds)[0]


def deaf(address="127.0.0.1", port=0):
    """Sockets as long as which somebody listens who never takes a connection: one more is not even refused."""
    sockets = [socket.create_server((address, port), backlog=0), socket.socket(), socket.socket()]
    for caller in sockets[1:]:  # the queue has room for one, and the system knocks again for the other
        caller.setblocking(False)
        caller.connect_ex(sockets[0].getsockname())
    return sockets


def surrounded(**variables):
    """The environment in which Surroundings.cpp shows the relay names and clocks, as `variables` say."""
    options = os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0"
    return {"LD_PRELOAD": os.environ["FERRIN_SURROUNDINGS"], "ASAN_OPTIONS": options, **variables}


def unproxied():
    """This process's environment without its proxies."""
    return {name: value for name, value in os.environ.items() if not name.lower().endswith("_proxy")}


class Relay:
    """With its key and its log in a private folder."""

    def __init__(self, upstream, timeout=60, key=KEY + "\n", log="", host="127.0.0.1", program=RELAY, environment=None,
                 folder=None):
        self.folder = tempfile.TemporaryDirectory(dir=folder)
        self.key_file, self.log_file = (pathlib.Path(self.folder.name, name) for name in ("key", "log"))
        if key:
            self.key_file.write_text(key)
        self.log_file.write_text(log)
        with open(self.log_file, "a") as output:
            self.process = subprocess.Popen(
                [program, "--host", host, "--port", "0", "--upstream", upstream, "--api-key-file", self.key_file,
                 "--timeout", str(timeout)], stdout=output, stderr=output, env=unproxied() | (environment or {}))
        self.proc = pathlib.Path(f"/proc/{self.process.pid}")
        if not eventually(lambda: "/v1, forwarding to " in self.log() or self.process.poll() is not None):
            raise AssertionError("the relay did not start")
        self.port = int(re.search(r":(\d+)/v1, forwarding", self.log())[1])

    def log(self):
        return self.log_file.read_text(errors="replace")

    def logs(self, text):
        """Waits until the log holds `text`."""
        assert eventually(lambda: text in self.log()), f"not logged: {text}\n{self.log()[-3000:]}"

    def line(self, start):
        """The last line of the log that says `start` after its time, once there is one."""
        self.logs(f" {start} ")
        return [line for line in self.log().splitlines() if f" {start} " in line][-1]

    def request(self, line="GET /v1/a", *fields, body="", more=""):
        """`body` with its length, `more` without."""
        length = [f"Content-Length: {len(body)}"] if body else []
        return "\r\n".join([f"{line} HTTP/1.1", f"Host: 127.0.0.1:{self.port}", *fields, *length, "", body + more])

    def client(self, *request, room=0, **more):
        """A new one, who has sent this request."""
        client = Connection(self.port, room)
        client.send(self.request(*request, **more))
        return client

    def answer(self, *request, **more):
        return self.client(*request, **more).message()

    def joined(self, upstream, *request, **more):
        """A new client, and the upstream's side where the head of its request has been read."""
        client = self.client(*request, **more)
        side = upstream.accept()
        side.until()
        return client, side

    def resident_bytes(self):
        return int((self.proc / "statm").read_text().split()[1]) * os.sysconf("SC_PAGESIZE")

    def processor_seconds(self):
        return sum(int(file.read_text().split()[0]) for file in self.proc.glob("task/*/schedstat")) / 1e9

    def stop(self):
        """The sanitizers' checks at its end must go well, too."""
        if self.process.returncode is None:
            self.process.send_signal(signal.SIGTERM)
            assert self.process.wait(PATIENCE) == 0, self.log()[-5000:]


class RelayTest(unittest.TestCase):
    """A relay, and the upstream that the test plays."""

    def setUp(self):
        self.upstream = Upstream()
        folder = tempfile.TemporaryDirectory()
        self.folder = pathlib.Path(folder.name)
        self.addCleanup(folder.cleanup)

    @functools.cached_property
    def relay(self):
        return self.start(self.upstream.url)

    def complete(self, client, side, answer=OK):
        """An exchange, whose request the upstream may have read."""
        side.send(answer)
        self.assertEqual(client.message(), OK)

    def assert_refused(self, answer, expected):
        """By the relay itself; `expected` is a status and a code."""
        status, code = expected.split()
        self.assertTrue(answer.startswith(f"HTTP/1.1 {status} "), answer)
        self.assertIn("\r\nX-Ferrin-Relay: error\r\n", answer)
        self.assertTrue(answer.endswith(f'"type":"relay_error","param":null,"code":"{code}"}}}}'), answer)
        self.assertNotIn("Access-Control", answer)

    def start(self, *arguments, **settings):
        relay = Relay(*arguments, folder=self.folder, **settings)
        self.addCleanup(relay.stop)
        return relay
