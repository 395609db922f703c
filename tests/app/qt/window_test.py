"""The application as people use it: its window by keyboard and through assistive technology, its tray item through a
panel, with a service manager (runit), a relay and a provider that are real, in a private home.

Arguments: the tree of a release build, and the folder for the screenshots.
"""

import os
import pathlib
import platform
import resource
import signal
import subprocess
import sys
import tempfile
import unittest

from desktop import Desktop, Window, eventually

tree, screenshots = (pathlib.Path(argument) for argument in sys.argv[1:3])
KEY = "sk-of-the-provider"
LABELS = ["Ferrin Relay", "已保存配置", "Provider URL", "API key", "Model", "Direct provider test", "Relay is stopped"]
# The system calls that wait, and which of their arguments says how long: poll in milliseconds, ppoll and futex by a pointer.
WAITS = {"x86_64": {"7": 3, "271": 3, "202": 4}, "aarch64": {"73": 3, "98": 4}}[platform.machine()]


def output_of(*command):
    return subprocess.run(command, capture_output=True, text=True, check=False).stdout


def relay_answers():
    question = '{"model": "m", "input": "word by word"}'
    return "word by word" in output_of("curl", "-s", "--json", question, "http://127.0.0.1:8787/v1/responses")


class WindowTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        screenshots.mkdir(parents=True, exist_ok=True)
        if os.getuid() == 0:
            resource.setrlimit(resource.RLIMIT_CORE, (1, 1))  # something for the application to lower
        cls.desktop = Desktop()
        cls.addClassCleanup(cls.desktop.end)

    def setUp(self):
        """Somebody with a home of their own, by the user database alone, and no systemd."""
        folder = tempfile.TemporaryDirectory(prefix="ferrin-user-")
        self.addCleanup(folder.cleanup)
        self.place = pathlib.Path(folder.name)
        self.home = self.place / "home"
        self.home.mkdir()
        (self.place / "passwd").write_text(f"someone:x:{os.getuid()}:{os.getgid()}::{self.home}:/bin/sh\n")
        (self.place / "group").write_text(f"someone:x:{os.getgid()}:\n")
        self.environment = os.environ | {
            "LD_PRELOAD": "libnss_wrapper.so", "NSS_WRAPPER_PASSWD": f"{folder.name}/passwd", "HOME": "/nowhere",
            "NSS_WRAPPER_GROUP": f"{folder.name}/group", "XDG_RUNTIME_DIR": folder.name,
            "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"}
        self.addCleanup(self.end_relay)
        self.tray = self.desktop.show_tray()
        self.addCleanup(self.desktop.hide_tray)

    def end_relay(self):
        for service in self.home.glob(".local/share/ferrin-relay/sv/*"):
            output_of("sv", "-w", "7", "force-shutdown", service)

    def launch(self, *arguments, **environment):
        return subprocess.Popen([tree / "bin/ferrin-relay", *arguments], env=self.environment | environment,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)

    def start(self):
        self.process = self.launch()
        self.addCleanup(self.finish, self.process)
        self.window = Window(self.process)
        self.window.find("Save profile")
        eventually(lambda: not self.desktop.tray or self.tray.item)

    def finish(self, process):
        process.terminate()
        self.assertEqual(process.communicate(timeout=20)[0], "")

    def open_window(self):
        """Its identifier. An icon in an X11 tray is a window of the same name, but a small one."""
        windows = output_of("xdotool", "search", "--onlyvisible", "--pid", str(self.process.pid), "--name", "^Ferrin Relay$")
        return next((window for window in windows.split()
                     if "WIDTH=520\n" in output_of("xdotool", "getwindowgeometry", "--shell", window)), None)

    def keys(self, *keys):
        """Presses what is the name of a key, and types other texts."""
        output_of("xdotool", "windowactivate", "--sync", eventually(self.open_window))
        for key in keys:
            kind = "key" if key in {"Tab", "shift+Tab", "space", "Return", "ctrl+Return", "ctrl+a", "BackSpace", "alt+F4"} else "type"
            output_of("xdotool", kind, "--clearmodifiers", key)

    def close_window(self):
        self.keys("alt+F4")
        eventually(lambda: not self.open_window())

    def launch_again(self):
        second = self.launch()
        self.assertEqual((second.communicate(timeout=20)[0], second.returncode), ("", 0))
        eventually(self.open_window)

    def save_profile(self):
        """From where the keyboard is at the start; it ends at the API key."""
        (self.place / "key").write_text(KEY)
        provider = subprocess.Popen(
            [tree / "bin/ferrin-sample-provider", "--key-file", self.place / "key", "--prefix", "/v1", "--echo"],
            stdout=subprocess.PIPE, text=True)
        self.addCleanup(provider.communicate)
        self.addCleanup(provider.terminate)
        url = provider.stdout.readline().split()[-1]
        self.keys("Tab", "ctrl+a", "Work", "Tab", "Tab", url + "/", "Tab", KEY, "shift+Tab", "shift+Tab", "space")
        self.window.find("Loaded Work. The key is stored securely.", "label")
        self.assertEqual(self.window.text("Provider URL"), url)
        self.keys("Tab", "Tab")

    def brightness(self, name):
        """Of the window, from 0 to 1; its picture is kept."""
        output_of("import", "-window", self.open_window(), screenshots / f"{name}.png")
        return float(output_of("identify", "-format", "%[fx:mean]", screenshots / f"{name}.png"))

    def test_does_the_main_job_by_keyboard_in_dark_and_light(self):
        self.start()
        self.assertEqual((list(self.window.all("label")), list(self.home.iterdir())), (LABELS, []))
        self.assertFalse(self.tray.menu()["Relay is stopped"], "nothing to choose")
        self.assertRegex(pathlib.Path(f"/proc/{self.process.pid}/limits").read_text(), r"Max core file size +0 ")
        stopped = self.tray.symbol()
        self.save_profile()
        self.keys("sk-typed")
        self.assertNotIn("sk", self.window.text("API key", "password text"))
        self.keys("ctrl+a", "BackSpace", "Tab", "Tab", "Tab", "Say it.", "ctrl+Return")
        eventually(lambda: self.window.text("Response") == "Say it.")
        eventually(lambda: self.brightness("dark") < 0.5)
        self.desktop.turn_light()
        eventually(lambda: self.brightness("light") > 0.5)

        self.keys("shift+Tab", "shift+Tab", "Return")  # applies, and is out of the way
        eventually(lambda: not self.open_window())
        eventually(relay_answers)
        self.assertNotEqual(self.tray.symbol(), stopped)
        self.tray.choose("Open Ferrin Relay")
        self.window.find("Running: relay is ready; Ferrin configuration was left unchanged", "label")

        self.tray.choose("Stop relay")
        self.window.find("Apply and start")
        eventually(lambda: "Relay is stopped" in self.tray.menu() and self.tray.symbol() == stopped)
        self.assertFalse(relay_answers())
        holders = output_of("grep", "-rl", KEY, self.home).split()
        self.assertEqual({os.path.dirname(file) for file in holders}, {f"{self.home}/.ferrin/secrets"})

    def test_finishes_before_it_quits_and_restores_the_official_configuration_if_there_is_one(self):
        self.start()
        self.save_profile()
        self.window.press("Apply and start")
        eventually(lambda: "Apply and start" not in self.window.all("push button"))
        self.tray.choose("Quit Ferrin Relay")
        self.assertEqual(self.process.wait(timeout=20), 0)
        eventually(relay_answers)

        self.start()
        self.tray.choose("Restore OpenAI")
        self.window.find("未找到 ~/.ferrin/config.toml", "label")
        self.tray.choose("Stop relay")  # the alert comes first
        self.window.press("OK")
        eventually(lambda: "OK" not in self.window.all("push button"))
        self.assertTrue(relay_answers())
        configuration = self.home / ".ferrin/config.toml"
        configuration.write_text('model_provider = "custom"\nopenai_base_url = "http://127.0.0.1:8787/v1"\n')
        self.tray.choose("Restore OpenAI")
        self.window.find("Apply and start")
        self.assertFalse(relay_answers())
        self.assertEqual(configuration.read_text().strip(), 'model_provider = "openai"')

    def test_is_one_application_however_often_it_is_launched(self):
        self.start()
        self.close_window()
        self.launch_again()
        self.process.kill()  # what it leaves behind is in nobody's way
        self.process.wait()
        self.start()

    def test_follows_the_tray_and_is_its_window_where_there_is_none(self):
        self.desktop.hide_tray()
        self.start()
        self.tray = self.desktop.show_tray()
        eventually(lambda: self.tray.item)
        self.close_window()
        self.desktop.hide_tray()
        self.tray = self.desktop.show_tray()
        eventually(lambda: self.tray.item)
        self.assertIsNone(self.open_window(), "a panel may start again")
        self.desktop.hide_tray()
        eventually(self.open_window)
        self.launch_again()
        self.keys("alt+F4")
        self.assertEqual(self.process.wait(timeout=20), 0)

    def test_goes_to_an_x11_tray_where_that_is_all_there_is(self):
        self.desktop.hide_tray()
        with subprocess.Popen(["trayer"], stderr=subprocess.DEVNULL) as tray:
            self.addCleanup(tray.terminate)
            eventually(lambda: output_of("xdotool", "search", "--class", "trayer"))
            self.start()
            self.close_window()
            tray.terminate()
        eventually(self.open_window)

    def test_says_in_one_line_why_it_does_not_start(self):
        for argument, display, reason in (
                ("-x", "", "ferrin-relay: no display can be used (neither WAYLAND_DISPLAY nor DISPLAY is set)"),
                ("-x", ":7654", "ferrin-relay: no display can be used (DISPLAY=:7654)"),
                ("--apply-reference-config", "", "reference configuration failed: 未找到已保存的第三方 URL 或 API Key")):
            process = self.launch(argument, DISPLAY=display)
            self.assertEqual((process.communicate(timeout=20)[0], process.returncode), (reason + "\n", 1))

    def test_costs_little_and_nothing_while_it_waits_for_a_tray(self):
        self.desktop.hide_tray()
        self.start()
        process = pathlib.Path("/proc") / str(self.process.pid)
        fields = (process / "stat").read_text().rpartition(")")[2].split()
        self.assertLess((int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK"), 0.3)
        self.assertLess(int((process / "statm").read_text().split()[1]) * os.sysconf("SC_PAGE_SIZE"), 80 * 2**20)

        def waits_long(task):
            """Without an end, or until the toolkit looks through its pictures: once, half a minute after the start."""
            call = (task / "syscall").read_text().split()
            time = int(call[WAITS[call[0]]], 16) if call[0] in WAITS else 1
            return time == 0 or 10_000 <= time < 2**32
        eventually(lambda: all(waits_long(task) for task in (process / "task").iterdir()))


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
