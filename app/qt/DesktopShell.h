#pragma once
// The application as the desktop sees it: focus, window, alerts, quitting.

#include <functional>

#include "app/ApplicationShell.h"
#include "app/qt/window/MainWindow.h"

namespace ferrin::qt {

/// Used on the main thread. Without a window, the calls that need one do nothing.
class DesktopShell : public app::ApplicationShell {
 public:
  /// `hasTrayItem` tells whether the user can see a tray item, the way back to a hidden window. Without one,
  /// hide() minimises the window.
  explicit DesktopShell(std::function<bool()> hasTrayItem);

  /// `main` exists until the last of the calls below.
  void setWindow(MainWindow* main) { window = main; }

  void activate() override;
  void openWindow(std::string_view identifier) override;
  void hide() override;
  void showAlert(const std::string& description) override;
  void terminate() override;

  /// True while showAlert waits for the user.
  bool isShowingAlert() const { return alertIsShown; }

 private:
  void hideNow();

  const std::function<bool()> hasTrayItem;
  MainWindow* window = nullptr;
  bool alertIsShown = false;
};

}  // namespace ferrin::qt
