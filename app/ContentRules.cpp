#include "app/ContentRules.h"

#include <algorithm>
#include <iterator>

#include "core/Text.h"
#include "providertest/URLComponents.h"

namespace ferrin::app {
namespace {

/// The scheme is compared case-sensitively. An empty host passes: only a missing one fails.
bool isCompleteWebURL(std::string_view url) {
  const auto components = providertest::parseURL(url);
  return components && components->host && (components->scheme == "https" || components->scheme == "http");
}

}  // namespace

StatusColour statusColour(std::string_view status) {
  return status.starts_with("失败") ? StatusColour::red : StatusColour::secondary;
}

RelayButton relayButton(bool isRunning, bool isWorking) {
  if (isRunning) return {{"Stop relay", !isWorking}, RelayAction::stop};
  return {{isWorking ? "Applying..." : "Apply and start", !isWorking}, RelayAction::apply};
}

Button sendButton(bool isSending, std::string_view prompt) {
  return {isSending ? "Sending..." : "Send to provider", !isSending && !core::trimmed(prompt).empty()};
}

bool startsInForm(std::string_view savedURL) { return savedURL.empty(); }

bool showsResponse(std::string_view response) { return !response.empty(); }

std::vector<PickerEntry> pickerEntries(const core::ProviderProfiles& profiles) {
  std::vector<PickerEntry> entries{{"Current profile", ""}};
  for (const auto& profile : profiles) entries.push_back({profile.name, profile.id().text()});
  return entries;
}

std::optional<core::ProviderProfile> profileWithID(const core::ProviderProfiles& profiles,
                                                   std::string_view id) {
  const auto found = std::find_if(profiles.begin(), profiles.end(),
                                  [id](const auto& profile) { return profile.id().text() == id; });
  return found == profiles.end() ? std::nullopt : std::optional(*found);
}

bool hasRequiredTexts(const core::ProviderProfile& profile) {
  return std::none_of(std::begin(core::profileMembers), std::end(core::profileMembers),
                      [&profile](const core::ProfileMember& member) {
                        return member.presence == core::Presence::required && (profile.*member.text).empty();
                      });
}

std::optional<std::string> reasonNotToApply(std::string_view url, std::string_view key,
                                            std::string_view model) {
  if (!isCompleteWebURL(url)) return "Error: enter a complete http:// or https:// URL";
  if (key.empty()) return "Error: enter the provider API key";
  if (model.empty()) return "Error: enter a model name";
  return std::nullopt;
}

}  // namespace ferrin::app
