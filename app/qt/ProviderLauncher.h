#pragma once
// The application with its window. All objects are made here and passed to each other by reference.

#include <QSocketNotifier>
#include <memory>
#include <optional>

#include "agentconfig/ChatGPTApplication.h"
#include "app/ContentView.h"
#include "app/MenuBarControls.h"
#include "app/ThreadDispatcher.h"
#include "app/qt/DesktopShell.h"
#include "app/qt/SingleInstance.h"
#include "app/qt/look/DesktopColours.h"
#include "app/qt/tray/TrayItem.h"
#include "app/qt/window/MainWindow.h"
#include "providertest/CurlClient.h"
#include "relay/LauncherState.h"

namespace ferrin::qt {

/// One for the life of the process, on the main thread. Needs a QApplication that outlives it.
class ProviderLauncherApp {
 public:
  /// Shows the window and the tray item. Later launches find `instance`, if there is one. `locations`
  /// outlives this object.
  ProviderLauncherApp(const core::Locations& locations, std::optional<SingleInstance> instance);

  /// Waits for actions under way: each leaves its files, the running marker included, as it promises.
  ~ProviderLauncherApp();

  /// The whole process: the command-line mode when an argument asks for it, before anything of Qt is used,
  /// else the application until it is quit. Returns the exit status; throws nothing.
  static int main(int count, char** arguments);

 private:
  void showTrayItem();
  void chosen(app::MenuAction action);
  void windowClosed();
  void trayItemLost();
  void listenForLaunches();
  void comeForward(const std::string& token);

  // Destroyed from the last to the first, so that each outlives those that use it.
  const std::unique_ptr<relay::ServiceManager> services;
  const std::unique_ptr<DesktopColours> colours;
  relay::LauncherState launcherState;
  DesktopShell shell;
  app::ThreadDispatcher dispatcher;
  providertest::CurlClient httpClient;
  const app::Collaborators collaborators;
  app::ContentView contentView;
  app::MenuBarControls menuBarControls;
  MainWindow window;
  const std::unique_ptr<TrayItem> trayItem;
  core::Subscription menuBarSubscription;
  const std::optional<SingleInstance> instance;
  std::optional<QSocketNotifier> launches;
};

}  // namespace ferrin::qt
