"""Nobody but this user's own programs gets through, and the key stays where it belongs."""

import contextlib
import ctypes
import multiprocessing
import os
import pathlib
import re
import resource
import secrets
import shutil
import signal
import socket
import subprocess
import unittest

from peers import KEY, RELEASED, Connection, RelayTest, needs_released
from tls import TlsTest

NOBODY = 65534
PTRACE_SEIZE = 0x4206  # attaches without stopping the process (ptrace(2))


class Access(RelayTest):
    @unittest.skipIf(os.geteuid() != 0, "only root can act as another user")
    def test_other_users_are_refused(self):
        url = f"http://127.0.0.1:{self.relay.port}/v1/models"
        answer = subprocess.run(["curl", "-si", url], user=NOBODY, cwd="/", stdout=subprocess.PIPE).stdout.decode()
        self.assert_refused(answer, "403 forbidden_user")
        self.assertTrue(self.upstream.silent(0.05))

    @unittest.skipIf(31 * "0" + "1 " not in pathlib.Path("/proc/net/if_inet6").read_text(), "there is no [::1] here")
    def test_the_own_user_is_known_over_ipv6_too(self):
        relay = self.start(self.upstream.url, host="::1")
        client = Connection(socket.create_connection(("::1", relay.port)))
        client.send(f"GET /healthz HTTP/1.1\r\nHost: [::1]:{relay.port}\r\n\r\n")
        self.assertTrue(client.message().startswith("HTTP/1.1 200 "))


class Key(RelayTest):
    def test_is_read_again_when_its_file_changes(self):
        relay = self.start(self.upstream.url, key="")
        client = relay.client()
        self.assert_refused(client.message(), "503 api_key_unavailable")
        relay.logs(f'end=refused cause="{relay.key_file}: No such file or directory; save the key again in Ferrin Relay"')
        side = None
        for number in range(10, 30):  # same size, same file, soon after one another
            relay.key_file.write_text(f"\ufeff sk-{number}\r\n")
            client.send(relay.request())
            side = side or self.upstream.accept()
            self.assertIn(f"\r\nAuthorization: Bearer sk-{number}\r\n", side.until())
            self.complete(client, side)
        for content in ("sk-a\nX-Injected: 1", "sk-a\0", "sk-a\x7f", 20_000 * "sk-", " \n"):
            relay.key_file.write_text(content)
            client.send(relay.request())
            self.assert_refused(client.message(), "503 api_key_unavailable")
        relay.key_file.unlink()
        os.mkfifo(relay.key_file)  # nobody writes: waiting for that would stop all
        client.send(relay.request())
        self.assert_refused(client.message(), "503 api_key_unavailable")
        relay.logs(f'cause="{relay.key_file}: there is no key in it; ')
        self.assertNotIn("sk-", relay.log())

    def test_is_in_no_log_and_no_argument_and_can_not_be_dumped(self):
        resource.setrlimit(resource.RLIMIT_CORE, 2 * resource.getrlimit(resource.RLIMIT_CORE)[1:])
        client, side = self.relay.joined(self.upstream, f"GET /v1/a?key={KEY}")
        side.close()
        self.assert_refused(client.message(), "502 upstream_closed")
        self.relay.logs("end=refused")
        self.assertNotIn(KEY, self.relay.log() + (self.relay.proc / "cmdline").read_text())
        self.assertEqual(resource.prlimit(self.relay.process.pid, resource.RLIMIT_CORE)[0], 0)
        self.relay.process.send_signal(signal.SIGABRT)
        self.assertEqual(self.relay.process.wait(), -signal.SIGABRT)


def times_in_memory(proc, text):
    areas = re.findall(r"^(\w+)-(\w+) rw", (proc / "maps").read_text(), re.M)
    with open(proc / "mem", "rb") as memory:
        blocks = (os.pread(memory.fileno(), int(end, 16) - int(start, 16), int(start, 16)) for start, end in areas)
        return sum(block.count(text.encode()) for block in blocks)


def ways_into(process):
    ways = {"ptrace"} if ctypes.CDLL(None).ptrace(PTRACE_SEIZE, process, None, None) == 0 else set()
    for place in "environ", "mem":
        with contextlib.suppress(PermissionError), open(f"/proc/{process}/{place}", "rb"):
            ways.add(place)
    return ways


@needs_released
@unittest.skipIf(os.geteuid() != 0, "only root can run the relay as another user and read its memory")
class Memory(TlsTest):
    """As it is released, since sanitizers keep what was freed, and run by an ordinary user, whom the system binds."""
    scheme, step = "http", -25

    def setUp(self):
        super().setUp()
        shutil.copy(RELEASED, self.folder / "relay")
        program = self.folder / "program"
        program.write_text(f'#!/bin/sh\ncd {self.folder}; chown -R {NOBODY} .; exec setpriv --reuid {NOBODY} ./relay "$@"')
        program.chmod(0o755)
        self.relay = self.start(f"{self.scheme}://localhost:{self.upstream.port}", program=program,
                                environment={"SSL_CERT_FILE": str(self.own)})

    def accept(self):
        side = self.upstream.accept()
        if self.scheme == "https":
            side.socket = self.context(self.own).wrap_socket(side.socket, server_side=True)
        return side

    def exchange(self, key, size):
        body = f"{size:x}\r\n{size * 'b'}\r\n0\r\n\r\n"
        os.seteuid(NOBODY)  # the relay answers its own user alone
        self.addCleanup(os.seteuid, 0)
        client = self.relay.client("POST /v1/a", "Transfer-Encoding: chunked", f"X-Long: {size % 60_000 * 'x'}", more=body)
        os.seteuid(0)
        side = self.accept()
        self.assertIn(f"\r\nAuthorization: Bearer {key}\r\n", side.until())
        side.read(len(body))
        self.complete(client, side)

    def test_holds_the_key_once_and_no_longer_once_it_is_replaced(self):
        try:
            times_in_memory(self.relay.proc, KEY)
        except PermissionError as reason:
            self.skipTest(str(reason))
        replaced = []
        for length in (8, 40, 500, 20, 7500):
            key = secrets.token_hex(length)
            self.relay.key_file.write_text(key)
            for sizes in range(2100, 0, self.step), [59_000], [3_000_000]:
                for size in sizes:
                    self.exchange(key, size)
                # Their ends, as the beginning of memory that was freed is written over.
                found = [times_in_memory(self.relay.proc, text[-16:]) for text in (key, *replaced)]
                self.assertEqual(found, [1, *(0 for _ in replaced)], sizes)
            replaced.append(key)

    def test_is_closed_to_other_programs_of_the_user(self):
        other = subprocess.Popen(["sleep", "60"], user=NOBODY, cwd="/")
        self.addCleanup(other.wait)
        self.addCleanup(other.kill)
        with multiprocessing.Pool(1, os.setuid, [NOBODY]) as stranger:
            if not stranger.apply(ways_into, [other.pid]):
                self.skipTest("no program can look into another of its user here")
            self.assertEqual(stranger.apply(ways_into, [self.relay.process.pid]), set())


class MemoryWithTls(Memory):
    scheme, step = "https", -500
