"""The relay of macOS goes by the system's settings, which ../frameworks/model/Frameworks.cpp has in files."""

import ssl

from peers import LAST, OK, TlsTest


class Settings(TlsTest):
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
