"""Whatever fails inside an exchange ends that exchange, with its response and its line, and nothing else."""

import contextlib
import re

from peers import OK, RELAY, RELEASED, Connection, deaf, eventually, needs_released, surrounded
from tls import TlsTest


class Failure(TlsTest):
    def setUp(self):
        super().setUp()
        self.tls = None
        self.failing, self.addresses = self.folder / "failing", self.folder / "addresses"
        self.failing.write_text("")

    def through(self, function, program=RELEASED or RELAY, hosts="127.0.0.1\n", **more):
        """Yields a relay and a path for each call in turn that `function` is made in one exchange, and makes that one fail."""
        self.addresses.write_text(hosts)
        variables = surrounded(FERRIN_FAILING=str(self.failing), FERRIN_ADDRESSES=str(self.addresses), FERRIN_SPEED="10", **more)
        scheme = "https" if self.tls else "http"
        relay = self.start(f"{scheme}://listed.example:{self.upstream.port}", program=program, environment=variables)
        for call in range(1, 1000):
            self.failing.write_text(f"{function} {call}")
            yield relay, f"/v1/{function}/{call}"
            reached = self.failing.read_text() == ""
            self.failing.write_text("")
            self.exchange(relay, "/v1/afterwards")  # the relay serves on
            if not reached:
                self.assertGreater(call, 1, f"{function} was never called")
                self.assertNotIn("hidden", relay.log())  # no body is taken for the next request
                return

    def exchange(self, relay, path):
        """What a new client gets for a request, which the upstream answers if it arrives there; "" for a bare close."""
        client = Connection(relay.port)
        client.send(relay.request(f"POST {path}", body=f"GET /v1/hidden HTTP/1.1\r\nHost: 127.0.0.1:{relay.port}\r\n\r\n"))
        while client.silent(0.001):
            if not self.upstream.silent(0):
                side = self.upstream.accept()
                if self.tls:
                    with contextlib.suppress(OSError):
                        self.serve(side, self.tls, OK, farewell=False)
                    continue
                while (come := side.some()).startswith("\5"):  # it is a proxy, then
                    side.send("\5\0" if len(come) == 3 else "\5\0\0\1" + 6 * "\0")
                if "POST" in come:
                    side.send(OK)
                side.close()
        try:
            return client.message()
        except EOFError:
            return ""

    def check(self, relay, path):
        response = self.exchange(relay, path)
        if not response:  # there was no way to serve the connection at all, or to say so
            self.assertTrue(eventually(lambda: re.search(rf"POST {path} |closed a (new )?connection", relay.log())), path)
        else:
            self.assertRegex(response, r"^HTTP/1.1 (200|502|503) ")
            relay.logs(f"POST {path} {response[9:12]} ")
            self.assertNotIn(f"POST {path} 200 in=0 ", relay.log())

    def test_of_a_system_call_ends_only_its_exchange(self):
        sockets = deaf("127.0.0.3", self.upstream.port)  # so that a second address is tried, from a timer
        for function in ("epoll_ctl", "socket", "inotify_add_watch", "pthread_create"):
            for relay, path in self.through(function, hosts="127.0.0.3\n127.0.0.1\n"):
                with self.subTest(path):
                    self.check(relay, path)
        sockets[0].close()

    @needs_released
    def test_to_ask_whose_a_connection_is_refuses_it(self):
        self.failing.write_text("socket 1")  # the one that asks, which is opened ahead
        relay = self.start(self.upstream.url, environment=surrounded(FERRIN_FAILING=str(self.failing)))
        self.failing.write_text("socket 1")
        self.assert_refused(relay.answer("GET /healthz"), "503 too_many_connections")
        relay.logs(" refused a connection: The relay could not find out whose connection this is; end programs")
        self.assertTrue(relay.answer("GET /healthz").startswith("HTTP/1.1 200 "))

    def test_to_connect_is_explained_as_the_system_means_it(self):
        relay, path = next(self.through("connect"))
        self.check(relay, path)
        remedy = "check the provider's" if RELEASED else "if it is in your local network, allow the relay there"  # on macOS
        relay.logs(f'cause="connect: 127.0.0.1: No route to host; {remedy}')

    @needs_released
    def test_of_an_allocation_ends_only_its_exchange(self):
        for relay, path in self.through("new"):
            with self.subTest(path):
                self.check(relay, path)

    @needs_released
    def test_of_an_allocation_over_tls_ends_only_its_exchange(self):
        own = self.identity("listed.example")
        self.tls = self.context(own)
        for relay, path in self.through("new", SSL_CERT_FILE=str(own)):
            with self.subTest(path):
                own.touch()  # so that the roots are read again
                self.check(relay, path)

    def test_at_a_proxy_ends_only_its_exchange(self):
        for function in ("epoll_ctl", "new") if RELEASED else ("epoll_ctl",):
            for relay, path in self.through(function, http_proxy=f"socks5h://127.0.0.1:{self.upstream.port}"):
                with self.subTest(path):
                    self.check(relay, path)
