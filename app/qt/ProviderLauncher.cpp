#include "app/qt/ProviderLauncher.h"

#include <QApplication>
#include <QIcon>
#include <exception>
#include <utility>

#include "app/CommandLineMode.h"
#include "app/qt/Activation.h"
#include "app/qt/Display.h"
#include "app/qt/look/Text.h"
#include "core/LauncherError.h"
#include "relay/Resources.h"
#include "relay/system/Command.h"
#include "relay/system/ExecutablePath.h"

namespace ferrin::qt {
namespace {

/// Makes the event loop run the main queue.
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
  QApplication::setApplicationName(fromUTF8(app::menuBarTitle));  // also the tray item's title
  QApplication::setDesktopFileName("com.ferrin.Relay");
  QApplication::setWindowIcon(QIcon(":/icons/com.ferrin.Relay.svg"));
  QApplication::setQuitOnLastWindowClosed(false);
}

/// What was found about other launches of this user.
struct LaunchCheck {
  /// The application runs already, and has come to the front.
  bool runsAlready;
  std::optional<SingleInstance> instance;
};

/// A failure is only reported: the application starts all the same.
LaunchCheck checkOtherLaunches(const core::Locations& locations) {
  try {
    auto instance = SingleInstance::take(instanceFolder(locations.home), activationToken());
    return {!instance, std::move(instance)};
  } catch (const std::exception& error) {
    writeError("ferrin-relay: " + std::string(error.what()) + "; other launches will not find this one");
    return {false, std::nullopt};
  }
}

int runWithWindow(int& count, char** arguments) {
  const core::Locations locations(core::homeDirectoryForCurrentUser());
  LaunchCheck launch = checkOtherLaunches(locations);
  if (launch.runsAlready) return 0;
  const auto application = openDisplay(count, arguments);
  describeApplication();
  setUpLook(*application);
  const ProviderLauncherApp launcher(locations, std::move(launch.instance));
  return QApplication::exec();
}

int fail(const std::exception& error) {
  writeError("ferrin-relay: " + core::localizedDescription(error));
  return 1;
}

}  // namespace

ProviderLauncherApp::ProviderLauncherApp(const core::Locations& locations,
                                         std::optional<SingleInstance> ownInstance)
    : services(relay::chooseServiceManager(locations)),
      colours(followDesktopColours([](Colouring colouring) { setColouring(*qApp, colouring); })),
      launcherState(locations, *services),
      shell([this] { return trayItem->isPresent(); }),
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
      window(
          contentView, [this] { windowClosed(); }, [this] { menuBarControls.quit(); }),
      trayItem(makeTrayItem([this](app::MenuAction action) { chosen(action); }, [this] { trayItemLost(); })),
      menuBarSubscription(menuBarControls.subscribe([this] { showTrayItem(); })),
      instance(std::move(ownInstance)) {
  setColouring(*qApp, colours->colouring());
  shell.setWindow(&window);
  shell.openWindow(app::mainWindow);
  showTrayItem();
  listenForLaunches();
  whenOpenedAgain([this] { comeForward(""); });
}

ProviderLauncherApp::~ProviderLauncherApp() { dispatcher.finish(); }

void ProviderLauncherApp::showTrayItem() {
  trayItem->show(menuBarControls.symbol(), menuBarControls.toolTip(), menuBarControls.items());
}

/// While an alert is shown, its event loop runs the menu: no second relay action then.
void ProviderLauncherApp::chosen(app::MenuAction action) {
  const bool isRelayAction = action == app::MenuAction::stopRelay || action == app::MenuAction::restoreOpenAI;
  if (isRelayAction && shell.isShowingAlert()) return;
  menuBarControls.choose(action);
}

/// Without a tray item there is no way back to a closed window.
void ProviderLauncherApp::windowClosed() {
  if (!trayItem->isPresent()) shell.terminate();
}

void ProviderLauncherApp::trayItemLost() {
  if (!window.isVisible()) shell.openWindow(app::mainWindow);
}

void ProviderLauncherApp::listenForLaunches() {
  if (!instance) return;
  launches.emplace(instance->descriptor(), QSocketNotifier::Read);
  QObject::connect(&*launches, &QSocketNotifier::activated, &window,
                   [this] { instance->answer([this](const std::string& token) { comeForward(token); }); });
}

void ProviderLauncherApp::comeForward(const std::string& token) {
  withActivationToken(token, [this] { menuBarControls.openWindow(); });
}

int ProviderLauncherApp::main(int count, char** arguments) {
  if (app::isReferenceConfigurationRequested({arguments, arguments + count})) {
    return app::runReferenceConfiguration();
  }
  try {
    return runWithWindow(count, arguments);
  } catch (const std::exception& error) {
    return fail(error);
  }
}

}  // namespace ferrin::qt
