"""What passes through the relay byte for byte, and what it refuses."""

import itertools
import pathlib
import time

from peers import OK, Connection, RelayTest, filled, request_rows, table, unescaped

CONVERSATIONS = (pathlib.Path(__file__).parent / "conversations.txt").read_text().split("\n--- ")[1:]


class Forwarding(RelayTest):
    def converse(self, relay, script):
        """Plays the lines of one conversation; neighbours of a kind at once."""
        script = filled(script, RELAY=f"127.0.0.1:{relay.port}", UPSTREAM=self.upstream.url[7:], PORT=relay.port)
        ends = {"C": None, "U": None}
        new = {"C": lambda: Connection(relay.port), "U": self.upstream.accept}
        for (side, kind), lines in itertools.groupby(script.splitlines(), lambda line: line[:2]):
            end = ends[side] = ends[side] or new[side]()
            lines = [line[3:] for line in lines]
            text = unescaped("".join(line[:-1] if line.endswith("\\") else line + r"\r\n" for line in lines))
            if kind == ">":
                end.send(text)
            elif kind == "<":
                self.assertEqual(end.read(len(text)), text)
            elif text.startswith("sees"):
                self.assertEqual(end.rest(), text[5:-2])
            else:
                getattr(end, lines[0])()
            if kind == "=":
                ends[side] = None
        self.assertFalse(any(end and end.buffer for end in ends.values()) or not self.upstream.silent(0.02))

    def test_conversations(self):
        relay = self.start(self.upstream.url + "/base/v1")
        for conversation in CONVERSATIONS:
            name, _, script = conversation.partition("\n")
            with self.subTest(name):
                self.converse(relay, script.strip())
        relay.logs("POST /v1/responses 200 in=2 out=5 first=")  # and nothing behind the question mark
        relay.logs("GET /v1/ws 101 in=128 out=4 ")
        relay.logs("BREW /v1/\\xC3\\xA9 304 ")
        relay.logs("end=truncated")
        relay.logs("end=client-gone")
        self.assertIn("upstream=reused end=complete", relay.log())

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

    def test_refusals_by_the_provider_are_explained_in_the_log(self):
        for status, path, cause in ((401, "/v1/a", "refused the key; save the right one in Ferrin Relay"),
                                    (404, "/v1/responses", "may not offer the Responses API; ask it, and check the address"),
                                    (404, "/v1/a", "has nothing at this address; check the address, and the model's name"),
                                    (429, "/v1/a", "wait, or raise it there"),
                                    (500, "/v1/a", "")):
            client, side = self.relay.joined(self.upstream, f"POST {path}")
            side.send(f"HTTP/1.1 {status} No\r\nConnection: close\r\nContent-Length: 0\r\n\r\n")
            client.message()
            expected = f'end=complete cause="[^"]*{cause}"' if cause else "end=complete$"
            self.assertRegex(self.relay.line(f"POST {path} {status}"), expected)

    def test_health_is_reported_without_asking_the_upstream(self):
        self.assertRegex(self.relay.answer("GET /healthz"), r'^HTTP/1.1 200 OK\r\n[^{]*{"status":"ok",'
                         r'"version":"[\d.]+","upstream":"127.0.0.1","connections":1,"requests_in_flight":0}$')
        self.assertTrue(self.upstream.silent(0.05))
