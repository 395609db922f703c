"""Install, main job, upgrade, removal: as people do it, on a machine that is gone afterwards (own-machine.sh).

Arguments: the tree of a release build, its version, and the relay program of the next one.
"""

import contextlib
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import urllib.request

sys.path.append(str(pathlib.Path(__file__).parents[1] / "app/qt"))
from desktop import Desktop, eventually  # noqa: E402

tree, version, next_relay = pathlib.Path(sys.argv[1]), sys.argv[2], sys.argv[3]
next_version = version + "+next"
home = pathlib.Path("/home/somebody")
secrets = home / ".ferrin/secrets"
service = home / ".local/share/ferrin-relay/sv/com.ferrin.third-party-proxy"
relay_log = home / ".ferrin/logs/third-party-proxy.log"
MISSING = "no ferrin-third-party-proxy found: install Ferrin Relay again"


def do(*command, **options):
    """What the command prints; fails with it when the command does."""
    done = subprocess.run(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command} ended with {done.returncode}: {done.stdout}")
    return done.stdout


def apt(*arguments):
    return do("apt-get", "-y", "-q", "--no-install-recommends", "-o", "APT::Sandbox::User=root",
              *arguments, env=os.environ | {"DEBIAN_FRONTEND": "noninteractive"})


def ask(path, body=None):
    request = urllib.request.Request("http://127.0.0.1:8787" + path, body and json.dumps(body).encode(),
                                     {"Content-Type": "application/json"})
    with urllib.request.urlopen(request, timeout=10) as answer:
        return json.load(answer)


def running_version():
    try:
        return ask("/healthz")["version"]
    except OSError:
        return None


def relay_process():
    return int((service / "supervise/pid").read_text() or 0)


def end_relay():
    """The service manager starts it again."""
    before = relay_process()
    os.kill(before, 15)
    eventually(lambda: relay_process() not in (0, before))


def files():
    """What is in the user's home, but for the log and the service manager's own state."""
    kept = (file for file in home.rglob("*") if file.is_file() and "supervise" not in file.parts)
    return {str(file): file.read_bytes() for file in kept if file != relay_log}


def next_package(package, folder):
    """The same package, with the relay and the number of the next version."""
    do("dpkg-deb", "-R", package, folder / "next")
    control = folder / "next/DEBIAN/control"
    control.write_text(control.read_text().replace(f"\nVersion: {version}\n", f"\nVersion: {next_version}\n"))
    shutil.copy(next_relay, folder / "next/usr/libexec/ferrin-relay/ferrin-third-party-proxy")
    do("dpkg-deb", "-b", "--root-owner-group", "-Znone", folder / "next", folder / "next.deb")
    return folder / "next.deb"


class Life(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        passwd = pathlib.Path("/etc/passwd")
        passwd.write_text(f"root:x:0:0::{home}:/bin/sh\n" + re.sub("(?m)^root:.*\n", "", passwd.read_text()))
        os.environ["HOME"] = str(home)
        os.environ.pop("XDG_RUNTIME_DIR", None)

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        secrets.mkdir(parents=True, mode=0o700)
        self.addCleanup(shutil.rmtree, home)
        key = secrets / "openai-proxy-upstream.token"
        key.write_text("sk-of-the-provider\n")
        provider = subprocess.Popen(
            [tree / "bin/ferrin-sample-provider", "--key-file", key, "--prefix", "/v1", "--echo"],
            stdout=subprocess.PIPE, text=True)
        self.addCleanup(provider.communicate)
        self.addCleanup(provider.terminate)
        url = provider.stdout.readline().split()[2].rstrip(",")
        (secrets / "openai-proxy-upstream.url").write_text(url + "\n")

    def apply(self, program):
        """`program` starts the relay that comes with it."""
        self.assertEqual(do(program, "--apply-reference-config"), "reference configuration applied\n")
        self.addCleanup(subprocess.run, ["sv", "-w", "7", "force-shutdown", service], stdout=subprocess.DEVNULL)
        eventually(running_version)
        self.assert_answers("word by word")
        self.assertEqual(os.readlink(f"/proc/{relay_process()}/exe"),
                         str(program.parents[1] / "libexec/ferrin-relay/ferrin-third-party-proxy"))

    def assert_answers(self, prompt):
        answer = ask("/v1/responses", {"model": "m", "input": prompt})
        self.assertEqual(answer["output"][0]["content"][0]["text"], prompt)

    def test_a_package_through_its_whole_life(self):
        package = next((tree / "package").glob(f"ferrin-relay_{version}_*.deb"))
        self.addCleanup(do, "dpkg", "--purge", "ferrin-relay")
        apt("install", package)
        self.assertIn("/man1/ferrin-relay.1", do("man", "-w", "ferrin-relay"))
        self.apply(pathlib.Path("/usr/bin/ferrin-relay"))
        self.assertEqual(self.tray_icon(), "com.ferrin.Relay-running-symbolic")
        before = files()

        apt("install", next_package(package, self.folder))
        self.assertEqual(running_version(), version)
        end_relay()
        eventually(lambda: running_version() == next_version)
        self.assert_answers("upgraded")
        self.assertIn(f"ferrin-third-party-proxy {next_version}, upstream 127.0.0.1, started by runit\n",
                      relay_log.read_text())

        for kind in ("remove", "purge"):
            running = running_version()
            apt(kind, "ferrin-relay")
            left = [file for file in pathlib.Path("/usr").glob("**/*ferrin*") if tree not in file.parents]
            self.assertEqual(left, [])
            self.assertEqual(running_version(), running)
            self.assertEqual(files(), before)
            if kind == "remove":
                end_relay()
                eventually(lambda: MISSING in relay_log.read_text())
                apt("install", package)
                end_relay()
                eventually(lambda: running_version() == version)

    def tray_icon(self):
        """The name under which the application, started as it is installed, asks the tray for its icon."""
        with contextlib.ExitStack() as cleanups:
            desktop = Desktop()
            cleanups.callback(desktop.end)
            desktop.show_tray()
            application = cleanups.enter_context(subprocess.Popen(["ferrin-relay"]))
            cleanups.callback(application.terminate)
            eventually(lambda: desktop.tray.item)
            return desktop.tray.symbol()

    def test_an_install_that_is_moved(self):
        place = self.folder / "first"
        do("cmake", "--install", tree, "--prefix", place)
        named = subprocess.run(["grep", "-rlF", self.folder, self.folder], stdout=subprocess.PIPE, check=False)
        self.assertEqual(named.stdout, b"")
        for name in ("it's moved", "again"):
            place = place.rename(self.folder / name)
            if name == "again":
                end_relay()
                eventually(lambda: MISSING in relay_log.read_text())
            self.apply(place / "bin/ferrin-relay")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
