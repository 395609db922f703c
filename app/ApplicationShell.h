#pragma once
// What the views need from the application around them: the seam to the toolkit.

#include <string>
#include <string_view>

namespace ferrin::app {

/// The identifier of the window with the ContentView.
inline constexpr std::string_view mainWindow = "main";

/// Every call is on the main thread and throws nothing.
class ApplicationShell {
 public:
  virtual ~ApplicationShell() = default;

  /// Brings the application to the front and gives it the focus.
  virtual void activate() = 0;
  /// Opens the window, or brings it to the front when it is open. Ignores unknown identifiers.
  virtual void openWindow(std::string_view identifier) = 0;
  /// Hides all windows of the application.
  virtual void hide() = 0;
  /// Shows a failure and returns when the user has dismissed it. The event loop runs meanwhile: any other
  /// call may arrive before this one returns.
  virtual void showAlert(const std::string& description) = 0;
  /// Ends the event loop. The relay keeps running.
  virtual void terminate() = 0;
};

}  // namespace ferrin::app
