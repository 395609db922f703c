#pragma once
// What the views ask of the application around them, whichever toolkit it is made with.

#include <string>
#include <string_view>

namespace ferrin::app {

/// Identifies the window that holds the ContentView.
inline constexpr std::string_view mainWindow = "main";

/// Every call is on the main thread.
class ApplicationShell {
 public:
  virtual ~ApplicationShell() = default;

  /// Brings the application to the front, taking the focus from others.
  virtual void activate() = 0;
  /// Opens the window, or brings forward the one that is open.
  virtual void openWindow(std::string_view identifier) = 0;
  /// Hides all windows of the application.
  virtual void hide() = 0;
  /// Shows a failure and returns once the user has dismissed it.
  virtual void showAlert(const std::string& description) = 0;
  /// Ends the application. The relay runs on.
  virtual void terminate() = 0;
};

}  // namespace ferrin::app
