"""Install, main job, upgrade, removal: as people do it, on a machine that is gone afterwards (own-machine.sh), with all
that runs there.

Arguments: the tree of a release build, its version, and the relay program of the next one.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

tree, version, next_relay = pathlib.Path(sys.argv[1]), sys.argv[2], sys.argv[3]
folder, home = pathlib.Path(tempfile.mkdtemp()), pathlib.Path("/home/somebody")
service = home / ".local/share/ferrin-relay/sv/com.ferrin.third-party-proxy"
relay_path = "libexec/ferrin-relay/ferrin-third-party-proxy"


def do(*command):
    """What the command prints; fails with it when the command does."""
    done = subprocess.run(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    if done.returncode != 0:
        raise AssertionError(f"{command} ended with {done.returncode}: {done.stdout}")
    return done.stdout


def apt(*arguments):
    do("env", "DEBIAN_FRONTEND=noninteractive", "apt-get", "-y", "--no-install-recommends", "-o", "APT::Sandbox::User=root",
       *arguments)


def save_provider():
    """For the user whose home it is; by the user database, that is root."""
    users = pathlib.Path("/etc/passwd")
    users.write_text(f"root:x:0:0::{home}:/bin/sh\n" + re.sub("(?m)^root:.*\n", "", users.read_text()))
    os.environ.pop("XDG_RUNTIME_DIR", None)
    secrets = home / ".ferrin/secrets"
    secrets.mkdir(parents=True, mode=0o700)
    key = secrets / "openai-proxy-upstream.token"
    key.write_text("sk-of-the-provider\n")
    provider = subprocess.Popen([tree / "bin/ferrin-sample-provider", "--key-file", key, "--echo"], stdout=subprocess.PIPE, text=True)
    (secrets / "openai-proxy-upstream.url").write_text(provider.stdout.readline().split()[2])


def removing():
    """What the README has people type to remove everything where runit runs the relay."""
    section = pathlib.Path(__file__).parents[2].joinpath("README.md").read_text().partition("## Removing it\n")[2]
    return [block for block in re.findall(r"```\n(.*?)```", section.partition("\n## ")[0], re.DOTALL)
            if "systemctl" not in block and "launchctl" not in block]


def files():
    """What is in the user's folder, but for the log."""
    return {file: file.read_bytes() for file in home.glob(".ferrin/*/*") if file.suffix != ".log"}


class Life(unittest.TestCase):
    def assert_says(self, what, *command):
        """Within a moment."""
        deadline = time.monotonic() + 20
        while what not in (said := subprocess.run(command, text=True, stdout=subprocess.PIPE, check=False).stdout):
            self.assertLess(time.monotonic(), deadline, said)
            time.sleep(0.01)

    def assert_answers_as(self, expected, ended=False):
        """That version, which the service manager starts where the running one has to end."""
        if ended:
            do("sv", "term", service)
        self.assert_says(f'"version":"{expected}"', "curl", "-s", "http://127.0.0.1:8787/healthz")
        self.assert_says("by word", "curl", "-s", "--json", '{"model": "m", "input": "word by word"}',
                         "http://127.0.0.1:8787/v1/responses")

    def assert_misses_its_program(self):
        do("sv", "term", service)
        self.assert_says("no ferrin-third-party-proxy found: install Ferrin Relay again",
                         "tail", "-n", "1", home / ".ferrin/logs/third-party-proxy.log")

    def apply(self, prefix):
        """The program that is installed there starts the relay that came with it."""
        self.assertEqual(do(prefix / "bin/ferrin-relay", "--apply-reference-config"), "reference configuration applied\n")
        self.assert_answers_as(version)
        process = (service / "supervise/pid").read_text().strip()
        self.assertEqual(os.readlink(f"/proc/{process}/exe"), str(prefix / relay_path))

    def test_a_package_through_its_whole_life_and_an_install_that_is_moved(self):
        save_provider()
        package = next((tree / "package").glob(f"ferrin-relay_{version}_*.deb"))
        apt("install", package)
        self.apply(pathlib.Path("/usr"))
        before = files()

        do("dpkg-deb", "-R", package, folder / "next")
        do("sed", "-i", "s/^Version: .*/&+next/", folder / "next/DEBIAN/control")
        shutil.copy(next_relay, folder / "next/usr" / relay_path)
        do("dpkg-deb", "-b", "--root-owner-group", "-Znone", folder / "next", folder / "next.deb")
        apt("install", folder / "next.deb")
        self.assert_answers_as(version + "+next")

        for kind in ("remove", "purge"):
            apt(kind, "ferrin-relay")
            self.assertEqual([file for file in pathlib.Path("/usr").glob("**/*ferrin*") if tree not in file.parents], [])
            self.assertEqual(files(), before)
            self.assert_misses_its_program()
            if kind == "remove":
                apt("install", package)
                self.assert_answers_as(version, ended=True)

        do("cmake", "--install", tree, "--prefix", folder / "first")
        self.apply((folder / "first").rename(folder / "it's moved"))
        (folder / "it's moved").rename(folder / "again")
        self.assert_misses_its_program()
        self.apply(folder / "again")

        for block in removing():
            do("env", f"HOME={home}", "bash", "-euc", block)
        self.assertEqual([file for file in home.rglob("*") if file.is_file()], [])
        with self.assertRaisesRegex(AssertionError, "Couldn't connect|Failed to connect"):
            do("curl", "-sS", "http://127.0.0.1:8787/healthz")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
