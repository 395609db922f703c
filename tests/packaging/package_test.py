"""The package, by the tools that Debian and desktops check it with, and through its life: install, main job, upgrade,
removal, as people do it, on a machine that is gone afterwards (own-machine.sh).

Arguments: the class of tests, the tree of a release build, its version, and the relay program of the next one.
"""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

tree, version, next_relay = pathlib.Path(sys.argv[2]), sys.argv[3], sys.argv[4]
sources = pathlib.Path(__file__).parents[2]
home = pathlib.Path("/home/somebody")
secrets = home / ".ferrin/secrets"
service = home / ".local/share/ferrin-relay/sv/com.ferrin.third-party-proxy"
relay_path = "libexec/ferrin-relay/ferrin-third-party-proxy"
MISSING = "no ferrin-third-party-proxy found: install Ferrin Relay again"


def do(*command):
    """What the command prints; fails with it when the command does."""
    done = subprocess.run(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    if done.returncode != 0:
        raise AssertionError(f"{command} ended with {done.returncode}: {done.stdout}")
    return done.stdout


def apt(*arguments):
    do("env", "DEBIAN_FRONTEND=noninteractive", "apt-get", "-y", "--no-install-recommends", "-o", "APT::Sandbox::User=root",
       *arguments)


def running_version():
    answer = subprocess.run(["curl", "-s", "http://127.0.0.1:8787/healthz"], stdout=subprocess.PIPE, check=False).stdout
    return answer and json.loads(answer)["version"]


def relay_log():
    return (home / ".ferrin/logs/third-party-proxy.log").read_text()


class Package(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.package = next((tree / "package").glob(f"ferrin-relay_{version}_*.deb"))

    def eventually(self, condition):
        deadline = time.monotonic() + 20
        while not condition():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.01)


class Content(Package):
    def test_the_checkers_find_nothing_and_every_place_names_the_one_version(self):
        do("dpkg-deb", "-x", self.package, self.folder)
        share = self.folder / "usr/share"
        for command in (["lintian", "--allow-root", "--fail-on", "error,warning", self.package],
                        ["desktop-file-validate", share / "applications/com.ferrin.Relay.desktop"],
                        ["sh", "-c", 'man --warnings -E UTF-8 -Tutf8 -Z -l "$0" >/dev/null', share / "man/man1/ferrin-relay.1.gz"]):
            self.assertEqual(do(*command), "", command)
        do("appstreamcli", "validate-tree", "--no-net", self.folder)
        newest, date = re.search(r"(?m)^## (\S+) – (\S+)$", (sources / "CHANGELOG.md").read_text()).groups()
        self.assertEqual(newest, version)
        for file, line in (("metainfo/com.ferrin.Relay.metainfo.xml", f'<release version="{version}" date="{date}"/>'),
                           ("man/man1/ferrin-relay.1.gz", f'"Ferrin Relay {version}"'),
                           ("doc/ferrin-relay/changelog.gz", f"ferrin-relay ({version}) ")):
            self.assertIn(line, do("zcat", "-f", share / file))
        icons = re.findall(r'"(com\.ferrin\.Relay-\w+-symbolic)"', (sources / "app/qt/TraySymbol.cpp").read_text())
        self.assertEqual({icon.stem for icon in share.glob("icons/hicolor/*/apps/*.svg")}, {"com.ferrin.Relay", *icons})
        for program in ("bin/ferrin-relay", relay_path):
            text = do("readelf", "-hlSdW", self.folder / "usr" / program)
            for mark in (r"Type: +DYN", "GNU_RELRO", "BIND_NOW", r"GNU_STACK.* RW "):
                self.assertRegex(text, mark, program)
            self.assertNotIn(".symtab", text, program)


class Life(Package):
    def setUp(self):
        super().setUp()
        passwd = pathlib.Path("/etc/passwd")
        passwd.write_text(f"root:x:0:0::{home}:/bin/sh\n" + re.sub("(?m)^root:.*\n", "", passwd.read_text()))
        os.environ.pop("XDG_RUNTIME_DIR", None)
        secrets.mkdir(parents=True, mode=0o700)
        self.addCleanup(shutil.rmtree, home)
        key = secrets / "openai-proxy-upstream.token"
        key.write_text("sk-of-the-provider\n")
        provider = subprocess.Popen([tree / "bin/ferrin-sample-provider", "--key-file", key, "--echo"],
                                    stdout=subprocess.PIPE, text=True)
        self.addCleanup(provider.communicate)
        self.addCleanup(provider.terminate)
        (secrets / "openai-proxy-upstream.url").write_text(provider.stdout.readline().split()[2])

    def apply(self, prefix):
        """The program that is installed there starts the relay that came with it."""
        self.assertEqual(do(prefix / "bin/ferrin-relay", "--apply-reference-config"), "reference configuration applied\n")
        self.addCleanup(subprocess.run, ["sv", "-w", "7", "force-shutdown", service], stdout=subprocess.DEVNULL)
        self.assert_answers_as(version)
        process = (service / "supervise/pid").read_text().strip()
        self.assertEqual(os.readlink(f"/proc/{process}/exe"), str(prefix / relay_path))

    def assert_answers_as(self, expected, ended=False):
        """That version, which the service manager starts where the running one has to end."""
        if ended:
            do("sv", "term", service)
        self.eventually(lambda: running_version() == expected)
        self.assertIn("word by word", do("curl", "-sS", "--json", '{"model": "m", "input": "word by word"}',
                                         "http://127.0.0.1:8787/v1/responses"))

    def test_a_package_through_its_whole_life(self):
        self.addCleanup(do, "dpkg", "--purge", "ferrin-relay")
        apt("install", self.package)
        self.apply(pathlib.Path("/usr"))
        files = {file: file.read_bytes() for file in secrets.parent.rglob("*") if file.is_file() and file.suffix != ".log"}

        do("dpkg-deb", "-R", self.package, self.folder / "next")
        do("sed", "-i", "s/^Version: .*/&+next/", self.folder / "next/DEBIAN/control")
        shutil.copy(next_relay, self.folder / "next/usr" / relay_path)
        do("dpkg-deb", "-b", "--root-owner-group", "-Znone", self.folder / "next", self.folder / "next.deb")
        apt("install", self.folder / "next.deb")
        self.assert_answers_as(version)
        self.assert_answers_as(version + "+next", ended=True)

        for kind in ("remove", "purge"):
            running = running_version()
            apt(kind, "ferrin-relay")
            self.assertEqual([file for file in pathlib.Path("/usr").glob("**/*ferrin*") if tree not in file.parents], [])
            self.assert_answers_as(running)
            self.assertEqual({file: file.read_bytes() for file in files}, files)
            do("sv", "term", service)
            self.eventually(lambda: MISSING in relay_log())
            apt("install", self.package)
            self.assert_answers_as(version, ended=True)

    def test_an_install_that_is_moved(self):
        do("cmake", "--install", tree, "--prefix", self.folder / "first")
        self.apply((self.folder / "first").rename(self.folder / "it's moved"))
        (self.folder / "it's moved").rename(self.folder / "again")
        do("sv", "term", service)
        self.eventually(lambda: MISSING in relay_log())
        self.apply(self.folder / "again")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:2], verbosity=2)
