"""The application as people use it: its window by keyboard and through assistive technology, its tray item through a
panel, with a service manager (runit), a relay and a provider that are real, in a private home. Argument: the tree of a
release build.
"""

import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from desktop import Desktop, eventually

tree = pathlib.Path(sys.argv[1])
KEY = "sk-of-the-provider"
LABELS = ["Ferrin Relay", "已保存配置", "Provider URL", "API key", "Model", "Direct provider test", "Relay is stopped"]
MENU = ["Open Ferrin Relay", "", "Relay is stopped", "Restore OpenAI", "Quit Ferrin Relay"]


def output_of(*command):
    return subprocess.run(command, capture_output=True, text=True, check=False).stdout.strip()


def relay_answers():
    question = '{"model": "m", "input": "word by word"}'
    return "word by word" in output_of("curl", "-s", "--json", question, "http://127.0.0.1:8787/v1/responses")


class WindowTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="ferrin-desktop-")
        cls.addClassCleanup(folder.cleanup)
        cls.desktop = Desktop(folder.name)

    def setUp(self):
        """Somebody with a home of their own, by the user database alone, and no systemd."""
        folder = tempfile.TemporaryDirectory(prefix="ferrin-user-")
        self.addCleanup(folder.cleanup)
        place = pathlib.Path(folder.name)
        self.home = place / "home"
        self.home.mkdir()
        (place / "passwd").write_text(f"someone:x:{os.getuid()}:{os.getgid()}::{self.home}:/bin/sh\n")
        (place / "group").write_text(f"someone:x:{os.getgid()}:\n")
        self.environment = os.environ | {
            "LD_PRELOAD": "libnss_wrapper.so", "NSS_WRAPPER_PASSWD": f"{place}/passwd", "HOME": "/nowhere",
            "NSS_WRAPPER_GROUP": f"{place}/group", "XDG_RUNTIME_DIR": str(place), "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"}
        services = self.home / ".local/share/ferrin-relay/sv"
        self.addCleanup(lambda: output_of("sv", "-w", "7", "force-shutdown", *services.glob("*")))
        self.desktop.show_tray()
        self.addCleanup(self.desktop.hide_tray)

    def launch(self, *arguments, **environment):
        return subprocess.Popen([tree / "bin/ferrin-relay", *arguments], env=self.environment | environment,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)

    def assert_ends(self, process, status, output=""):
        self.assertEqual((process.communicate(timeout=20)[0], process.returncode), (output, status))

    def start(self, **environment):
        process = self.process = self.launch(**environment)
        self.addCleanup(lambda: self.assertEqual(process.communicate(timeout=20)[0], ""))
        self.addCleanup(process.terminate)
        self.desktop.find("Save profile")
        eventually(lambda: not self.desktop.tray or self.desktop.tray.item)

    def open_window(self):
        """Its identifier. An icon in an X11 tray is a window of the same name, but a small one."""
        windows = output_of("xdotool", "search", "--onlyvisible", "--pid", str(self.process.pid), "--name", "^Ferrin Relay$")
        return next((window for window in windows.split()
                     if "WIDTH=520" in output_of("xdotool", "getwindowgeometry", "--shell", window)), None)

    def keyboard(self, *action):
        output_of("xdotool", "windowactivate", "--sync", eventually(self.open_window), *action)

    def close_window(self):
        self.keyboard("key", "alt+F4")
        eventually(lambda: not self.open_window())

    def brightness(self):
        return float(output_of("import", "-window", self.open_window(), "-format", "%[fx:mean]", "info:"))

    def test_does_the_main_job_by_keyboard_in_dark_and_light(self):
        (self.home.parent / "key").write_text(KEY)
        provider = subprocess.Popen(
            [tree / "bin/ferrin-sample-provider", "--key-file", self.home.parent / "key", "--prefix", "/v1", "--echo"],
            stdout=subprocess.PIPE, text=True)
        self.addCleanup(provider.communicate)
        self.addCleanup(provider.terminate)
        url = provider.stdout.readline().split()[-1]
        self.start()
        self.assertEqual((list(self.desktop.shown("label")), list(self.home.iterdir())), (LABELS, []))
        self.assertEqual((list(self.desktop.tray.menu()), self.desktop.tray.menu()["Relay is stopped"]), (MENU, 0))
        self.assertRegex(pathlib.Path(f"/proc/{self.process.pid}/limits").read_text(), r"Max core file size +0 +0 ")
        stopped = self.desktop.tray.symbol()
        self.keyboard("key", "shift+Tab", "shift+Tab", "type", f"Work\t\t{url}/\t{KEY}")
        self.desktop.press("Save profile")
        for role in "label", "notification":
            self.desktop.find("Loaded Work. The key is stored securely.", role)
        self.assertEqual(self.desktop.text("Provider URL"), url)
        letters = self.desktop.letters_told(8)
        self.keyboard("type", "sk-typed")
        self.assertEqual(letters(), "•" * 8)
        self.assertNotIn("sk", self.desktop.text("API key", "password text"))
        self.keyboard("key", "ctrl+a", "BackSpace", "type", "\t\t\tSay it.")
        self.keyboard("key", "ctrl+Return")
        eventually(lambda: self.desktop.text("Response") == "Say it.")
        eventually(lambda: self.brightness() < 0.5)
        self.desktop.turn_light()
        eventually(lambda: self.brightness() > 0.5)

        self.keyboard("key", "shift+Tab", "shift+Tab", "Return")  # applies, and is out of the way
        eventually(lambda: not self.open_window())
        eventually(relay_answers)
        eventually(lambda: self.desktop.tray.shown()["ToolTip"][2] == "Ferrin Relay: the relay is running")
        self.assertNotEqual(self.desktop.tray.symbol(), stopped)
        self.desktop.tray.choose("Open Ferrin Relay")
        self.desktop.find("Running: relay is ready; Ferrin configuration was left unchanged", "label")

        self.desktop.tray.choose("Stop relay")
        self.desktop.find("Apply and start")
        eventually(lambda: "Relay is stopped" in self.desktop.tray.menu() and self.desktop.tray.symbol() == stopped)
        self.assertFalse(relay_answers())
        holders = output_of("grep", "-rl", KEY, self.home).split()
        self.assertEqual({os.path.dirname(file) for file in holders}, {f"{self.home}/.ferrin/secrets"})

    def test_shows_an_alert_that_comes_before_what_the_menu_does(self):
        (self.home / ".ferrin/secrets").mkdir(parents=True)
        (self.home / ".ferrin/secrets/provider-launcher.running").write_text("running")
        self.start()
        self.desktop.tray.choose("Restore OpenAI")
        self.desktop.find("未找到 ~/.ferrin/config.toml", "label")
        self.desktop.tray.choose("Stop relay")
        self.desktop.press("OK")
        eventually(lambda: "OK" not in self.desktop.shown("button"))
        self.assertIn("Stop relay", self.desktop.tray.menu())
        self.desktop.tray.choose("Quit Ferrin Relay")
        self.assert_ends(self.process, 0)

    def test_ends_what_was_begun_before_it_quits_and_comes_back_to_its_place(self):
        self.start()
        output_of("xdotool", "windowmove", "--sync", self.open_window(), "40", "60")
        self.keyboard("key", "ctrl+w")
        eventually(lambda: not self.open_window())
        self.desktop.tray.choose("Open Ferrin Relay")
        eventually(lambda: "x:  40" in output_of("xwininfo", "-id", eventually(self.open_window)).replace("X", "x"))
        eventually(lambda: output_of("xdotool", "getwindowfocus").strip() == self.open_window())
        self.keyboard("type", "http://127.0.0.1:9/v1\tsk")
        self.keyboard("key", "Return", "sleep", "0.3", "key", "ctrl+q")  # while the relay is being started
        self.assert_ends(self.process, 0)
        self.assertEqual((self.home / ".ferrin/secrets/provider-launcher.running").read_text(), "running\n")

    def test_waits_for_a_tray_at_no_cost_and_is_its_window_where_there_is_none(self):
        self.desktop.hide_tray()
        self.start()
        self.keyboard("key", "shift+Tab")  # to a button: a text cursor blinks
        process = pathlib.Path("/proc") / str(self.process.pid)
        self.assertLess(int(output_of("ps", "-o", "rss=", "-p", process.name)), 80 * 1024)

        def wakings():
            return output_of("grep", "-h", "ctxt_switches", *process.glob("task/*/status"))
        eventually(lambda: wakings() == (time.sleep(3), wakings())[1])
        self.desktop.show_tray()
        eventually(lambda: self.desktop.tray.item)
        self.close_window()
        self.desktop.hide_tray()
        self.assertIsNone(self.open_window(), "a panel may start again")
        eventually(self.open_window)
        self.process.kill()  # what it leaves behind is in nobody's way
        self.process.wait()
        self.start()
        self.keyboard("key", "alt+F4")
        self.assert_ends(self.process, 0)

    def test_goes_to_an_x11_tray_where_that_is_all_there_is_and_comes_forward_when_launched_again(self):
        self.desktop.hide_tray()
        with subprocess.Popen(["trayer"], stderr=subprocess.DEVNULL) as tray:
            self.addCleanup(tray.terminate)
            eventually(lambda: output_of("xdotool", "search", "--class", "trayer"))
            self.start()
            self.close_window()
            (self.home / ".ferrin/secrets").mkdir(parents=True)
            (self.home / ".ferrin/secrets/openai-proxy-upstream.url").write_text(" http://new/ ")
            self.assert_ends(self.launch(), 0)
            self.assertEqual(self.desktop.text("Provider URL"), "http://new")
            self.close_window()
            tray.terminate()
        eventually(self.open_window)

    def test_keeps_its_last_row_in_sight_on_wayland_where_it_can_not_be_moved(self):
        weston = subprocess.Popen(["weston", "-Bheadless-backend.so", "--height=768", "-Swayland", "--no-config"],
                                  env=self.environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(weston.communicate)
        self.addCleanup(weston.terminate)
        eventually((self.home.parent / "wayland").exists)
        self.start(WAYLAND_DISPLAY="wayland", DISPLAY="")
        before = self.desktop.bottom("Apply and start")
        self.desktop.type("Prompt", "text")
        self.desktop.press("Send to provider")
        self.desktop.find("Response", "text")
        eventually(lambda: 0 < self.desktop.bottom("Apply and start") - before <= (768 - before) / 2)

    def test_says_in_one_line_why_it_does_not_start(self):
        instead = "; ferrin-relay --apply-reference-config starts the relay without one"
        for argument, display, reason in (
                ("--apply-reference-config", "", "reference configuration failed: 未找到已保存的第三方 URL 或 API Key"),
                ("--apply-reference-config=yes", ":7654", "ferrin-relay: no display can be used (DISPLAY=:7654)" + instead),
                ("", "", "ferrin-relay: no display can be used (neither WAYLAND_DISPLAY nor DISPLAY is set)" + instead)):
            self.assert_ends(self.launch(argument, DISPLAY=display), 1, reason + "\n")


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    unittest.main(argv=sys.argv[:1] + sys.argv[2:], verbosity=2)
