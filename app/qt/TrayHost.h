#pragma once
// Whether there is a tray, and which of the two kinds.

#include <QDBusServiceWatcher>
#include <QObject>
#include <functional>

namespace ferrin::qt {

/// Calls `appeared` each time when a host of status notifier items is found, which may be at once or much
/// later: at login the panel often comes last.
class TrayHost : public QObject {
  Q_OBJECT

 public:
  explicit TrayHost(std::function<void()> appeared);

 private slots:
  void hostRegistered();

 private:
  void ask();

  const std::function<void()> appeared;
  QDBusServiceWatcher watcher;
};

/// Whether somebody manages the older kind of tray, X11's own. False where there is no X11.
bool hasX11Tray();

}  // namespace ferrin::qt
