#pragma once
// The menu bar item without a toolkit: its icon, its menu and what the menu does.

#include <functional>
#include <string_view>
#include <vector>

#include "app/Collaborators.h"
#include "core/Observers.h"

namespace ferrin::app {

inline constexpr std::string_view menuBarTitle = "Ferrin Relay";

/// Names the symbol to show: filled while the relay runs, else an outline.
std::string_view menuBarSymbol(bool isRunning);

enum class MenuAction { none, openWindow, stopRelay, restoreOpenAI, quit };

struct MenuItem {
  enum class Kind { button, text, separator };

  Kind kind;
  std::string_view title;
  MenuAction action;

  bool operator==(const MenuItem&) const = default;
};

/// Top to bottom.
std::vector<MenuItem> menuItems(bool isRunning);

/// Lives on the main thread, which every action blocks until it is done.
class MenuBarControls {
 public:
  explicit MenuBarControls(const Collaborators& collaborators);

  std::string_view symbol() const;
  std::vector<MenuItem> items() const;
  /// `observer` is told when symbol and items have changed.
  core::Subscription subscribe(std::function<void()> observer);

  void choose(MenuAction action);

  void openWindow();
  void stopRelay();
  /// Restores the agent's configuration, and only then stops the relay; a failure is shown in an alert, and
  /// nothing else is done.
  void restoreOpenAI();
  /// Leaves the relay running.
  void quit();

 private:
  const Collaborators with;
};

}  // namespace ferrin::app
