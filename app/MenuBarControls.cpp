#include "app/MenuBarControls.h"

#include <exception>
#include <utility>

#include "agentconfig/OfficialConfiguration.h"
#include "core/LauncherError.h"
#include "relay/RelayService.h"

namespace ferrin::app {

std::string_view menuBarSymbol(bool isRunning) {
  return isRunning ? "arrow.triangle.2.circlepath.circle.fill" : "arrow.triangle.2.circlepath.circle";
}

std::string_view menuBarToolTip(bool isRunning) {
  return isRunning ? "Ferrin Relay: the relay is running" : "Ferrin Relay: the relay is stopped";
}

std::vector<MenuItem> menuItems(bool isRunning) {
  using Kind = MenuItem::Kind;
  const MenuItem separator{Kind::separator, "", MenuAction::none};
  const MenuItem relay = isRunning ? MenuItem{Kind::button, "Stop relay", MenuAction::stopRelay}
                                   : MenuItem{Kind::text, "Relay is stopped", MenuAction::none};
  return {{Kind::button, "Open Ferrin Relay", MenuAction::openWindow},
          separator,
          relay,
          {Kind::button, "Restore OpenAI", MenuAction::restoreOpenAI},
          separator,
          {Kind::button, "Quit Ferrin Relay", MenuAction::quit}};
}

MenuBarControls::MenuBarControls(const Collaborators& collaborators) : with(collaborators) {}

std::string_view MenuBarControls::symbol() const { return menuBarSymbol(with.launcherState.isRunning()); }

std::string_view MenuBarControls::toolTip() const { return menuBarToolTip(with.launcherState.isRunning()); }

std::vector<MenuItem> MenuBarControls::items() const { return menuItems(with.launcherState.isRunning()); }

core::Subscription MenuBarControls::subscribe(std::function<void()> observer) {
  return with.launcherState.subscribe([observer = std::move(observer)](bool) { observer(); });
}

void MenuBarControls::choose(MenuAction action) {
  switch (action) {
    case MenuAction::none:
      return;
    case MenuAction::openWindow:
      return openWindow();
    case MenuAction::stopRelay:
      return stopRelay();
    case MenuAction::restoreOpenAI:
      return restoreOpenAI();
    case MenuAction::quit:
      return quit();
  }
}

void MenuBarControls::openWindow() {
  with.application.activate();
  with.application.openWindow(mainWindow);
}

void MenuBarControls::stopRelay() {
  relay::stopServices(with.services);
  with.launcherState.setRunning(false);
}

void MenuBarControls::restoreOpenAI() {
  try {
    agentconfig::restoreOfficialConfiguration(with.locations);
  } catch (const std::exception& error) {
    with.application.showAlert(core::localizedDescription(error));
    return;
  }
  stopRelay();  // only now: the configuration no longer points at it
  with.restartChatGPTApplication();
}

void MenuBarControls::quit() { with.application.terminate(); }

}  // namespace ferrin::app
