"""What a desktop has besides the display and the session bus, which xvfb-run and dbus-run-session make and end: window
manager, accessibility, tray and colour setting. All of it goes with them.
"""

import os
import subprocess
import time

import dbus
import dbusmock
import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

SETTINGS = "org.freedesktop.portal.Settings"
WATCHER = "org.kde.StatusNotifierWatcher"


def eventually(condition, seconds=15):
    """What `condition` returns, once it is true; fails when that takes too long."""
    deadline = time.monotonic() + seconds
    while not (result := condition()):
        if time.monotonic() > deadline:
            raise AssertionError(f"not within {seconds} s")
        time.sleep(0.02)
    return result


def mock(name, path, interface):
    """Something of the desktop that does nothing yet, on the session bus: its process and what is told how to behave."""
    process = dbusmock.DBusTestCase.spawn_server(name, path, interface, stdout=subprocess.DEVNULL)
    return process, dbus.Interface(dbus.SessionBus().get_object(name, path), dbusmock.MOCK_IFACE)


class Tray:
    """A panel that shows status notifier items and their menus."""

    def __init__(self):
        self.process, self.watcher = mock(WATCHER, "/StatusNotifierWatcher", WATCHER)
        self.watcher.AddMethod(WATCHER, "RegisterStatusNotifierItem", "s", "", "")
        self.watcher.AddProperty(WATCHER, "IsStatusNotifierHostRegistered", True)
        self.watcher.EmitSignal(WATCHER, "StatusNotifierHostRegistered", "", [])

    @property
    def item(self):
        calls = self.watcher.GetMethodCalls("RegisterStatusNotifierItem")
        return calls and calls[-1][1][0]

    def ask(self, path, interface, method, *arguments, **options):
        proxy = dbus.SessionBus().get_object(self.item, path, introspect=False)
        return dbus.Interface(proxy, interface).get_dbus_method(method)(*arguments, **options)

    def shown(self):
        return self.ask("/StatusNotifierItem", dbus.PROPERTIES_IFACE, "GetAll", "org.kde.StatusNotifierItem")

    def symbol(self):
        """The icon's name where it has one, else the pixels of its largest picture."""
        shown = self.shown()
        return shown["IconName"] or max(shown["IconPixmap"])[2]

    def menu(self):
        """Label to the number by which it is chosen, 0 where it can't be; separators have no label."""
        _, layout = self.ask("/MenuBar", "com.canonical.dbusmenu", "GetLayout", 0, -1, dbus.Array([], "s"))
        return {values.get("label", "").replace("_", ""): values.get("enabled", True) and number
                for number, values, _ in layout[2]}

    def choose(self, label):
        self.ask("/MenuBar", "com.canonical.dbusmenu", "Event", self.menu()[label], "clicked",
                 dbus.String("", variant_level=1), dbus.UInt32(0), ignore_reply=True)


class Desktop:
    tray = None

    def __init__(self, folder):
        """For the time that `folder` is there."""
        own = {"WAYLAND_DISPLAY": "", "XDG_CURRENT_DESKTOP": "", "XDG_RUNTIME_DIR": folder}
        os.environ.update(own)
        dbus.SessionBus().get_object(dbus.BUS_DAEMON_NAME, dbus.BUS_DAEMON_PATH).UpdateActivationEnvironment(own)
        subprocess.Popen(["openbox"], stderr=subprocess.DEVNULL)
        _, self.portal = mock("org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop", SETTINGS)
        self.portal.AddMethod(SETTINGS, "Read", "ss", "v", "ret = dbus.UInt32(1, variant_level=1)")  # dark
        # Programs look for the accessibility bus once, at their start.
        accessibility = dbus.SessionBus().get_object("org.a11y.Bus", "/org/a11y/bus", introspect=False)
        accessibility.GetAddress(dbus_interface="org.a11y.Bus")
        Atspi.init()

    def turn_light(self):
        light = ("org.freedesktop.appearance", "color-scheme", dbus.UInt32(2, variant_level=1))
        self.portal.EmitSignal(SETTINGS, "SettingChanged", "ssv", light)

    def shown(self, role):
        """Of all windows, as assistive technology sees them, what of that role can be used: by name. An older AT-SPI says
        "push button" for "button"."""
        def below(element):
            element.clear_cache()
            for child in filter(None, map(element.get_child_at_index, range(element.get_child_count()))):
                yield child
                yield from below(child)
        usable = Atspi.StateType.SHOWING, Atspi.StateType.ENABLED
        try:
            return {element.get_name(): element for element in below(Atspi.get_desktop(0))
                    if element.get_role_name().removeprefix("push ") == role and all(map(element.get_state_set().contains, usable))}
        except GLib.Error:
            return {}  # something was gone while we looked

    def find(self, name, role="button"):
        return eventually(lambda: self.shown(role).get(name))

    def press(self, name):
        Atspi.Action.do_action(self.find(name), 0)

    def type(self, name, text):
        Atspi.EditableText.set_text_contents(self.find(name, "text"), text)

    def bottom(self, name):
        """Of a button, in its window."""
        place = Atspi.Component.get_extents(self.find(name), Atspi.CoordType.WINDOW)
        return place.y + place.height

    def text(self, name, role="text"):
        return Atspi.Text.get_text(self.find(name, role), 0, -1)

    def letters_told(self, count):
        """A function that returns the next letters of which programs tell assistive technology that they were typed."""
        told = []
        self.listener = Atspi.EventListener.new(lambda event: told.append(event.any_data))
        self.listener.register("object:text-changed:insert")
        return lambda: eventually(lambda: (GLib.MainContext.default().iteration(False), told[count - 1:] and "".join(told))[1])

    def show_tray(self):
        self.tray = Tray()

    def hide_tray(self):
        if self.tray:
            self.tray.process.terminate()
            self.tray.process.wait()
        self.tray = None
