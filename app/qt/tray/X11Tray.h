#pragma once
// Whether a tray of the older kind is present: X11's own (System Tray Protocol, freedesktop.org).

#include <xcb/xcb.h>

#include <QAbstractNativeEventFilter>
#include <functional>

namespace ferrin::qt {

/// Used on the main thread; needs a QApplication that outlives it. Reports no tray without X11.
class X11Tray : private QAbstractNativeEventFilter {
 public:
  /// Calls `changed` when a tray has appeared or ended.
  explicit X11Tray(std::function<void()> changed);

  bool isPresent() const { return tray != XCB_NONE; }

 private:
  bool nativeEventFilter(const QByteArray& type, void* event, qintptr* result) override;
  void look();

  const std::function<void()> changed;
  xcb_connection_t* const connection;
  xcb_atom_t trayName = XCB_NONE;
  xcb_atom_t announcement = XCB_NONE;
  xcb_window_t tray = XCB_NONE;
};

}  // namespace ferrin::qt
