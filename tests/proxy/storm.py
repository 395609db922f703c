#!/usr/bin/env python3
"""Stray clients and leaving upstreams, all at once, while the key is replaced: storm.py RELAY [SECONDS]

Nothing is mixed up, answers are checked by content, and nothing is left behind.
"""

import concurrent.futures
import itertools
import os
import random
import re
import sys
import threading
import time

from peers import OK, STREAM, Connection, Relay, Upstream

CLIENTS = 64


class Exchange:
    """What is said in the exchange `mark`, and how much of its answer the upstream sends: the whole, if it stays."""

    def __init__(self, mark):
        self.mark, self.resets = mark, mark % 2 == 0
        self.body = (f"{mark}/" * 3000)[:1 + mark % 3000]
        said = (f"{mark}?" * 25_000)[:mark % 50_000]
        chunks = (said[at:at + 0x500] for at in range(0, len(said), 0x500))
        self.answer = OK.replace("2\r\n\r\nok", f"{len(said)}\r\n\r\n{said}")
        if mark % 3 != 0:
            self.answer = STREAM + "".join(f"{len(chunk):x}\r\n{chunk}\r\n" for chunk in chunks) + "0\r\n\r\n"
        self.sent = self.answer[:mark // 7 % len(self.answer)] if mark % 7 == 0 else self.answer
        self.whole = self.sent == self.answer

    def check_broken_off(self, client):
        """What a reset overtakes is lost: the end of what the client would have seen, or all the relay would have."""
        seen = client.some()
        if "\r\n\r\n" not in self.sent or (self.resets and seen.startswith("HTTP/1.1 502 ")):
            assert seen.startswith("HTTP/1.1 502 "), seen[:50]
        else:
            seen += "" if seen.endswith("<reset>") else client.rest()
            assert seen.endswith("<reset>") and self.sent.startswith(seen[:-7]), (self.mark, seen[:50], seen[-50:])


def serve(side):
    """One connection to the upstream, until either side leaves it."""
    side.socket.settimeout(None)  # an idle one is the relay's to close
    while True:
        try:
            request = side.message()
            exchange = Exchange(int(re.search(r"/(\d+)", request)[1]))
            assert "\r\nAuthorization: Bearer sk-" in request and request.endswith("\r\n\r\n" + exchange.body), request
            side.send(exchange.sent[:len(exchange.sent) // 2])
            side.send(exchange.sent[len(exchange.sent) // 2:])
        except (EOFError, OSError):  # the relay has left
            return side.close()
        if not exchange.whole:
            return side.reset() if exchange.resets else side.close()


def stray(relay, seed, enough):
    """One client after the other, of whom some leave anywhere in their request or in its answer."""
    chance, client = random.Random(seed), None
    for count in itertools.count():
        if enough.is_set():
            return count
        exchange, leaving = Exchange(chance.getrandbits(31)), chance.randrange(8)
        if not client or chance.randrange(4) == 0:
            client = Connection(relay.port)
        request = relay.request(f"POST /v1/{exchange.mark}", body=exchange.body)
        client.send(request[:chance.randrange(len(request))] if leaving == 0 else request)
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


def storm(relay, seconds):
    enough, end = threading.Event(), time.monotonic() + seconds
    with concurrent.futures.ThreadPoolExecutor(CLIENTS) as pool:
        clients = [pool.submit(stray, relay, seed, enough) for seed in range(CLIENTS)]
        new = relay.key_file.with_suffix(".new")
        while time.monotonic() < end:
            new.write_text(f"sk-{time.monotonic()}")
            os.replace(new, relay.key_file)
            time.sleep(0.001)
        enough.set()
        return sum(client.result() for client in clients)


def serve_all(upstream):
    while True:
        threading.Thread(target=serve, args=(upstream.accept(),), daemon=True).start()


def main(program, seconds=3.0):
    upstream, failed = Upstream(), []
    upstream.socket.settimeout(None)
    threading.excepthook = lambda thread: failed.append(thread.exc_value)
    threading.Thread(target=serve_all, args=(upstream,), daemon=True).start()
    relay = Relay(upstream.url, program=program, environment={
        "ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "") + ":quarantine_size_mb=1:malloc_context_size=1"})
    storm(relay, 2)
    before = relay.resident_bytes()
    count = storm(relay, float(seconds))
    grown, files = relay.resident_bytes() - before, len(list((relay.proc / "fd").iterdir()))
    print(f"{count} exchanges; {grown} bytes more, {files} files open", *failed, sep="\n")
    assert count > 100 and not failed and "internal error" not in relay.log()
    assert grown < 2_000_000 and files <= 16 + CLIENTS  # as many are kept for the next requests
    relay.stop()


main(*sys.argv[1:])
