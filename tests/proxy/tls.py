"""Certificates, and an upstream that has one."""

import contextlib
import ssl
import subprocess

from peers import Connection, RelayTest


def identity(file, host):
    """`file`, where a key is now and its certificate for `host`, of its own making."""
    subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-subj",
                    f"/CN={host}", "-addext", f"subjectAltName=DNS:{host}", "-keyout", file, "-out", file], check=True,
                   stderr=subprocess.DEVNULL)
    return file


class TlsTest(RelayTest):
    """The upstream has a certificate for localhost of its own making."""
    def setUp(self):
        super().setUp()
        self.own = self.identity("localhost")

    def identity(self, host):
        """A file with a key and a certificate of its own making."""
        return identity(self.folder / f"{len(list(self.folder.iterdir()))}.pem", host)

    def context(self, identity, newest=ssl.TLSVersion.TLSv1_3):
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(identity)
        context.set_ciphers("ALL:@SECLEVEL=0")  # what old versions need
        context.minimum_version = context.maximum_version = newest
        context.sni_callback = lambda _, name, __: self.names.append(name)
        self.names = []
        return context

    def serve(self, side, context, *answers, farewell=True):
        """Answers requests on one connection; the last one's head, and whether the session was an older one's."""
        with context.wrap_socket(side.socket, server_side=True) as within:
            for answer in answers:
                told = Connection(within).until(), within.session_reused
                within.sendall(answer.encode())
            with contextlib.suppress(OSError):
                _ = farewell and within.unwrap()
            return told
