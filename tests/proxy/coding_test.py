"""Bodies that are decoded on their way to the upstream."""

import subprocess
import time

from peers import Connection, RelayTest

TEXT = '{"model": "m", "input": "' + "word by word " * 9_000 + '"}'
ZEROS = 64_000_000


def zstd(text, *options):
    """The bytes, as Latin-1, of a frame that declares its content's size unless `options` say otherwise."""
    size = [] if "--no-content-size" in options else [f"--stream-size={len(text)}"]
    return subprocess.run(["zstd", "-c", *options, *size], input=text.encode("latin-1"), stdout=subprocess.PIPE,
                          check=True).stdout.decode("latin-1")


def chunked(text, size=1000):
    return "".join(f"{len(text[at:at + size]):x}\r\n{text[at:at + size]}\r\n" for at in range(0, len(text), size)) + "0\r\n\r\n"


class Zstd(RelayTest):
    def send(self, body, framing, pieces=1):
        """A client that has sent such a request in so many pieces."""
        client = Connection(self.relay.port)
        request = self.relay.request("POST /v1/a", "Content-Encoding: zstd", framing, more=body)
        step = -(-len(request) // pieces)
        for at in range(0, len(request), step):
            client.send(request[at:at + step])
        return client

    def test_reaches_the_upstream_decoded_and_framed_anew(self):
        unsized = zstd(TEXT, "--no-content-size")
        for name, body, pieces, framed in (
                ("with its size", zstd(TEXT), 1, f"Content-Length: {len(TEXT)}"),
                ("in many pieces", zstd(TEXT), 300, ""),
                ("two frames in pieces", zstd(TEXT[:9]) + zstd(TEXT[9:]), 7, ""),
                ("two frames at once", zstd(TEXT[:9]) + zstd(TEXT[9:]), 1, f"Content-Length: {len(TEXT)}"),
                ("without its size", unsized, 1, "Transfer-Encoding: chunked"),
                ("two frames without their sizes", 2 * unsized, 7, "")):
            for length in (f"Content-Length: {len(body)}", "Transfer-Encoding: chunked"):
                with self.subTest(f"{name}, {length}"):
                    sent = body if length.startswith("C") else chunked(body)
                    client = self.send(sent + self.relay.request("GET /v1/next"), length, pieces)
                    side = self.upstream.accept()
                    head = side.until()
                    self.assertNotIn("ncoding: zstd", head)
                    if pieces == 1:
                        self.assertIn(f"\r\n{framed}\r\n", head)
                    self.assertEqual(side.body(head)[1], TEXT * (2 if body == 2 * unsized else 1))
                    self.complete(client, side)
                    self.assertIn("/next", side.until())
                    self.complete(client, side)
                    side.close()

    def test_that_grows_a_thousandfold_takes_little_memory_and_waits_for_a_slow_upstream(self):
        body = zstd(ZEROS * "\0")
        self.assertLess(len(body), 20_000)
        before = self.relay.resident_bytes()
        client = self.send(body, f"Content-Length: {len(body)}")
        side = self.upstream.accept()
        side.until()
        self.assertTrue(client.silent(0.5))  # while the upstream reads nothing
        self.assertLess(self.relay.resident_bytes() - before, 12_000_000)  # the window's 8 MiB among them
        self.assertTrue(side.read(ZEROS) == ZEROS * "\0")
        self.complete(client, side)

    def test_ends_with_its_client_while_the_upstream_reads_on(self):
        body = zstd(ZEROS * "\0")
        client = self.send(body, f"Content-Length: {len(body)}")
        side = self.upstream.accept()
        side.until()
        client.close()
        with self.assertRaises(EOFError):
            for _ in range(ZEROS // 500_000):
                side.read(500_000)
                time.sleep(0.01)

    def test_that_is_broken_is_refused_and_never_whole_for_the_upstream(self):
        whole, unsized = zstd(TEXT), zstd(TEXT, "--no-content-size")
        for name, body in (("not zstd", "hello, this is not what it says"), ("cut off", whole[:-9]), ("cut off, unsized", unsized[:-9]),
                           ("wrong checksum", whole[:-1] + "x"), ("wrong checksum, unsized", unsized[:-1] + "x"),
                           ("rubbish at the end", whole + "x"), ("window of 128 MiB", zstd(ZEROS * "\0", "--long=27", "--no-content-size"))):
            with self.subTest(name):
                client = self.send(body, f"Content-Length: {len(body)}")
                self.assert_refused(client.message(), "400 bad_request")
                if not self.upstream.silent(0.05):
                    side = self.upstream.accept()
                    self.assertRaises(EOFError, side.body, side.until())
