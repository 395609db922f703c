#include "app/qt/tray/X11Tray.h"

#include <QGuiApplication>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

namespace ferrin::qt {
namespace {

struct Free {
  void operator()(void* reply) const { std::free(reply); }
};
template <typename Reply>
using Owned = std::unique_ptr<Reply, Free>;

xcb_connection_t* connectionOfToolkit() {
  const auto* x11 = qApp->nativeInterface<QNativeInterface::QX11Application>();
  return x11 ? x11->connection() : nullptr;
}

xcb_atom_t atomOf(xcb_connection_t* connection, std::string_view name) {
  const auto question = xcb_intern_atom(connection, 0, static_cast<uint16_t>(name.size()), name.data());
  const Owned<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection, question, nullptr));
  return reply ? reply->atom : XCB_NONE;
}

xcb_window_t ownerOf(xcb_connection_t* connection, xcb_atom_t name) {
  const auto question = xcb_get_selection_owner(connection, name);
  const Owned<xcb_get_selection_owner_reply_t> reply(
      xcb_get_selection_owner_reply(connection, question, nullptr));
  return reply ? reply->owner : XCB_NONE;
}

}  // namespace

X11Tray::X11Tray(std::function<void()> whenChanged)
    : changed(std::move(whenChanged)), connection(connectionOfToolkit()) {
  if (!connection) return;
  trayName = atomOf(connection, "_NET_SYSTEM_TRAY_S0");
  announcement = atomOf(connection, "MANAGER");
  qApp->installNativeEventFilter(this);
  look();
}

/// A new tray sends MANAGER to the root window, whose events Qt receives. It has ended when its window is
/// destroyed.
bool X11Tray::nativeEventFilter(const QByteArray& type, void* message, qintptr*) {
  if (type != "xcb_generic_event_t") return false;
  const auto* event = static_cast<const xcb_generic_event_t*>(message);
  const int kind = event->response_type & ~0x80;
  const bool hasCome = kind == XCB_CLIENT_MESSAGE &&
                       reinterpret_cast<const xcb_client_message_event_t*>(event)->type == announcement;
  const bool hasGone = kind == XCB_DESTROY_NOTIFY &&
                       reinterpret_cast<const xcb_destroy_notify_event_t*>(event)->window == tray;
  if (hasCome || hasGone) look();
  return false;
}

void X11Tray::look() {
  const xcb_window_t before = std::exchange(tray, ownerOf(connection, trayName));
  if (tray != XCB_NONE) {
    constexpr uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection, tray, XCB_CW_EVENT_MASK, &mask);
  }
  if (tray != before) changed();
}

}  // namespace ferrin::qt
