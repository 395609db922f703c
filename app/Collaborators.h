#pragma once
// What the window and the menu work with.

#include <filesystem>
#include <functional>

#include "app/ApplicationShell.h"
#include "app/Dispatcher.h"
#include "core/Locations.h"
#include "providertest/HttpClient.h"
#include "relay/LauncherState.h"
#include "relay/ServiceManager.h"

namespace ferrin::app {

/// Everything referred to outlives the views. `dispatcher` goes next, before what the work that it runs uses:
/// `locations` and `services`. `httpClient` goes before `dispatcher`, to which its answers are handed on.
struct Collaborators {
  const core::Locations& locations;
  relay::ServiceManager& services;
  /// The relay script that came with the application.
  std::filesystem::path proxyResource;
  relay::LauncherState& launcherState;
  Dispatcher& dispatcher;
  providertest::HttpClient& httpClient;
  ApplicationShell& application;
  /// Ends ChatGPT and starts it again; blocks, and throws nothing.
  std::function<void()> restartChatGPTApplication;
};

}  // namespace ferrin::app
