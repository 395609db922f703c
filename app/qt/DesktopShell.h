#pragma once
// The application as the desktop sees it: its front, its window, its alerts and its end.

#include <functional>

#include "app/ApplicationShell.h"
#include "app/qt/window/MainWindow.h"

namespace ferrin::qt {

/// Does nothing about a window before it has one.
class DesktopShell : public app::ApplicationShell {
 public:
  /// `hasTrayItem` says whether there is a way back to a hidden window.
  explicit DesktopShell(std::function<bool()> hasTrayItem);

  void setWindow(MainWindow* main) { window = main; }

  void activate() override;
  void openWindow(std::string_view identifier) override;
  void hide() override;
  void showAlert(const std::string& description) override;
  void terminate() override;

  /// Whether an alert waits to be dismissed.
  bool isShowingAlert() const { return alertIsShown; }

 private:
  const std::function<bool()> hasTrayItem;
  MainWindow* window = nullptr;
  bool alertIsShown = false;
};

}  // namespace ferrin::qt
