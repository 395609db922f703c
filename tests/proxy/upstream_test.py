"""How the relay comes by its connections to the upstream, and when it lets go of them."""

import re
import signal
import socket
import ssl
import subprocess
import time

from peers import LAST, OK, PATIENCE, Connection, RelayTest, Upstream, deaf, eventually, surrounded
from tls import TlsTest


class UpstreamConnection(RelayTest):
    def test_is_replaced_when_it_was_closed_just_before_it_was_to_be_used(self):
        client, side = self.relay.joined(self.upstream)
        self.complete(client, side)
        self.relay.process.send_signal(signal.SIGSTOP)
        client.send(self.relay.request())
        side.close()
        self.relay.process.send_signal(signal.SIGCONT)
        self.complete(client, self.upstream.accept())

    def test_is_probed_by_the_kernel_when_nothing_comes(self):
        held = self.relay.joined(self.upstream)
        seen = subprocess.run(["ss", "-tno", "dst", f"127.0.0.1:{self.upstream.port}"], stdout=subprocess.PIPE, text=True).stdout
        self.assertTrue(held)
        self.assertRegex(seen, r"timer:\(keepalive,(30|29)")

    def test_is_closed_after_50_seconds_at_rest_and_no_other_one_is_opened(self):
        relay = self.start(self.upstream.url, environment=surrounded(FERRIN_SPEED="40"))
        client, side = relay.joined(self.upstream)
        self.complete(client, side)
        self.assertTrue(1.2 < side.time_to_end() < 2.5)
        self.assertTrue(self.upstream.silent(0.2))
        client.send(relay.request())
        self.complete(client, self.upstream.accept())


class WebSocket(RelayTest):
    ASKED = ("GET /v1/ws", "Connection: Upgrade", "Upgrade: websocket",
             "Sec-WebSocket-Protocol: realtime, openai-insecure-api-key.sk-mine, beta")

    def test_without_an_answer_is_refused_at_once_for_a_while(self):
        for leave in (Connection.close, Connection.reset, lambda side: None):
            relay = self.start(self.upstream.url, environment=surrounded(FERRIN_SPEED="20"))
            self.complete(*relay.joined(self.upstream))  # whose connection, kept, proves nothing
            client = relay.client(*self.ASKED)
            side = self.upstream.accept()
            self.assertIn("\r\nSec-WebSocket-Protocol: realtime, beta\r\n", side.until())
            leave(side)
            self.assert_refused(client.message(), "426 upgrade_required")
            client.send(relay.request(*self.ASKED))
            self.assert_refused(client.message(), "426 upgrade_required")
            self.assertTrue(self.upstream.silent(0.05))


class Names(RelayTest):
    def test_are_looked_up_for_each_connection_and_hold_up_nothing_else(self):
        addresses = self.folder / "addresses"
        addresses.write_text("")
        relay, near = (self.start(f"http://{name}:{self.upstream.port}", environment=surrounded(FERRIN_ADDRESSES=str(addresses)))
                       for name in ("listed.example", "LocalHost"))
        self.complete(*near.joined(self.upstream))  # without any look-up
        leaving = relay.client("GET /v1/leaving")
        self.assertTrue(leaving.silent(0.3))
        leaving.close()
        relay.logs("GET /v1/leaving 0 in=0 out=0 first=- total=")
        staying = relay.client("GET /v1/staying")
        time.sleep(0.3)  # for so long, another request joins the look-up
        sockets, second = deaf("127.0.0.3", self.upstream.port), Upstream("127.0.0.2", self.upstream.port)
        for found, upstream in (("127.0.0.1", self.upstream), ("127.0.0.2", second),
                                ("100::1\n::1\n127.0.0.3\n127.0.0.1", self.upstream)):  # no way, nobody, and a deaf one
            addresses.write_text(found + "\n")
            self.complete(*relay.joined(upstream), LAST)
        sockets[0].close()
        start = time.monotonic()
        relay.process.send_signal(signal.SIGTERM)
        self.assertEqual(staying.rest(), "<reset>")
        self.assertEqual(relay.process.wait(PATIENCE), 0)
        self.assertLess(time.monotonic() - start, 1)


