"""Nobody but this user's own programs gets through, and the key stays where it belongs."""

import os
import pathlib
import resource
import signal
import socket
import subprocess
import unittest

from peers import KEY, Connection, RelayTest


class Access(RelayTest):
    @unittest.skipIf(os.geteuid() != 0, "only root can act as another user")
    def test_other_users_are_refused(self):
        url = f"http://127.0.0.1:{self.relay.port}/v1/models"
        answer = subprocess.run(["curl", "-si", url], user=65534, cwd="/", stdout=subprocess.PIPE).stdout.decode()
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
            relay.key_file.write_text(f" sk-{number}\r\n")
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
