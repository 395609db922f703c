#pragma once
// The application with its window: everything is made here, and handed to those who need it.

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

/// One for the life of the process. Needs a QApplication.
class ProviderLauncherApp {
 public:
  /// `locations` are the user's; `instance` is the place that later launches find, where there is one.
  ProviderLauncherApp(const core::Locations& locations, std::optional<SingleInstance> instance);

  /// The whole process: the command-line mode where the arguments ask for it, before anything of the toolkit
  /// is touched, else the application until it is quit. Returns the exit status.
  static int main(int count, char** arguments);

 private:
  void showTrayItem();
  void chosen(app::MenuAction action);
  void windowClosed();
  void trayItemLost();
  void listenForLaunches();
  void comeForward(const std::string& token);

  // Ended from the last to the first: nobody outlives what it works with.
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
