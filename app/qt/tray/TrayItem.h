#pragma once
// The application's item in the menu bar or tray.

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "app/MenuBarControls.h"

namespace ferrin::qt {

/// Used on the main thread.
class TrayItem {
 public:
  using Chosen = std::function<void(app::MenuAction)>;

  /// Removes the item. Not to be destroyed from `chosen`.
  virtual ~TrayItem() = default;

  /// Shows this now, or when a tray appears. `symbol` is one of menuBarSymbol's and `toolTip` of
  /// menuBarToolTip's, whose texts are static.
  virtual void show(std::string_view symbol, std::string_view toolTip,
                    const std::vector<app::MenuItem>& items) = 0;

  /// Whether the user can see it now.
  virtual bool isPresent() = 0;
};

/// Calls `chosen` for each item that is chosen from the menu, and `lost` when the tray has been away for
/// longer than a panel takes to restart (4 s). Both on the main thread; `chosen` may run an event loop. Needs
/// a QApplication.
std::unique_ptr<TrayItem> makeTrayItem(TrayItem::Chosen chosen, std::function<void()> lost);

}  // namespace ferrin::qt
