#pragma once
// The symbols of the tray item, as pictures.

#include <QIcon>
#include <string_view>

namespace ferrin::qt {

/// `symbol` is one of menuBarSymbol's. From the icon theme where it has ours, so that panels recolour it;
/// else drawn so that it can be seen on any panel.
QIcon trayIcon(std::string_view symbol);

}  // namespace ferrin::qt
