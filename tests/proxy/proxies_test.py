"""The way to the upstream through a proxy, which the test plays."""

import base64
import contextlib
import socket
import time

from peers import LAST, OK, TlsTest, deaf, surrounded

LOGIN = "me:a%20b@"
FIELD = f"Proxy-Authorization: Basic {base64.b64encode(b'me:a b').decode()}\r\n"
ESTABLISHED = "HTTP/1.1 200 Connection established\r\n\r\n"
REPLY = "\5\0\0\1\x7f\0\0\1\0\0"


def named(host, port):
    """SOCKS: asks for a connection to a host by its name."""
    return "\5\1\0\3" + chr(len(host)) + host + chr(port >> 8) + chr(port & 255)


class ProxyTest(TlsTest):
    """self.upstream is the proxy: nothing else can be reached."""

    def through(self, url, scheme="http", login=LOGIN, **variables):
        proxy = f"{scheme}://{login}127.0.0.1:{self.upstream.port}"
        relay = self.start(url, environment={"all_proxy": proxy, "SSL_CERT_FILE": str(self.own)} | variables)
        self.addCleanup(lambda: self.assertNotIn("a b", relay.log().replace("%20", " ")))
        return relay

    def looking_up(self, *addresses):
        file = self.folder / "addresses"
        file.write_text("".join(f"{address}\n" for address in addresses))
        return surrounded(FERRIN_ADDRESSES=str(file))

    def talk(self, side, *steps):
        """What the proxy reads and answers in turn, byte by byte."""
        for expected, answer in steps:
            self.assertEqual(side.read(len(expected)), expected)
            with contextlib.suppress(OSError):  # it may have seen enough
                for byte in answer:
                    side.send(byte)


