"""What passes through the relay in whatever pieces it comes, and what it refuses."""

import time

from peers import OK, Connection, RelayTest
from tables import request_rows, table, unescaped


class Forwarding(RelayTest):
    def test_bodies_pass_as_they_come(self):
        chunks = "5;ext=1\r\nhe\xe9l\n\r\n1\r\n\n\r\n0\r\n"
        lines = "".join(f"{number} bytes\0\r\n\xff" for number in range(200_000))
        blocks = [lines[at:at + 50_000] for at in range(0, len(lines), 50_000)]
        for framing, pieces in (("Transfer-Encoding: chunked", [*chunks, "\r\n"]), (f"Content-Length: {len(lines)}", blocks)):
            client, side = self.relay.joined(self.upstream, "POST /v1/up", framing)
            for sender, receiver, head in ((client, side, ""), (side, client, f"HTTP/1.1 200 OK\r\n{framing}\r\n\r\n")):
                sender.send(head)
                self.assertEqual(receiver.read(len(head)), head)
                for piece in pieces:
                    sender.send(piece)
                    self.assertTrue(receiver.read(len(piece)) == piece)
            side.close()

    def test_a_head_may_come_in_pieces_and_name_many_fields(self):
        """Fields that Connection names are looked for in time, however many there are."""
        start, client = time.monotonic(), Connection(self.relay.port)
        request = self.relay.request("GET /v1/a", "Connection: a" + 16_000 * ",a" + ",b", *["b:"] * 7_500)
        for at in range(0, len(request), 1_009):
            client.send(request[at:at + 1_009])
        side = self.upstream.accept()
        self.assertNotIn("b:", side.until())
        self.complete(client, side)
        self.assertLess(time.monotonic() - start, 3)
        for sender, receiver, whole in ((client, side, self.relay.request()), (side, client, OK)):
            for byte in whole:
                sender.send(byte)
            receiver.message()

    def test_refused_requests_never_reach_the_upstream(self):
        rows = [row for row in request_rows(self.relay.port) if not row[0].startswith("passed")]
        rows += [("431 headers_too_large", f"head over 64 KiB, {end!r} behind it",
                  self.relay.request("GET /v1/a", "X: " + 66_000 * "x")[:-4] + end) for end in ("\r\n\r\n", 100_000 * "x")]
        for expected, name, request in rows:
            with self.subTest(name):
                client = Connection(self.relay.port)
                client.send(request)
                self.assert_refused(client.message(), expected)
                if expected[:3] in ("400", "431"):  # who knows where the next request would begin
                    self.assertEqual(client.rest(), "")
                if not self.upstream.silent(0):  # connected to already, when the body turned out to be malformed
                    self.assertEqual(self.upstream.accept().rest(), "")

    def test_answers_that_are_none_are_told_to_the_client(self):
        client = Connection(self.relay.port)
        rows = [*table("answers.txt"), ("502 upstream_invalid", "endless head", "HTTP/1.1 200 OK\r\nX: " + 200_000 * "x")]
        for expected, name, answer in rows:
            with self.subTest(name):
                client.send(self.relay.request("POST /v1/a", body="{}"))
                side = self.upstream.accept()
                side.message()
                side.send(unescaped(answer))
                side.close()
                self.assert_refused(client.message(), expected)

    def test_health_is_reported_without_asking_the_upstream(self):
        self.assertRegex(self.relay.answer("GET /healthz"), r'^HTTP/1.1 200 OK\r\n[^{]*{"status":"ok",'
                         r'"version":"[\d.]+","upstream":"127.0.0.1","connections":1,"requests_in_flight":0}$')
        self.assertTrue(self.upstream.silent(0.05))
