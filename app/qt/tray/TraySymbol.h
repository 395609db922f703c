#pragma once
// The icons of the tray item.

#include <QIcon>
#include <string_view>

namespace ferrin::qt {

/// The icon for `symbol`, one of menuBarSymbol's: from the icon theme if ours are installed there, so that
/// panels recolour it; else drawn with enough contrast for any panel.
QIcon trayIcon(std::string_view symbol);

}  // namespace ferrin::qt
