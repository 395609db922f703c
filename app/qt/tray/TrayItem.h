#pragma once
// The application's item in the menu bar or tray.

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "app/MenuBarControls.h"

namespace ferrin::qt {

/// Lives on the main thread.
class TrayItem {
 public:
  using Chosen = std::function<void(app::MenuAction)>;

  virtual ~TrayItem() = default;

  /// Shows this from now on, and as soon as there is a place for it. `symbol` is one of menuBarSymbol's.
  virtual void show(std::string_view symbol, const std::vector<app::MenuItem>& items) = 0;

  /// Whether a person can see it just now.
  virtual bool isPresent() = 0;
};

/// `chosen` is called for what is chosen from the menu; `lost` when the item can't be seen any more, and for
/// longer than it takes a panel to start again.
std::unique_ptr<TrayItem> makeTrayItem(TrayItem::Chosen chosen, std::function<void()> lost);

}  // namespace ferrin::qt
