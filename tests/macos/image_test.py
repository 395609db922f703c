"""The bundle and disk image of macOS, as far as they can be had on Linux: packed from the cross-compiled tree, whose
programs are empty, with stand-ins that record what Apple's tools are asked for.

Arguments: the script that packs, that tree, and the version.
"""

import os
import pathlib
import plistlib
import shutil
import subprocess
import sys
import tempfile
import unittest

script, tree, version = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3]
TOOLS = ("codesign", "hdiutil", "macdeployqt", "xcrun")
RECORDING = """#!/bin/sh
{ printf '%s' "${0##*/}"; printf ' [%s]' "$@"; echo; } >>"$CALLS"
"""
DEPLOYING = RECORDING + """mkdir -p "$1/Contents/Frameworks/QtCore.framework/Versions"
: >"$1/Contents/Frameworks/QtCore.framework/Versions/inner.dylib"
: >"$1/Contents/Frameworks/libicuuc.dylib"
"""


class Image(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        for tool in TOOLS:
            (self.folder / tool).write_text(DEPLOYING if tool == "macdeployqt" else RECORDING)
            (self.folder / tool).chmod(0o755)
        self.addCleanup(shutil.rmtree, tree / "package", ignore_errors=True)

    def pack(self, **variables):
        """The outcome, and the calls with the bundle written as APP and the image as DMG."""
        calls = self.folder / "calls"
        environment = {"PATH": f"{self.folder}:{os.environ['PATH']}", "CALLS": str(calls)} | variables
        done = subprocess.run([script, tree], env=environment, capture_output=True, text=True, check=False)
        text = calls.read_text() if calls.exists() else ""
        for path, name in ((f"{tree}/package/image/Ferrin Relay.app", "APP"), (self.image(), "DMG")):
            text = text.replace(str(path), name)
        return done, text.replace("APP/Contents/Helpers/ferrin-third-party-proxy", "HELPER").splitlines()

    def signed(self, calls, options):
        """What is signed after the libraries, in this order; they are signed first, each whole."""
        start = f"codesign [--force] [{options}] ["
        parts = [call[len(start):-1] for call in calls if call.startswith(start)]
        libraries = {f"APP/Contents/Frameworks/{name}" for name in ("QtCore.framework", "libicuuc.dylib")}
        self.assertEqual(set(parts[:2]), libraries)
        return parts[2:]

    def image(self):
        return tree / f"package/Ferrin-Relay-{version}.dmg"

    def test_the_bundle_is_whole(self):
        done, calls = self.pack()
        self.assertEqual((done.returncode, done.stdout), (0, f"{self.image()}\n"), done.stderr)
        app = tree / "package/image/Ferrin Relay.app"
        shutil.rmtree(app / "Contents/Frameworks")
        contents = {str(file.relative_to(app / "Contents")) for file in app.rglob("*") if file.is_file()}
        self.assertEqual(contents, {"Info.plist", "MacOS/Ferrin Relay", "Helpers/ferrin-third-party-proxy",
                                    "Resources/AppIcon.icns", "Resources/copyright", "Resources/proxy.py"})
        self.assertEqual(sorted(os.listdir(app.parent)), ["Applications", "Ferrin Relay.app"])
        self.assertIn("built='' #", (app / "Contents/Resources/proxy.py").read_text())
        facts = plistlib.loads((app / "Contents/Info.plist").read_bytes())
        expected = {"CFBundleIdentifier": "com.ferrin.Relay", "CFBundleExecutable": "Ferrin Relay",
                    "CFBundleIconFile": "AppIcon", "CFBundlePackageType": "APPL", "LSUIElement": True,
                    "CFBundleShortVersionString": version, "CFBundleVersion": version,
                    "LSMinimumSystemVersion": "13.0", "NSHighResolutionCapable": True}
        self.assertEqual({name: facts.get(name) for name in expected}, expected)
        self.assertEqual(calls[0], "macdeployqt [APP] [-executable=HELPER]")
        self.assertEqual(self.signed(calls, "--sign] [-"), ["HELPER", "APP"])
        self.assertEqual(calls[-1], "hdiutil [create] [-quiet] [-volname] [Ferrin Relay] [-srcfolder] "
                                    f"[{app.parent}] [-format] [UDZO] [DMG]")

    def test_the_icon_file_holds_every_size(self):
        icon = tree / "Ferrin Relay.app/Contents/Resources/AppIcon.icns"
        listed = subprocess.run(["icns2png", "-l", icon], capture_output=True, text=True, check=True).stdout
        for size in (16, 32, 128, 256, 512, 1024):
            self.assertIn(f"{size}x{size} 32-bit icon", listed)

    def test_signs_and_has_notarised_what_it_is_told_to(self):
        done, calls = self.pack(FERRIN_SIGN_IDENTITY="Developer ID Application: X", FERRIN_NOTARY_PROFILE="profile")
        self.assertEqual(done.returncode, 0, done.stderr)
        options = "--timestamp] [--options] [runtime] [--sign] [Developer ID Application: X"
        self.assertEqual(self.signed(calls, options), ["HELPER", "APP", "DMG"])
        self.assertEqual(calls[-2:], ["xcrun [notarytool] [submit] [DMG] [--keychain-profile] [profile] [--wait]",
                                      "xcrun [stapler] [staple] [DMG]"])
        done, _ = self.pack(FERRIN_NOTARY_PROFILE="profile")
        self.assertEqual((done.returncode, done.stderr),
                         (1, "only what is signed can be notarised: set FERRIN_SIGN_IDENTITY too\n"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
