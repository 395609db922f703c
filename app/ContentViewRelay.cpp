// The actions of the main window that start and stop the relay.

#include <exception>
#include <utility>

#include "agentconfig/OfficialConfiguration.h"
#include "app/ContentRules.h"
#include "app/ContentView.h"
#include "core/LauncherError.h"
#include "core/RestrictedFile.h"
#include "core/Text.h"
#include "relay/RelayService.h"

namespace ferrin::app {

// A key file that can't be read counts as no key.
std::string ContentView::resolvedKeyOrNone() const {
  try {
    return resolvedKey(selectedProfile());
  } catch (const std::exception&) {
    return "";
  }
}

void ContentView::apply() {
  const std::string url = core::canonicalURL(upstreamURL.get());
  const std::string key = resolvedKeyOrNone();
  if (auto reason = reasonNotToApply(url, key, core::trimmed(model.get()))) {
    status = *std::move(reason);
    return;
  }
  isWorking = true;
  status = "Saving relay profile and starting the private relay...";
  // Copies: the user may change the form while the work runs.
  with.dispatcher.inBackground([&locations = with.locations, &services = with.services,
                                resource = with.proxyResource, url, key, post = poster()] {
    try {
      core::writeRestricted(locations.upstreamURLFile, url);
      core::writeRestricted(locations.upstreamKeyFile, key);
      relay::installAndStartService(locations, services, resource);
      post([](ContentView& view) { view.showApplied(); });
    } catch (const std::exception& error) {
      post([text = "Error: " + core::localizedDescription(error)](ContentView& view) {
        view.showFailure(text);
      });
    }
  });
}

void ContentView::showApplied() {
  apiKey = "";  // it is stored now
  isWorking = false;
  launcherState.setRunning(true);
  status = "Running: relay is ready; Ferrin configuration was left unchanged";
  if (!restartChatGPT) return;
  with.restartChatGPTApplication();
  with.application.hide();
}

// The relay is stopped only when the configuration no longer points at it.
void ContentView::restoreOfficial() {
  isWorking = true;
  status = "正在恢复官方 OpenAI 配置...";
  with.dispatcher.inBackground([&locations = with.locations, &services = with.services, post = poster()] {
    try {
      agentconfig::restoreOfficialConfiguration(locations);
      relay::stopServices(services);
      post([](ContentView& view) { view.showRestored(); });
    } catch (const std::exception& error) {
      post([text = "失败：" + core::localizedDescription(error)](ContentView& view) {
        view.showFailure(text);
      });
    }
  });
}

void ContentView::showRestored() {
  isWorking = false;
  launcherState.setRunning(false);
  status = "已恢复官方 OpenAI 配置";
  if (restartChatGPT) with.restartChatGPTApplication();
}

void ContentView::showFailure(const std::string& text) {
  isWorking = false;
  status = text;
}

void ContentView::stop() {
  relay::stopServices(with.services);
  launcherState.setRunning(false);
  status = "Relay stopped. Profiles and keys were kept.";
}

}  // namespace ferrin::app