class Proxies(ProxyTest):
    def test_are_asked_in_absolute_form_for_http_and_the_connection_is_kept(self):
        relay = self.through("http://api.example:81/base")
        client, head = relay.client("GET /v1/a?b", "Proxy-Authorization: Basic c2VjcmV0"), ""
        side = self.upstream.accept()
        for use in ("new", "reused"):
            head = side.until()
            start = f"GET http://api.example:81/base/a?b HTTP/1.1\r\nHost: api.example:81\r\n{FIELD}"
            self.assertEqual(head, f"{start}Authorization: Bearer sk-test-key\r\n\r\n")
            self.complete(client, side)
            relay.logs(f"upstream={use} via=127.0.0.1:{self.upstream.port} end=complete\n")
            client.send(relay.request("GET /v1/a?b"))
        self.assertIn(f", upstream api.example via 127.0.0.1:{self.upstream.port}, started by", relay.log())
        side.until()
        side.send("HTTP/1.1 407 Proxy Authentication Required\r\nContent-Length: 0\r\n\r\n")
        self.assert_refused(client.message(), "502 upstream_unreachable")
        relay.logs(f'cause="proxy 127.0.0.1:{self.upstream.port}: refused with status 407; put its user')

    def test_give_a_tunnel_in_which_the_upstream_is_verified(self):
        self.own = self.identity("api.example")
        asked = f"CONNECT api.example:8443 HTTP/1.1\r\nHost: api.example:8443\r\n{FIELD}\r\n"
        for shown, served in ((self.own, True), (self.identity("other.example"), False)):
            relay = self.through("https://api.example:8443/v1")
            client, side = relay.client("GET /v1/a", more=relay.request("GET /v1/b")), self.upstream.accept()
            self.talk(side, (asked, "HTTP/1.0 102 Processing\r\n\r\n" + ESTABLISHED))
            if served:
                head, _ = self.serve(side, self.context(shown), OK, LAST)
                self.assertEqual(head, "GET /v1/b HTTP/1.1\r\nHost: api.example:8443\r\nAuthorization: Bearer sk-test-key\r\n\r\n")
                self.assertEqual(client.message() + client.message(), OK + OK)
                relay.logs(f"upstream=reused via=127.0.0.1:{self.upstream.port} end=complete")
            else:
                with self.assertRaises(OSError):
                    self.serve(side, self.context(shown), OK)
                self.assert_refused(client.message(), "502 upstream_unreachable")
                relay.logs('cause="connect: certificate not trusted')

    def test_speak_socks_with_the_upstreams_name_or_its_address(self):
        login = [("\5\2\0\2", "\5\2"), ("\1\2me\3a b", "\1\0")]
        free = [("\5\1\0", "\5\0")]
        for scheme, user, host, steps in (
                ("socks5h", "", "api.example", [*free, (named("api.example", 80), REPLY)]),
                ("socks5h", LOGIN, "api.example", [*login, (named("api.example", 80), "\5\0\0\3\4here\0\0")]),
                ("socks5h", LOGIN, "192.0.2.1", [("\5\2\0\2", "\5\0"), ("\5\1\0\1\xc0\0\2\1\0P", REPLY)]),
                ("socks5", "", "api.example", [*free, ("\5\1\0\1\xc0\0\2\7\0P", "\5\0\0\4" + 18 * "\0")]),
                ("socks5", "", "[2001:db8::5]", [*free, ("\5\1\0\4\x20\1\r\xb8" + 11 * "\0" + "\5\0P", REPLY)])):
            with self.subTest(f"{scheme} {user} {host}"):
                relay = self.through(f"http://{host}", scheme, user, **self.looking_up("192.0.2.7"))
                client, side = relay.client(), self.upstream.accept()
                self.talk(side, *steps)
                for use in ("new", "reused"):
                    self.assertTrue(side.until().startswith(f"GET /a HTTP/1.1\r\nHost: {host}\r\nAuth"))
                    self.complete(client, side)
                    relay.logs(f"upstream={use} via=127.0.0.1:")
                    client.send(relay.request())
        self.own = self.identity("api.example")
        relay = self.through("https://api.example", "socks5h", "")
        client, side = relay.client(), self.upstream.accept()
        self.talk(side, *free, (named("api.example", 443), REPLY))
        self.serve(side, self.context(self.own), LAST)
        self.assertEqual(client.message(), OK)

    def test_are_looked_up_and_raced_and_not_asked_for_this_machine(self):
        sockets, place = deaf("127.0.0.3", self.upstream.port), f"proxy.example:{self.upstream.port}"
        relay = self.start("http://api.example", environment=self.looking_up("127.0.0.3", "127.0.0.1") | {"http_proxy": place})
        self.complete(*relay.joined(self.upstream))
        relay.logs(f" via={place} end=complete")
        sockets[0].close()
        direct = self.start(self.upstream.url, environment={"http_proxy": "127.0.0.9:1"})
        self.complete(*direct.joined(self.upstream))
        direct.logs("upstream=new end=complete")

    def test_that_refuse_are_named_with_what_helps(self):
        rights, allowed = "put its user and password into", "check the provider's address, and that"
        other = "start that proxy, or correct"
        choice = ("\5\2\0\2", "\5\2")
        for scheme, steps, cause, remedy in (
                ("http", [("CONNECT", "HTTP/1.1 407 Login\r\n\r\n")], "refused with status 407", rights),
                ("http", [("CONNECT", "HTTP/1.1 403 No\r\nContent-Length: 9\r\n\r\n")], "refused with status 403", allowed),
                ("http", [("CONNECT", "HTTP/1.1 302 Login\r\nLocation: /\r\n\r\n")], "refused with status 302", allowed),
                ("http", [("CONNECT", "SSH-2.0-OpenSSH_9.2\r\n")], "did not answer as an HTTP proxy does", other),
                ("http", [("CONNECT", "")], "closed without a reply", other),
                ("socks5h", [("\5", "HTTP/1.1 400 Bad\r\n\r\n")], "did not answer as a SOCKS 5 proxy does", other),
                ("socks5h", [("\5\2\0\2", "\5\xff")], "refused to serve without another login", rights),
                ("socks5h", [choice, ("\1\2me\3a b", "\1\1")], "refused the user or the password", rights),
                ("socks5h", [choice, ("\1\2me\3a b", "\1\0"), (named("api.example", 443), "\5\4\0\1" + 6 * "\0")],
                 "reports host unreachable", allowed),
                ("socks5h", [choice, ("\1\2me\3a b", "\1\0"), (named("api.example", 443), "\5\x09\0\1" + 6 * "\0")],
                 "reports an unknown failure", allowed),
                ("socks5h", [choice, ("\1\2me\3a b", "\1\0\5\0")], "closed without a reply", other)):
            with self.subTest(cause):
                relay = self.through("https://api.example", scheme)
                client, side = relay.client(), self.upstream.accept()
                self.talk(side, *steps)
                side.socket.shutdown(socket.SHUT_WR)
                self.assert_refused(client.message(), "502 upstream_unreachable")
                relay.logs(f'cause="connect: proxy 127.0.0.1:{self.upstream.port}: {cause}; {remedy}')
                self.assertTrue(self.upstream.silent(0))

    def test_that_can_not_be_used_are_named_and_nothing_goes_around_them(self):
        with socket.create_server(("127.0.0.1", 0)) as briefly:
            dead = f"127.0.0.1:{briefly.getsockname()[1]}"
        upstream = f"http://no-such-host.invalid:{self.upstream.port}"
        for proxy, cause in ((f"http://{LOGIN}{dead}", f"connect: proxy {dead}: 127.0.0.1: Connection refused; start that"),
                             (f"socks5://127.0.0.1:{self.upstream.port}", "connect: no-such-host.invalid: "),
                             (f"https://{LOGIN}{dead}", "connect: the relay speaks to no proxy of the kind https://; start")):
            with self.subTest(cause):
                relay = self.start(upstream, environment={"http_proxy": proxy})
                self.assert_refused(relay.answer(), "502 upstream_unreachable")
                relay.logs(f'cause="{cause}')
                self.assertNotIn(LOGIN, relay.log())

    def test_that_are_slow_are_given_up_in_time_or_with_the_client(self):
        sockets = deaf()
        port = sockets[0].getsockname()[1]
        asked, socks = [("CONNECT", "HTTP/1.1 2")], [("\5\2\0\2", "\5\2"), ("\1\2me\3a b", "\1\0"), ("\5\1", "\5")]
        rows = [("http", steps) for steps in ([], asked)] + [("socks5h", socks[:count]) for count in range(4)]
        for scheme, steps in rows:
            relay = self.through("https://api.example", scheme, **surrounded(FERRIN_SPEED="10"))
            with self.subTest(f"{scheme}, {len(steps)} steps"):
                self.give_up(relay, lambda: self.upstream.accept(), steps, f"proxy 127.0.0.1:{self.upstream.port}: ")
        relay = self.through("https://api.example", **surrounded(FERRIN_SPEED="10"))
        self.give_up(relay, lambda: self.upstream.accept(), [("CONNECT", ESTABLISHED)], "")
        relay = self.start("http://api.example", environment={"http_proxy": f"127.0.0.1:{port}"} | surrounded(FERRIN_SPEED="10"))
        self.give_up(relay, lambda: None, [], f"proxy 127.0.0.1:{port}: ")
        sockets[0].close()

    def give_up(self, relay, accept, steps, name):
        """Of two clients one leaves, and the other waits until the relay has waited for long enough."""
        start, sides = time.monotonic(), []
        for client in (relay.client("GET /v1/leaving"), relay.client("GET /v1/staying")):
            sides.append((client, accept()))
            if sides[-1][1]:
                self.talk(sides[-1][1], *steps)
        (leaving, first), (staying, _) = sides
        self.assertTrue(leaving.silent(0.1))
        leaving.close()
        if first:
            self.assertLess(first.time_to_end(), 0.8)
        relay.logs("GET /v1/leaving 0 ")
        self.assertLess(time.monotonic() - start, 0.9)
        self.assert_refused(staying.message(), "502 upstream_unreachable")
        self.assertTrue(0.9 < time.monotonic() - start < 2)
        relay.logs(f'cause="connect: {name}no connection in time; ')
