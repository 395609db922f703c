#pragma once
// Whether there is a tray of the newer kind: a host of status notifier items.

#include <QDBusServiceWatcher>
#include <QObject>
#include <functional>

namespace ferrin::qt {

/// Knows of none at first: at login the panel often comes last.
class TrayHost : public QObject {
  Q_OBJECT

 public:
  /// `changed` is called when the first host has come or the last one has gone.
  explicit TrayHost(std::function<void()> changed);

  bool isThere() const { return hostIsThere; }

 private slots:
  /// A watcher may be there long before any host is.
  void askWatcher();

 private:
  void take(bool isThere);

  const std::function<void()> changed;
  QDBusServiceWatcher watcher;
  bool hostIsThere = false;
};

}  // namespace ferrin::qt
