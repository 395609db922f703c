"""The relay of macOS goes by the system's settings, which ../frameworks/model/Frameworks.cpp has in files."""

import ssl

from peers import LAST, OK, TlsTest, surrounded


class Settings(TlsTest):
    def test_the_proxy_counts_from_the_next_new_connection_on(self):
        proxies, addresses, port = self.folder / "proxies", self.folder / "addresses", self.upstream.port
        proxy = f"127.0.0.1:{port}"
        addresses.write_text("127.0.0.1\n")
        proxies.write_text(f"http 127.0.0.1 {port}")
        variables = surrounded(FERRIN_ADDRESSES=str(addresses), FERRIN_PROXIES=str(proxies))
        self.start("http://a.direct", environment=variables).logs(" upstream a.direct, started by")
        relay = self.start(f"http://api.example:{port}", environment=variables)
        through, change = f"http://api.example:{port}", " the proxy settings have changed: upstream api.example"
        for settings, target, said, answer in (
                (f"http 127.0.0.1 {port}", through, f" upstream api.example via {proxy}, started by", OK),
                ("none", through, f"upstream=reused via={proxy} end=complete", LAST),
                ("none", "", f"{change}\n", LAST),
                (f"https 127.0.0.1 {port}", through, f"{change} via {proxy}\n", LAST),
                ("automatic", "", f"{change}, the system's automatic proxy configuration is not followed\n", LAST)):
            with self.subTest(said):
                proxies.write_text(settings)
                client = relay.client()
                side = side if "reused" in said else self.upstream.accept()
                self.assertTrue(side.until().startswith(f"GET {target}/a HTTP/1.1\r\n"))
                side.send(answer)
                self.assertTrue(client.message().endswith("ok"))
                relay.logs(said)
        running = relay.joined(self.upstream)
        proxies.write_text(f"socks 127.0.0.1 {port}")
        client = relay.client()
        self.assertEqual(self.upstream.accept().read(3), "\5\1\0")
        self.complete(*running)
        self.assertEqual(running[1].rest(), "")  # not kept: it went another way
        proxies.write_text("none")
        kept = relay.joined(self.upstream)
        self.complete(*kept)
        proxies.write_text(f"http 127.0.0.1 {port}")
        for more in (("Connection: Upgrade", "Upgrade: websocket"), ()):  # the first takes no kept connection anyway
            client = relay.client("GET /v1/ws", *more)
            self.assertTrue(self.upstream.accept().until().startswith(f"GET {through}/ws "))

    def trusts(self, files):
        """Whether the upstream's certificate is trusted where the keychain has it under these names."""
        keychain = self.folder / f"keychain {files}"
        for name, identity in {"anchors/another": self.other, **dict.fromkeys(files.split(), self.own)}.items():
            (keychain / name).parent.mkdir(parents=True, exist_ok=True)
            text = identity.read_text()
            (keychain / name).write_bytes(ssl.PEM_cert_to_DER_cert(text[text.index("-----BEGIN CERT"):]))
        relay = self.start(f"https://localhost:{self.upstream.port}", environment={"FERRIN_KEYCHAIN": str(keychain)})
        client, side = relay.client(), self.upstream.accept()
        try:
            self.serve(side, self.context(self.own), LAST)
        except OSError:
            relay.logs('cause="connect: certificate not trusted')
            return False
        return client.message() == OK

    def test_the_keychains_settings_say_who_is_trusted(self):
        self.other = self.identity("other.example")
        for name, files, expected in (
                ("nothing", "", False),
                ("an anchor", "anchors/a", True),
                ("trusted by the user", "user/a=1", True),
                ("trusted by an administrator, without settings", "admin/a=", True),
                ("an anchor that the user denies", "anchors/a user/a=3", False),
                ("an anchor that an administrator denies for one host", "anchors/a admin/a=3h", False),
                ("the user comes first", "admin/a=3 user/a=1", True),
                ("the user has no opinion", "admin/a=3 user/a=4", False),
                ("for another purpose", "user/a=1x", False),
                ("for one host", "user/a=1h", False),
                ("the first setting that concerns TLS counts", "user/a=3x,2", True)):
            with self.subTest(name):
                self.assertEqual(self.trusts(files), expected)
