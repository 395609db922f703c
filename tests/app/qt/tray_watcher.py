"""For python-dbusmock: the watcher of a panel that shows status notifier items."""

BUS_NAME = MAIN_IFACE = "org.kde.StatusNotifierWatcher"
MAIN_OBJ = "/StatusNotifierWatcher"
SYSTEM_BUS = False


def load(mock, _parameters):
    mock.AddMethod(MAIN_IFACE, "RegisterStatusNotifierItem", "s", "", "")
    mock.AddProperty(MAIN_IFACE, "IsStatusNotifierHostRegistered", True)
