#pragma once
// The application with its window: everything is made here, and handed to those who need it.

#include <memory>

#include "agentconfig/ChatGPTApplication.h"
#include "app/ContentView.h"
#include "app/MenuBarControls.h"
#include "app/ThreadDispatcher.h"
#include "app/qt/DesktopColours.h"
#include "app/qt/DesktopShell.h"
#include "app/qt/MainWindow.h"
#include "providertest/CurlClient.h"
#include "relay/LauncherState.h"

namespace ferrin::qt {

/// One for the life of the process. Needs a QApplication.
class ProviderLauncherApp {
 public:
  ProviderLauncherApp();

  /// The whole process: the command-line mode where the arguments ask for it, before anything of the toolkit
  /// is touched, else the application until it is quit. Returns the exit status.
  static int main(int count, char** arguments);

 private:
  void windowClosed();

  // Ended from the last to the first: nobody outlives what it works with.
  const core::Locations locations;
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
};

}  // namespace ferrin::qt
