#pragma once
// Whether a tray of the newer kind is present: a host of status notifier items (StatusNotifierItem, D-Bus).

#include <QDBusServiceWatcher>
#include <QObject>
#include <functional>

namespace ferrin::qt {

/// Used on the main thread. Reports no host until the first answer over D-Bus; at login the panel often
/// starts last.
class TrayHost : public QObject {
  Q_OBJECT

 public:
  /// Calls `changed` when the first host has appeared, and when the last one has ended.
  explicit TrayHost(std::function<void()> changed);

  bool isPresent() const { return hostIsPresent; }

 private slots:
  /// A watcher can run long before any host.
  void askWatcher();

 private:
  void take(bool isPresent);

  const std::function<void()> changed;
  QDBusServiceWatcher watcher;
  bool hostIsPresent = false;
};

}  // namespace ferrin::qt
