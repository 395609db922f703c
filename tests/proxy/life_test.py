"""From the command line to the last log line, with crowds and shortages in between."""

import contextlib
import ctypes
import os
import pathlib
import re
import resource
import select
import shlex
import shutil
import signal
import socket
import subprocess
import tempfile
import time

from peers import LAST, PATIENCE, RELAY, RELEASED, STREAM, Connection, RelayTest, eventually, needs_released, surrounded
from tables import table

HEALTH = "GET /healthz"


class Start(RelayTest):
    def complaint(self, *options):
        ended = subprocess.run([RELAY, *options], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        return ended.returncode, ended.stdout

    def test_says_in_one_line_what_is_wrong(self):
        good = {"--host": "127.0.0.1", "--port": str(self.upstream.port), "--upstream": "http://127.0.0.1:9",
                "--api-key-file": "/k", "--timeout": "1"}
        self.assertEqual(self.complaint(), (2, "--host: missing\n"))
        for expected, wrong, _ in table("options.txt"):
            others = {name: value for name, value in good.items() if name not in wrong}
            self.assertEqual(self.complaint(*sum(others.items(), ()), *shlex.split(wrong)), (2, expected + "\n"), wrong)
        status, told = self.complaint(*sum(good.items(), ()))
        self.assertEqual(status, 1)
        self.assertRegex(told, rf"^port {self.upstream.port}: Address already in use, by python3\S* "
                         rf"\(process {os.getpid()}\); end that program first\n$")

    def test_explains_an_address_that_can_not_be_used_and_serves_on(self):
        for problem, address, _ in table("addresses.txt"):
            with self.subTest(address):
                relay = self.start(address)
                self.assert_refused(relay.answer("POST /v1/a"), "502 upstream_address_unusable")
                relay.logs(f" --upstream: {problem}; save the right address in Ferrin Relay, and apply it\n")
                self.assertTrue(relay.answer(HEALTH).startswith("HTTP/1.1 200 "))
                self.assertNotIn("hunter2", relay.log())

    def test_announces_where_it_listens_in_the_first_line_and_then_what_it_is(self):
        inherited = {"SYSTEMD_EXEC_PID": str(os.getpid()), "XPC_SERVICE_NAME": "com.apple.Terminal"}
        relay = self.start(self.upstream.url, environment=inherited)
        relay.logs(", upstream 127.0.0.1, started by hand\n")
        self.assertRegex(relay.log(), rf"^listening on http://127.0.0.1:{relay.port}/v1, forwarding to "
                         rf"{self.upstream.url}\n\d{{4}}-\d\d-\d\dT\d\d:\d\d:\d\d.\d{{3}}Z ferrin-third-party-proxy ")


class Stop(RelayTest):
    def test_comes_at_once_and_leaves_nothing_that_looks_whole(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            relay = self.start(self.upstream.url)
            idle, (client, side), (waiting, _) = Connection(relay.port), relay.joined(self.upstream), relay.joined(self.upstream)
            side.send(STREAM)
            client.until()
            start = time.monotonic()
            relay.process.send_signal(number)
            self.assertEqual(relay.process.wait(PATIENCE), 0)
            self.assertLess(time.monotonic() - start, 0.5)
            self.assertEqual([client.rest(), waiting.rest(), idle.rest()], ["<reset>", "<reset>", ""])
            self.assertEqual(relay.log().count(" end=stopped"), 2)

    def test_lets_exchanges_end_first_when_it_is_asked_to_quit(self):
        idle = Connection(self.relay.port)
        client, side = self.relay.joined(self.upstream)
        side.send(STREAM + "1\r\nx\r\n")
        client.until("x\r\n")
        self.relay.process.send_signal(signal.SIGQUIT)
        self.assertLess(idle.time_to_end(), 1)
        self.assertRaises(ConnectionRefusedError, Connection, self.relay.port)
        side.send("1\r\ny\r\n0\r\n\r\n")
        self.assertEqual(client.rest(), "1\r\ny\r\n0\r\n\r\n")
        self.assertEqual(self.relay.process.wait(PATIENCE), 0)

    def test_lets_answers_of_its_own_end_first_as_well(self):
        client, sent = Connection(self.relay.port, room=4096), 0
        requests = self.relay.request(HEALTH).encode() * 1000
        while select.select([], [client.socket], [], 0.5)[1]:
            sent += client.socket.send(requests[sent % len(requests):], socket.MSG_DONTWAIT)
        self.relay.process.send_signal(signal.SIGQUIT)
        self.assertTrue(client.rest().endswith("}"))
        self.assertEqual(self.relay.process.wait(PATIENCE), 0)


class Replacement(RelayTest):
    def run_by(self, manager):
        folder = pathlib.Path(tempfile.mkdtemp(dir=self.folder))
        program, script = shutil.copy(RELAY, folder / "relay"), folder / "script"
        script.write_text(f'#!/bin/sh\n{manager} exec {program} "$@"')
        script.chmod(0o755)
        return self.start(self.upstream.url, program=script), program

    def test_takes_place_once_nobody_is_connected(self):
        for change in (lambda program: shutil.copy(RELAY, program.with_name("new")).replace(program), pathlib.Path.unlink):
            (managed, program), (manual, other) = self.run_by("SYSTEMD_EXEC_PID=$$"), self.run_by("")
            self.complete(*managed.joined(self.upstream), LAST)
            client, side = managed.joined(self.upstream)
            change(program)
            change(other)
            self.assertTrue(client.silent(0.5))
            self.complete(client, side)
            client.close()
            self.assertEqual(managed.process.wait(PATIENCE), 0)
            managed.logs(" the program was replaced or removed, and nobody is connected\n")
            self.complete(*manual.joined(self.upstream))

    def test_is_noticed_at_rest(self):
        relay, program = self.run_by("SYSTEMD_EXEC_PID=$$")
        program.with_name("relay.tmp").touch()
        program.chmod(0o700)
        time.sleep(0.3)
        self.assertIsNone(relay.process.poll())
        program.unlink()
        self.assertEqual(relay.process.wait(PATIENCE), 0)


class Rest(RelayTest):
    def test_takes_no_processor_time(self):
        self.complete(*self.relay.joined(self.upstream), LAST)
        listening, silent = self.relay.joined(self.upstream)  # nothing happens here either
        silent.send(STREAM)
        listening.until()
        joined, tunnel = self.relay.joined(self.upstream, "GET /v1/ws", "Connection: Upgrade", "Upgrade: websocket")  # nor here
        tunnel.send("HTTP/1.1 101 Switching Protocols\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n\r\n")
        joined.until()
        switches = lambda: re.search(r"voluntary_ctxt_switches.*", (self.relay.proc / "status").read_text(), re.DOTALL)[0]
        self.relay.logs("end=complete")
        time.sleep(0.2)  # the last exchange's own end
        before = switches()
        time.sleep(2)
        self.assertEqual(switches(), before)

    def test_ends_for_clients_that_dawdle(self):
        relay = self.start(self.upstream.url, environment=surrounded(FERRIN_SPEED="20"))
        start = time.monotonic()
        idle, slow = Connection(relay.port), Connection(relay.port)
        slow.send("\r\n")
        self.assertTrue(slow.silent(0.75))
        slow.send("\r\nGET /v1/a")
        self.assertEqual(slow.rest(), "")
        self.assertTrue(1.4 < time.monotonic() - start < 2.2)
        self.assertEqual(idle.rest(), "")
        self.assertTrue(3.7 < time.monotonic() - start < 6)


class Crowd(RelayTest):
    def test_is_served_or_turned_away_when_it_comes_all_at_once(self):
        self.relay.process.send_signal(signal.SIGSTOP)
        waiting = [self.relay.client(HEALTH) for _ in range(1200)]
        self.relay.process.send_signal(signal.SIGCONT)
        answers = [client.some() for client in waiting]
        self.assertEqual(sum(answer.startswith("HTTP/1.1 200 ") for answer in answers), 1024)
        self.assertTrue(any('"code":"too_many_connections"' in answer for answer in answers))
        del waiting[:10], waiting[-1]
        while not self.relay.client(HEALTH).some().startswith("HTTP/1.1 200 "):
            pass  # until the relay has seen others go

    @needs_released
    def test_of_slow_readers_leaves_no_memory_behind(self):
        relay = self.start(self.upstream.url, program=RELEASED)
        before = relay.resident_bytes()
        pairs = [relay.joined(self.upstream, room=4096) for _ in range(400)]
        for _, side in pairs:
            side.send(STREAM)
            side.socket.settimeout(0)
            with contextlib.suppress(BlockingIOError):
                while side.socket.send(b"1000\r\n" + 4096 * b"x" + b"\r\n"):
                    pass
        self.assertTrue(eventually(lambda: relay.resident_bytes() - before > 5_000_000), relay.resident_bytes() - before)
        for client, _ in pairs[::2] + pairs[1::2]:
            client.reset()
        self.assertTrue(eventually(lambda: relay.resident_bytes() - before < 2_000_000), relay.resident_bytes() - before)

    @needs_released  # as what a model costs says nothing
    def test_member_who_dawdles_costs_little_and_delays_nobody(self):
        head, (body, _) = Connection(self.relay.port), self.relay.joined(self.upstream, "POST /v1/a", "Content-Length: 9999")
        head.send("GET /v1/a HTTP/1.1\r\nX: " + 60_000 * "x")
        other, costs = self.relay.client(HEALTH), []
        for dawdlers in ((head, body), ()):
            before = self.relay.processor_seconds()
            for _ in range(1000):
                start = time.monotonic()
                for dawdler in dawdlers:
                    dawdler.send("x")
                other.send(self.relay.request(HEALTH))
                other.message()
                self.assertLess(time.monotonic() - start, 1)
            costs.append(self.relay.processor_seconds() - before)
        self.assertLess(costs[0], 4 * costs[1])


class Shortage(RelayTest):
    @needs_released
    def test_of_descriptors_is_overcome(self):
        relay = self.start(self.upstream.url, program=RELEASED)
        relay.logs("started by hand")  # to find that out takes descriptors for a moment
        usual = resource.prlimit(relay.process.pid, resource.RLIMIT_NOFILE)
        used = next(number for number in range(1000) if not (relay.proc / "fd" / str(number)).exists())
        permit = lambda files: resource.prlimit(relay.process.pid, resource.RLIMIT_NOFILE, (files, usual[1]))
        permit(used + 1)
        client = relay.client(HEALTH)
        self.assertTrue(client.message().startswith("HTTP/1.1 200 "))
        other = Connection(relay.port)
        relay.logs("can't accept connections: Too many open files")
        client.send(relay.request())
        self.assertTrue(client.message().startswith("HTTP/1.1 50"))  # neither key file nor upstream can be opened
        permit(usual[0])
        relay.logs("accepting connections again")
        other.send(relay.request())
        self.complete(other, self.upstream.accept())

    def test_of_disk_space_costs_log_lines_and_nothing_else(self):
        if ctypes.CDLL(None).unshare(0x20000) != 0:  # CLONE_NEWNS: what is mounted, this process alone sees
            self.skipTest("nothing can be mounted here")
        subprocess.run(["mount", "--make-rprivate", "/"], check=True)
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k", "tmpfs", self.folder], check=True)
        self.addCleanup(subprocess.run, ["umount", "--lazy", self.folder], check=True)
        relay = self.start(self.upstream.url)
        filler = self.folder / "filler"
        with self.assertRaises(OSError), open(filler, "wb", buffering=0) as file:
            while file.write(bytes(512)):
                pass
        client, side = relay.client("GET /v1/lost"), self.upstream.accept()
        for _ in range(100):
            side.until()
            self.complete(client, side)
            client.send(relay.request("GET /v1/lost"))
        self.assertLess(len(relay.log()), 8192)
        filler.unlink()
        relay.answer("GET /other")
        relay.logs("GET /other 404")
        self.assertNotRegex(relay.log(), r".\d{4}-\d\d-\d\dT\S*Z GET")  # none behind a line that was cut off

    def test_of_room_in_the_log_costs_its_older_half(self):
        lines = [f"line {number} {1000 * 'x'}\n" for number in range(11_000)]
        relay = self.start(self.upstream.url, log="".join(lines))
        self.assertTrue(relay.answer("GET /other").startswith("HTTP/1.1 404 "))
        relay.logs("GET /other 404")
        log = relay.log()
        self.assertTrue(4_500_000 < len(log) < 6_000_000)
        self.assertTrue("".join(lines).endswith(log[:log.index("listening on")]) and log.startswith("line "))