class Tls(TlsTest):
    """The upstream's certificate is the relay's only root."""

    def trusting(self, root, port):
        return self.start(f"https://localhost:{port}", environment={"SSL_CERT_FILE": str(root)})

    def test_is_verified_named_resumed_and_not_at_its_end_without_farewell(self):
        relay, context = self.trusting(self.own, self.upstream.port), self.context(self.own)
        for resumed in (False, True):
            client = relay.client("GET /v1", more=relay.request("GET /v1?x"))
            head, reused = self.serve(self.upstream.accept(), context, OK, LAST, farewell=False)
            self.assertEqual(client.message() + client.message(), OK + OK)
            self.assertTrue(head.startswith("GET /?x HTTP/1.1\r\nHost: localhost:"))
            self.assertEqual((reused, self.names.pop()), (resumed, "localhost"))
        client = relay.client()
        self.serve(self.upstream.accept(), context, "HTTP/1.1 200 OK\r\n\r\npartial", farewell=False)
        self.assertTrue(client.rest().endswith("<reset>"))
        relay.logs("end=truncated")

    def test_is_refused_when_it_can_not_be_verified(self):
        misnamed = self.identity("other.example")
        for shown, trusted, newest, cause in (
                (self.identity("localhost"), self.own, ssl.TLSVersion.TLSv1_3, "self-signed certificate; add its issuer to"),
                (misnamed, misnamed, ssl.TLSVersion.TLSv1_3, "hostname mismatch; it is another host's: check the provider's address"),
                (self.own, self.own, ssl.TLSVersion.TLSv1_1, "protocol version")):
            wary = self.trusting(trusted, self.upstream.port)
            client = wary.client()
            with self.assertRaises((OSError, EOFError)):
                self.serve(self.upstream.accept(), self.context(shown, newest), OK)
            self.assert_refused(client.message(), "502 upstream_unreachable")
            wary.logs(cause)

    def test_is_verified_with_the_roots_as_they_are_now(self):
        roots, other = self.folder / "roots", self.identity("localhost")
        roots.symlink_to(other)
        relay, context = self.trusting(roots, self.upstream.port), self.context(self.own)
        for trusted in (False, True, True, False, True):
            roots.unlink()
            roots.symlink_to(self.own if trusted else other)
            client = relay.client()
            if trusted:
                self.serve(self.upstream.accept(), context, LAST)
                self.assertTrue(client.message().startswith("HTTP/1.1 200 OK\r\n"))
            else:
                with self.assertRaises((OSError, EOFError)):
                    self.serve(self.upstream.accept(), context, LAST)
                self.assert_refused(client.message(), "502 upstream_unreachable")

    def test_stays_fit_and_at_rest_when_only_tls_itself_sends_something(self):
        with subprocess.Popen(["openssl", "s_server", "-accept", "127.0.0.1:0", "-key", self.own, "-cert", self.own],
                              stdin=subprocess.PIPE, stdout=open(self.folder / "told", "wb"), bufsize=0) as server:
            self.addCleanup(server.kill)
            told = lambda text: eventually(lambda: re.search(text, (self.folder / "told").read_text()))
            relay = self.trusting(self.own, told(r"ACCEPT 127.0.0.1:(\d+)")[1])
            client = relay.client("GET /v1/a")
            self.assertTrue(told("GET /a"))
            server.stdin.write(OK.encode())
            self.assertEqual(client.message(), OK)
            before = relay.processor_seconds()
            server.stdin.write(b"k\n")  # a key update
            time.sleep(0.5)
            self.assertLess(relay.processor_seconds() - before, 0.15)
            client.send(relay.request("GET /v1/b"))
            self.assertTrue(told("GET /b"))
            server.stdin.write(OK.encode())
            self.assertEqual(client.message(), OK)
            relay.logs("upstream=reused end=complete")
            server.kill()
