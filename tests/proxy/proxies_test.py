"""Proxies and upstreams that can't be reached, refuse or are slow; and proxies.txt, what is said to those that serve."""

import contextlib
import os
import socket
import time

from conversations_test import Player, conversations
from peers import RelayTest, deaf, surrounded
from tables import table, unescaped

LOGIN = "me:a%20b@"


class Way(RelayTest):
    """self.upstream is the proxy, unless nothing is set."""

    def setUp(self):
        super().setUp()
        self.place = self.upstream.url[7:]
        with socket.create_server(("127.0.0.1", 0)) as briefly:
            self.dead = f"127.0.0.1:{briefly.getsockname()[1]}"

    def reply(self, side, replies):
        """Each when something has come, and byte by byte."""
        for reply in replies:
            side.some()
            with contextlib.suppress(OSError):  # the relay may have seen enough
                for byte in unescaped(reply):
                    side.send(byte)

    def test_to_a_proxy_is_looked_up_and_raced_and_to_this_machine_needs_none(self):
        sockets, place = deaf("127.0.0.3", self.upstream.port), f"proxy.example:{self.upstream.port}"
        addresses = self.folder / "addresses"
        addresses.write_text("127.0.0.3\n127.0.0.1\n")
        relay = self.start("http://api.example", environment=surrounded(FERRIN_ADDRESSES=str(addresses), http_proxy=place))
        self.complete(*relay.joined(self.upstream))
        relay.logs(f" via={place} end=complete")
        sockets[0].close()
        direct = self.start(self.upstream.url, environment={"http_proxy": "127.0.0.9:1"})
        self.complete(*direct.joined(self.upstream))
        direct.logs("upstream=new end=complete")

    def test_that_a_proxy_refuses_is_explained(self):
        for cause, scheme, replies in table("refusals.txt"):
            with self.subTest(cause):
                relay = self.start("https://api.example", environment={"https_proxy": f"{scheme}://{LOGIN}{self.place}"})
                client, side = relay.client(), self.upstream.accept()
                self.reply(side, replies.split(" | "))
                side.socket.shutdown(socket.SHUT_WR)
                self.assert_refused(client.message(), "502 upstream_unreachable")
                relay.logs(f'cause="connect: proxy {self.place}: {cause}')
                self.assertTrue(self.upstream.silent(0))

    def test_that_is_none_is_explained_and_nothing_goes_around_a_proxy(self):
        lost, other = f"http://no-such-host.invalid:{self.upstream.port}", "start that proxy, or"
        for url, proxy, cause in (
                (f"http://{self.dead}", "", "127.0.0.1: Connection refused; check the provider's address"),
                (lost, "", "no-such-host.invalid: "), (lost, f"socks5://{self.place}", "no-such-host.invalid: "),
                (lost, f"http://{LOGIN}{self.dead}", f"proxy {self.dead}: 127.0.0.1: Connection refused; {other}"),
                (lost, f"https://{LOGIN}{self.dead}", f"the relay speaks to no proxy of the kind https://; {other}")):
            with self.subTest(cause):
                relay = self.start(url, environment={"http_proxy": proxy})
                client = relay.client("POST /v1/a", body="GET /v1/hidden HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n")
                self.assert_refused(client.message(), "502 upstream_unreachable")
                relay.logs(f'cause="connect: {cause}')
                client.send(relay.request())  # the body is not taken for it
                self.assert_refused(client.message(), "502 upstream_unreachable")
                self.assertNotRegex(relay.log(), f"hidden|{LOGIN}")

    def test_that_is_slow_is_given_up_in_time_or_with_the_client(self):
        sockets = deaf()
        deaf_place = f"127.0.0.1:{sockets[0].getsockname()[1]}"
        api, http, socks = "https://api.example", f"http://{self.place}", f"socks5h://{LOGIN}{self.place}"
        steps, culprit = [r"\x05\x02", r"\x01\x00", r"\x05"], f"proxy {self.place}: "
        for url, proxy, replies, blamed in (
                (f"http://{deaf_place}", "", None, ""), (f"https://{self.place}", "", [], ""),
                (api, f"http://{deaf_place}", None, f"proxy {deaf_place}: "),
                (api, http, [], culprit), (api, http, ["HTTP/1.1 2"], culprit), (api, http, [r"HTTP/1.1 200 Yes\r\n\r\n"], ""),
                *((api, socks, steps[:count], culprit) for count in range(4))):
            with self.subTest(f"{url} {proxy} {replies}"):
                self.give_up(self.start(url, environment=surrounded(FERRIN_SPEED="10", all_proxy=proxy)), replies)
                self.relay.logs(f'cause="connect: {blamed}no connection in time; ')
        sockets[0].close()

    def test_that_waits_for_the_systems_certificates_is_given_up_as_well(self):
        roots = self.folder / "roots"
        os.mkfifo(roots)  # whoever opens it waits
        relay = self.start(f"https://{self.place}", environment=surrounded(FERRIN_SPEED="10", SSL_CERT_FILE=str(roots)))
        self.addCleanup(lambda: os.close(os.open(roots, os.O_RDWR)))
        self.give_up(relay, [])

    def give_up(self, relay, replies):
        """Of two clients one leaves, and the other waits until the relay has waited for long enough."""
        self.relay, start = relay, time.monotonic()
        leaving = relay.client("POST /v1/leaving", "Content-Length: 9", more="part")
        staying = relay.client("GET /v1/staying")
        sides = [] if replies is None else [self.upstream.accept(), self.upstream.accept()]
        for side in sides:
            self.reply(side, replies)
        self.assertTrue(leaving.silent(0.1))
        leaving.close()
        self.assertIn(" end=client-gone", relay.line("POST /v1/leaving 0"))
        self.assertLess(time.monotonic() - start, 0.9)
        self.assert_refused(staying.message(), "502 upstream_unreachable")
        self.assertTrue(0.9 < time.monotonic() - start < 2)
        for side in sides:
            self.assertLess(side.time_to_end(), 1)


class Conversations(Player):
    def relay_with(self, url, *variables):
        """A relay with these variables in its environment, for which each name is that of 192.0.2.7."""
        addresses = self.folder / "addresses"
        addresses.write_text("192.0.2.7\n")
        given = surrounded(FERRIN_ADDRESSES=str(addresses), SSL_CERT_FILE=str(self.own))
        return self.start(url, environment=given | dict(variable.split("=") for variable in variables))

    def test_pass_through_proxies(self):
        for name, lines in conversations("proxies.txt"):
            first, _, lines = lines.replace("@UPSTREAM@", self.upstream.url[7:]).partition("\n")
            with self.subTest(name):
                relay = self.relay_with(*first.split()[1:])
                self.converse(relay, lines)
                self.assertNotIn("a b", relay.log().replace("%20", " "))
