#pragma once
// What the window and the menu are given to work with.

#include <filesystem>
#include <functional>

#include "app/ApplicationShell.h"
#include "app/Dispatcher.h"
#include "core/Locations.h"
#include "providertest/HttpClient.h"
#include "relay/LauncherState.h"
#include "relay/managers/ServiceManager.h"

namespace ferrin::app {

/// All of it outlives the views. After them `httpClient` is destroyed, whose answers go to `dispatcher`; then
/// `dispatcher`, whose work uses `locations` and `services`; then the rest.
struct Collaborators {
  const core::Locations& locations;
  relay::ServiceManager& services;
  /// The relay script that comes with the application; see relay/Resources.h.
  std::filesystem::path proxyResource;
  relay::LauncherState& launcherState;
  Dispatcher& dispatcher;
  providertest::HttpClient& httpClient;
  ApplicationShell& application;
  /// Restarts the ChatGPT application; blocks, throws nothing.
  std::function<void()> restartChatGPTApplication;
};

}  // namespace ferrin::app
