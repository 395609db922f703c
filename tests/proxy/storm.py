#!/usr/bin/env python3
"""Stray clients and leaving upstreams, all at once, while the key is replaced: storm.py RELAY SCHEME [SECONDS]

SCHEME, http or https, is the upstream's. Some bodies are coded, some requests are for a WebSocket. Nothing is mixed up,
answers are checked by content, and nothing is left behind. At its height the relay is stopped.
"""

import concurrent.futures
import functools
import itertools
import os
import random
import pathlib
import re
import signal
import ssl
import struct
import sys
import tempfile
import threading
import time

from peers import OK, PATIENCE, STREAM, Connection, Relay, Upstream, eventually
from tls import identity

CLIENTS = 64


def zstd_frame(text):
    """Of one raw block (RFC 8878, section 3.1.1)."""
    size = len(text)
    return struct.pack("<IBI", 0xFD2FB528, 0xA0, size).decode("latin-1") + struct.pack("<I", size << 3 | 1)[:3].decode("latin-1") + text


class Exchange:
    """What is said in the exchange `mark`, and how much of its answer the upstream sends: the whole, if it stays."""

    def __init__(self, mark):
        self.is_web_socket, self.is_coded = mark % 11 == 0, mark % 5 == 0
        self.mark, self.resets = mark, mark % 2 == 0
        self.body = (f"{mark}/" * 3000)[:1 + mark % 3000]
        said = (f"{mark}?" * 25_000)[:mark % 50_000]
        chunks = (said[at:at + 0x500] for at in range(0, len(said), 0x500))
        self.answer = OK.replace("2\r\n\r\nok", f"{len(said)}\r\n\r\n{said}")
        if mark % 3 != 0:
            self.answer = STREAM + "".join(f"{len(chunk):x}\r\n{chunk}\r\n" for chunk in chunks) + "0\r\n\r\n"
        self.sent = self.answer[:mark // 7 % len(self.answer)] if mark % 7 == 0 else self.answer
        self.whole = self.sent == self.answer

    def request(self, relay):
        if self.is_web_socket:
            return relay.request(f"GET /v1/{self.mark}", "Connection: Upgrade", "Upgrade: websocket", more=self.body)
        coding = ["Content-Encoding: zstd"] if self.is_coded else []
        return relay.request(f"POST /v1/{self.mark}", *coding, body=zstd_frame(self.body) if self.is_coded else self.body)

    def check_broken_off(self, client):
        """What a reset overtakes is lost: the end of what the client would have seen, or all the relay would have."""
        seen = client.some()
        if "\r\n\r\n" not in self.sent or (self.resets and seen.startswith("HTTP/1.1 502 ")):
            assert seen.startswith("HTTP/1.1 502 "), seen[:50]
        else:
            seen += "" if seen.endswith("<reset>") else client.rest()
            assert seen.endswith("<reset>") and self.sent.startswith(seen[:-7]), (self.mark, seen[:50], seen[-50:])


def echo(side):
    side.send("HTTP/1.1 101 Switching Protocols\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n\r\n")
    while text := side.some():
        side.send(text)


def serve(context, side):
    """One connection to the upstream, until either side leaves it."""
    side.socket.settimeout(None)  # an idle one is the relay's to close
    while True:
        try:
            if context and not isinstance(side.socket, ssl.SSLSocket):
                side = Connection(context.wrap_socket(side.socket, server_side=True))
            head = side.until()
            exchange = Exchange(int(re.search(r"/(\d+)", head)[1]))
            assert "\r\nAuthorization: Bearer sk-" in head, head
            if exchange.is_web_socket:
                return echo(side)
            text = side.body(head)[1]
            if text.endswith("<reset>"):
                raise EOFError
            assert text == exchange.body, head
            side.send(exchange.sent[:len(exchange.sent) // 2])
            side.send(exchange.sent[len(exchange.sent) // 2:])
        except (EOFError, OSError):  # the relay has left
            return side.close()
        if not exchange.whole:
            return side.reset() if exchange.resets else side.close()


def stray(relay, seed, enough):
    """One client after the other. Returns how many exchanges there were before the relay was stopped, or enough."""
    ended, chance = itertools.count(), random.Random(seed)
    try:
        some_exchanges(relay, chance, enough, ended)
    except (OSError, EOFError, AssertionError):
        if not eventually(lambda: relay.process.poll() is not None):
            raise
    return next(ended)


def some_exchanges(relay, chance, enough, ended):
    """Of their clients some leave anywhere in the request or in its answer."""
    client = None
    while not enough.is_set():
        next(ended)
        exchange, leaving = Exchange(chance.getrandbits(31)), chance.randrange(8)
        if not client or chance.randrange(4) == 0:
            client = Connection(relay.port)
        request = exchange.request(relay)
        client.send(request[:chance.randrange(len(request))] if leaving == 0 else request)
        if exchange.is_web_socket and leaving != 0:
            assert client.until().startswith("HTTP/1.1 101 ") and client.read(len(exchange.body)) == exchange.body
            leaving = 0
        if leaving == 1 and exchange.whole:
            client.read(chance.randrange(len(exchange.answer)))
        if leaving < 2:
            client.reset() if chance.randrange(2) else client.close()
        elif exchange.whole:
            assert client.read(len(exchange.answer)) == exchange.answer, f"of exchange {exchange.mark}"
            continue
        else:
            exchange.check_broken_off(client)
        client = None


def storm(relay, seconds, stops=False):
    enough, end = threading.Event(), time.monotonic() + seconds
    with concurrent.futures.ThreadPoolExecutor(CLIENTS) as pool:
        clients = [pool.submit(stray, relay, seed, enough) for seed in range(CLIENTS)]
        new = relay.key_file.with_suffix(".new")
        while time.monotonic() < end:
            new.write_text(f"sk-{time.monotonic()}")
            os.replace(new, relay.key_file)
            time.sleep(0.001)
        if stops:
            relay.process.send_signal(signal.SIGTERM)
            assert relay.process.wait(PATIENCE) == 0, relay.log()[-5000:]
        enough.set()
        return sum(client.result() for client in clients)


def main(program, scheme, seconds=3.0):
    upstream, failed, context = Upstream(), [], None
    folder = tempfile.TemporaryDirectory()
    own = identity(pathlib.Path(folder.name, "own.pem"), "localhost")
    if scheme == "https":
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(own)
    threading.excepthook = lambda thread: failed.append(thread.exc_value)
    upstream.serve_each(functools.partial(serve, context))
    relay = Relay(f"{scheme}://localhost:{upstream.port}", program=program, environment={
        "SSL_CERT_FILE": str(own),
        "ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "") + ":quarantine_size_mb=1:malloc_context_size=1"})
    storm(relay, 2)
    before = relay.resident_bytes()
    count = storm(relay, float(seconds))
    grown, files = relay.resident_bytes() - before, len(list((relay.proc / "fd").iterdir()))
    print(f"{count} exchanges; {grown} bytes more, {files} files open", *failed, sep="\n")
    assert count > 100 and not failed and "internal error" not in relay.log()
    assert grown < 2_000_000 and files <= 16 + CLIENTS  # as many are kept for the next requests
    storm(relay, 0.5, stops=True)
    assert not failed, failed


main(*sys.argv[1:])
