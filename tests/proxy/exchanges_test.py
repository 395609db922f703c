"""Exchanges that end before their time, or take it."""

import select
import signal
import socket
import threading
import time

from peers import OK, RELEASED, STREAM, Connection, RelayTest, needs_released, surrounded

MEGABYTES = 1_000_000
LEAVING = (Connection.close, Connection.reset)


def stalled(sender):
    """Sends all that is taken while nobody reads at the other end; how much that was."""
    sent = 0
    while sent < 40 * MEGABYTES and select.select([], [sender.socket], [], 0.3)[1]:
        sent += sender.socket.send(65536 * b"x", socket.MSG_DONTWAIT)
    return sent


class Exchange(RelayTest):
    def test_an_answer_broken_off_at_any_byte_is_not_taken_for_a_whole_one(self):
        for answer in (STREAM + "5;x\r\nhello\r\n0\r\n\r", OK):
            for sent, leave in ((sent, leave) for sent in range(len(answer)) for leave in LEAVING):
                client, side = self.relay.joined(self.upstream)
                side.send(answer[:sent])
                begun = sent >= answer.index("\r\n\r\n") + 4
                if begun:
                    self.assertEqual(client.read(sent), answer[:sent])
                leave(side)
                seen = client.rest() if begun else client.message()
                self.assertTrue(seen == "<reset>" if begun else seen.startswith("HTTP/1.1 502 "), (sent, seen))
        self.relay.logs('end=truncated cause="closed in mid-response; try again"')

    def test_a_reset_that_a_send_meets_first_is_no_end_either(self):
        client, side = self.relay.joined(self.upstream, "POST /v1/a", "Content-Length: 10")
        side.send("HTTP/1.1 200 OK\r\n\r\nhello")
        client.until("hello\r\n")
        self.relay.process.send_signal(signal.SIGSTOP)
        client.send("x")
        side.reset()
        self.relay.process.send_signal(signal.SIGCONT)
        self.assertEqual(client.rest(), "<reset>")

    def test_the_upstreams_part_ends_within_a_second_of_the_clients_leaving(self):
        for name, more, answer in (
                ("before the answer's head", "whole body", ""), ("in the answer's head", "whole body", "HTTP/1.1 200 O"),
                ("before the first byte", "whole body", STREAM), ("in mid-stream", "whole body", STREAM + "5\r\nhel"),
                ("in mid-upload", "part", ""), ("with the next request sent", "whole body" + self.relay.request(), "")):
            for leave in LEAVING:
                client, side = self.relay.joined(self.upstream, "POST /v1/a", "Content-Length: 10", more=more)
                side.send(answer)
                if answer.endswith("\r\n\r\n"):
                    client.until()
                leave(client)
                self.assertLess(side.time_to_end(), 1, (name, leave))
        for leave in LEAVING:  # a closed connection's end waits behind what was sent before, which nobody reads here
            client, side = self.relay.joined(self.upstream, f"POST /v1/{leave.__name__}", "Content-Length: 100000000")
            stalled(client)
            left = time.monotonic()
            leave(client)
            self.relay.logs(f"POST /v1/{leave.__name__} 0 ")
            self.assertLess(time.monotonic() - left, 1, leave)

    def test_either_side_is_slowed_to_the_others_speed_and_little_is_kept(self):
        for down in (True, False):
            length = f"Content-Length: {40 * MEGABYTES}"
            slow = self.relay.client("POST /v1/big", *([] if down else [length]), room=4096)
            side = self.upstream.accept()
            side.until()
            if down:
                side.send(f"HTTP/1.1 200 OK\r\n{length}\r\n\r\n")
                slow.until()
            before = self.relay.resident_bytes()
            sent = stalled(side if down else slow)
            self.assertLess(sent, 40 * MEGABYTES)  # what the systems' own buffers hold, and no more
            self.assertLess(self.relay.resident_bytes(), before + 4 * MEGABYTES)
            self.assertTrue((slow if down else side).read(sent) == sent * "x")

    def test_an_answer_ends_wherever_a_slow_reader_keeps_its_end_waiting(self):
        slow, side = self.relay.joined(self.upstream, room=4096)
        for size in range(60_000, 5 * MEGABYTES, 60_000):  # the end waits in the systems' buffers, or in the relay
            answer = OK.replace("2\r\n\r\nok", f"{size}\r\n\r\n{size * 'x'}")
            sending = threading.Thread(target=side.send, args=(answer,))
            sending.start()
            time.sleep(0.02)
            self.assertTrue(slow.read(len(answer)) == answer)
            sending.join()
            slow.send(self.relay.request())
            side.until()

    @needs_released
    def test_a_stream_that_waits_keeps_nothing_of_its_requests_size(self):
        relay, waiting = self.start(self.upstream.url, program=RELEASED), []
        def grown_by(count, text):
            before = relay.resident_bytes()
            for _ in range(count):
                client, side = relay.joined(self.upstream, "POST /v1/a", f"X: {text}", body=text)
                side.read(len(text))
                side.send(STREAM)
                client.until()
                waiting.append((client, side))
            return relay.resident_bytes() - before
        grown_by(20, 30_000 * "x")  # what all of them share
        self.assertLess(grown_by(100, 30_000 * "x"), grown_by(100, "x") + 1_000_000)

    def test_what_arrived_while_the_relay_was_stopped_counts_before_any_limit(self):
        relay = self.start(self.upstream.url, timeout=2)
        pairs = [relay.joined(self.upstream) for _ in range(300)]  # more than one turn reports
        for client, side in pairs:
            side.send(STREAM)
            client.until()
        relay.process.send_signal(signal.SIGSTOP)
        for _, side in pairs:
            side.send("1\r\nx\r\n")
        time.sleep(2.2)
        relay.process.send_signal(signal.SIGCONT)
        for client, _ in pairs:
            self.assertEqual(client.read(6), "1\r\nx\r\n")
        self.assertNotIn("end=truncated", relay.log())

    def test_silence_ends_an_exchange_and_the_time_of_day_does_not(self):
        clock = self.folder / "clock"
        clock.write_text("0")
        relay = self.start(self.upstream.url, timeout=1, environment=surrounded(FERRIN_CLOCK=str(clock)))
        client, side = relay.joined(self.upstream)
        self.assert_refused(client.message(), "504 upstream_timeout")
        client, side = relay.joined(self.upstream, "POST /v1/a", "Content-Length: 2", more="x")
        self.assert_refused(client.message(), "408 request_timeout")
        clock.write_text("1000000000")
        client, side = relay.joined(self.upstream, "POST /v1/a", "Content-Length: 2")
        for sender, receiver, pieces in ((client, side, "xx"), (side, client, [STREAM, "1\r\nx\r\n", "1\r\nx\r\n"])):
            for piece in pieces:
                self.assertTrue(client.silent(0.6))
                sender.send(piece)
                self.assertEqual(receiver.read(len(piece)), piece)
        self.assertTrue(0.8 < client.time_to_end() < 2.5)
        slow, side = relay.client("GET /v1/slow", room=4096), self.upstream.accept()
        side.send("HTTP/1.1 200 OK\r\nContent-Length: 100000000\r\n\r\n")
        stalled(side)
        self.assertLess(side.time_to_end(), 3)
        self.assertIn('end=truncated cause="the client took no byte for too long"', relay.line("GET /v1/slow 200"))
        self.assertEqual(relay.log().count('end=truncated cause="no byte for too long; try again"'), 1)
        self.assertIn("\n19", relay.log())  # the year: the clock did go back
