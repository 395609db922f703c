#pragma once
// The menu bar item without a toolkit: its icon, its menu and the actions of the menu.

#include <functional>
#include <string_view>
#include <vector>

#include "app/Collaborators.h"
#include "core/Observers.h"

namespace ferrin::app {

inline constexpr std::string_view menuBarTitle = "Ferrin Relay";

/// The name of the symbol to show: filled while the relay runs, else an outline.
std::string_view menuBarSymbol(bool isRunning);

/// What the item says when it is pointed at.
std::string_view menuBarToolTip(bool isRunning);

/// What choosing an item does.
enum class MenuAction { none, openWindow, stopRelay, restoreOpenAI, quit };

/// `text` is shown disabled; a separator has neither title nor action. Titles are static.
struct MenuItem {
  enum class Kind { button, text, separator };

  Kind kind;
  std::string_view title;
  MenuAction action;

  bool operator==(const MenuItem&) const = default;
};

/// The items of the menu, top to bottom.
std::vector<MenuItem> menuItems(bool isRunning);

/// Used on the main thread, which every action blocks until it has ended. No action throws.
class MenuBarControls {
 public:
  /// What `collaborators` refers to outlives this object.
  explicit MenuBarControls(const Collaborators& collaborators);

  std::string_view symbol() const;
  std::string_view toolTip() const;
  std::vector<MenuItem> items() const;
  /// Calls `observer` after symbol, tool tip and items have changed.
  core::Subscription subscribe(std::function<void()> observer);

  /// Performs the action of a chosen item.
  void choose(MenuAction action);

  void openWindow();
  void stopRelay();
  /// Restores the agent's configuration, then stops the relay and restarts ChatGPT. When the restore fails,
  /// shows an alert and does nothing else.
  void restoreOpenAI();
  /// Quits the application. The relay keeps running.
  void quit();

 private:
  const Collaborators with;
};

}  // namespace ferrin::app
