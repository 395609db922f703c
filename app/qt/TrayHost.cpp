#include "app/qt/TrayHost.h"

#include <xcb/xcb.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QGuiApplication>
#include <cstdlib>
#include <memory>
#include <utility>

namespace ferrin::qt {
namespace {

const QString service = "org.kde.StatusNotifierWatcher";
const QString path = "/StatusNotifierWatcher";

struct Free {
  void operator()(void* reply) const { std::free(reply); }
};
template <typename Reply>
using Owned = std::unique_ptr<Reply, Free>;

}  // namespace

TrayHost::TrayHost(std::function<void()> whenAppeared)
    : appeared(std::move(whenAppeared)),
      watcher(service, QDBusConnection::sessionBus(), QDBusServiceWatcher::WatchForRegistration) {
  connect(&watcher, &QDBusServiceWatcher::serviceRegistered, this, [this] { ask(); });
  QDBusConnection::sessionBus().connect(service, path, service, "StatusNotifierHostRegistered", this,
                                        SLOT(hostRegistered()));
  ask();
}

void TrayHost::hostRegistered() { appeared(); }

/// A watcher may be there long before any host is.
void TrayHost::ask() {
  auto message = QDBusMessage::createMethodCall(service, path, "org.freedesktop.DBus.Properties", "Get");
  message << service << "IsStatusNotifierHostRegistered";
  message.setAutoStartService(false);
  auto* question = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(message), this);
  connect(question, &QDBusPendingCallWatcher::finished, this, [this, question] {
    const QDBusPendingReply<QDBusVariant> reply = *question;
    if (reply.isValid() && reply.value().variant().toBool()) appeared();
    question->deleteLater();
  });
}

bool hasX11Tray() {
  const auto* x11 = qApp->nativeInterface<QNativeInterface::QX11Application>();
  if (!x11) return false;
  xcb_connection_t* connection = x11->connection();
  constexpr std::string_view name = "_NET_SYSTEM_TRAY_S0";
  const Owned<xcb_intern_atom_reply_t> tray(
      xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 0, name.size(), name.data()), nullptr));
  if (!tray) return false;
  const Owned<xcb_get_selection_owner_reply_t> owner(
      xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, tray->atom), nullptr));
  return owner && owner->owner != XCB_NONE;
}

}  // namespace ferrin::qt
