#include "app/qt/tray/TrayHost.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <utility>

namespace ferrin::qt {
namespace {

const QString service = "org.kde.StatusNotifierWatcher";
const QString path = "/StatusNotifierWatcher";

}  // namespace

TrayHost::TrayHost(std::function<void()> whenChanged)
    : changed(std::move(whenChanged)),
      watcher(service, QDBusConnection::sessionBus(), QDBusServiceWatcher::WatchForOwnerChange) {
  connect(&watcher, &QDBusServiceWatcher::serviceOwnerChanged, this, &TrayHost::askWatcher);
  for (const char* signal : {"StatusNotifierHostRegistered", "StatusNotifierHostUnregistered"}) {
    QDBusConnection::sessionBus().connect(service, path, service, signal, this, SLOT(askWatcher()));
  }
  askWatcher();
}

void TrayHost::askWatcher() {
  auto message = QDBusMessage::createMethodCall(service, path, "org.freedesktop.DBus.Properties", "Get");
  message << service << "IsStatusNotifierHostRegistered";
  message.setAutoStartService(false);  // a started watcher would have no host
  auto* question = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(message), this);
  connect(question, &QDBusPendingCallWatcher::finished, this, [this, question] {
    const QDBusPendingReply<QDBusVariant> reply = *question;
    take(reply.isValid() && reply.value().variant().toBool());
    question->deleteLater();
  });
}

void TrayHost::take(bool isPresent) {
  if (std::exchange(hostIsPresent, isPresent) != isPresent) changed();
}

}  // namespace ferrin::qt
