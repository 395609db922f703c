#pragma once
// Whether there is a tray of the older kind: X11's own.

#include <xcb/xcb.h>

#include <QAbstractNativeEventFilter>
#include <functional>

namespace ferrin::qt {

/// There is none where there is no X11. Needs a QApplication.
class X11Tray : private QAbstractNativeEventFilter {
 public:
  /// `changed` is called when a tray has come or gone.
  explicit X11Tray(std::function<void()> changed);

  bool isThere() const { return tray != XCB_NONE; }

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
