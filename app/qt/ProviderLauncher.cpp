#include "app/qt/ProviderLauncher.h"

#include <QApplication>
#include <QIcon>
#include <exception>

#include "app/CommandLineMode.h"
#include "app/qt/Display.h"
#include "app/qt/Text.h"
#include "core/LauncherError.h"
#include "relay/Command.h"
#include "relay/Resources.h"

namespace ferrin::qt {
namespace {

/// Has the event loop empty the main queue.
void wake(app::ThreadDispatcher& dispatcher) {
  QMetaObject::invokeMethod(
      qApp, [&dispatcher] { dispatcher.runMainQueue(); }, Qt::QueuedConnection);
}

void restartChatGPT() {
  agentconfig::restartChatGPTApplication(
      [](const std::string& program, const std::vector<std::string>& arguments) {
        relay::run(program, arguments);
      });
}

void describeApplication() {
  QApplication::setApplicationName("ferrin-relay");
  QApplication::setApplicationDisplayName(fromUTF8(app::menuBarTitle));
  QApplication::setDesktopFileName("com.ferrin.Relay");
  QApplication::setWindowIcon(QIcon(":/icons/com.ferrin.Relay.svg"));
  QApplication::setQuitOnLastWindowClosed(false);
}

int fail(const std::exception& error) {
  writeError("ferrin-relay: " + core::localizedDescription(error));
  return 1;
}

}  // namespace

ProviderLauncherApp::ProviderLauncherApp()
    : locations(core::homeDirectoryForCurrentUser()),
      services(relay::chooseServiceManager(locations)),
      colours(followDesktopColours([](ColourScheme scheme) { setColourScheme(*qApp, scheme); })),
      launcherState(locations, *services),
      shell([] { return false; }),
      dispatcher([this] { wake(dispatcher); }),
      collaborators{.locations = locations,
                    .services = *services,
                    .proxyResource = relay::proxyResource(relay::executablePath()),
                    .launcherState = launcherState,
                    .dispatcher = dispatcher,
                    .httpClient = httpClient,
                    .application = shell,
                    .restartChatGPTApplication = restartChatGPT},
      contentView(collaborators),
      menuBarControls(collaborators),
      window(contentView, [this] { windowClosed(); }) {
  setColourScheme(*qApp, colours->scheme());
  shell.setWindow(&window);
  shell.openWindow(app::mainWindow);
}

void ProviderLauncherApp::windowClosed() { shell.terminate(); }

int ProviderLauncherApp::main(int count, char** arguments) {
  if (app::isReferenceConfigurationRequested({arguments, arguments + count})) {
    return app::runReferenceConfiguration();
  }
  const auto application = openDisplay(count, arguments);
  try {
    describeApplication();
    setUpLook(*application);
    const ProviderLauncherApp launcher;
    return QApplication::exec();
  } catch (const std::exception& error) {
    return fail(error);
  }
}

}  // namespace ferrin::qt
