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
app, image = tree / "package/image/Ferrin Relay.app", tree / f"package/Ferrin-Relay-{version}.dmg"
RECORDING = """#!/bin/sh
{ printf '%s' "${0##*/}"; printf ' [%s]' "$@"; echo; } >>"$CALLS"
[ "${0##*/}" = macdeployqt ] || exit 0
install -D /dev/null "$1/Contents/Frameworks/libicuuc.dylib"
install -D /dev/null "$1/Contents/Frameworks/QtCore.framework/inner.dylib"
"""


class Image(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        for tool in ("codesign", "hdiutil", "macdeployqt", "xcrun"):
            (self.folder / tool).write_text(RECORDING)
            (self.folder / tool).chmod(0o755)
        self.addCleanup(shutil.rmtree, tree / "package", ignore_errors=True)

    def pack(self, **variables):
        """Status, output and errors, and the calls with short names for what is packed."""
        calls = self.folder / "calls"
        environment = {"PATH": f"{self.folder}:{os.environ['PATH']}", "CALLS": calls} | variables
        done = subprocess.run([script, tree], env=environment, capture_output=True, text=True, check=False)
        text = calls.read_text() if calls.exists() else ""
        for path, name in ((app.parent, "FOLDER"), ("FOLDER/Ferrin Relay.app", "APP"), (image, "DMG"),
                           ("APP/Contents/Helpers/ferrin-third-party-proxy", "HELPER")):
            text = text.replace(str(path), name)
        return (done.returncode, done.stdout, done.stderr), text.splitlines()

    def test_the_bundle_is_whole(self):
        outcome, calls = self.pack()
        self.assertEqual(outcome[:2], (0, f"{image}\n"), outcome)
        contents = {str(file.relative_to(app / "Contents")) for file in app.rglob("*") if file.is_file()}
        self.assertEqual(contents, {"Info.plist", "MacOS/Ferrin Relay", "Helpers/ferrin-third-party-proxy",
                                    "Resources/AppIcon.icns", "Resources/copyright", "Resources/proxy.py",
                                    "Frameworks/libicuuc.dylib", "Frameworks/QtCore.framework/inner.dylib"})
        self.assertEqual(sorted(os.listdir(app.parent)), ["Applications", "Ferrin Relay.app"])
        self.assertIn("built='' #", (app / "Contents/Resources/proxy.py").read_text())
        facts = {"CFBundleIdentifier": "com.ferrin.Relay", "CFBundleExecutable": "Ferrin Relay",
                 "CFBundleIconFile": "AppIcon", "CFBundlePackageType": "APPL", "LSUIElement": True,
                 "CFBundleShortVersionString": version, "CFBundleVersion": version,
                 "LSMinimumSystemVersion": "13.0", "NSHighResolutionCapable": True}
        found = plistlib.loads((app / "Contents/Info.plist").read_bytes())
        self.assertEqual(found | facts, found)
        listed = subprocess.run(["icns2png", "-l", app / "Contents/Resources/AppIcon.icns"],
                                capture_output=True, text=True, check=True).stdout
        for size in (16, 32, 128, 256, 512, 1024):
            self.assertIn(f"{size}x{size} 32-bit icon", listed)
        self.assertEqual(calls[0], "macdeployqt [APP] [-executable=HELPER]")
        sign = "codesign [--force] [--sign] [-]"
        self.assertEqual(set(calls[1:3]), {f"{sign} [APP/Contents/Frameworks/{library}]"
                                           for library in ("libicuuc.dylib", "QtCore.framework")})
        self.assertEqual(calls[3:], [f"{sign} [HELPER]", f"{sign} [APP]",
                                     "hdiutil [create] [-quiet] [-volname] [Ferrin Relay] [-srcfolder] [FOLDER] "
                                     "[-format] [UDZO] [DMG]"])

    def test_signs_and_has_notarised_what_it_is_told_to(self):
        outcome, calls = self.pack(FERRIN_SIGN_IDENTITY="Developer ID Application: X", FERRIN_NOTARY_PROFILE="profile")
        self.assertEqual(outcome[0], 0, outcome)
        sign = "codesign [--force] [--timestamp] [--options] [runtime] [--sign] [Developer ID Application: X]"
        self.assertEqual([call for call in calls if call.startswith("codesign")][2:],
                         [f"{sign} [HELPER]", f"{sign} [APP]", f"{sign} [DMG]"])
        self.assertEqual(calls[-2:], ["xcrun [notarytool] [submit] [DMG] [--keychain-profile] [profile] [--wait]",
                                      "xcrun [stapler] [staple] [DMG]"])
        self.assertEqual(self.pack(FERRIN_NOTARY_PROFILE="profile")[0],
                         (1, "", "only what is signed can be notarised: set FERRIN_SIGN_IDENTITY too\n"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
