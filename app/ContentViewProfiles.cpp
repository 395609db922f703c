// The actions of the main window that save and load profiles.

#include <exception>

#include "app/ContentRules.h"
#include "app/ContentView.h"
#include "app/FormRows.h"
#include "core/LauncherError.h"
#include "core/RestrictedFile.h"
#include "core/Text.h"
#include "core/TextFile.h"

namespace ferrin::app {

void ContentView::loadSavedConfiguration() {
  profiles = core::loadProfiles(with.locations);
  upstreamURL = core::canonicalURL(
      core::readSavedText(with.locations.upstreamURLFile, with.locations.legacyUpstreamURLFile));
}

void ContentView::loadProfile(const std::string& id) {
  const auto profile = profileWithID(profiles, id);
  if (!profile) return;
  profileName = profile->name;
  for (const FormRow& row : formRows) {
    if (row.member != nullptr) this->*row.field = (*profile).*row.member;
  }
  apiKey = "";
  status = "Loaded " + profile->name + ". The key is stored securely.";
}

std::string ContentView::resolvedKey(const std::optional<core::ProviderProfile>& profile) const {
  if (std::string typed = core::trimmed(apiKey.get()); !typed.empty()) return typed;
  if (profile) {
    std::string stored = core::trimmed(core::readText(core::keyFileURL(*profile, with.locations)));
    if (!stored.empty()) return stored;
  }
  return core::trimmed(
      core::readSavedText(with.locations.upstreamKeyFile, with.locations.legacyUpstreamKeyFile));
}

void ContentView::saveProfile() {
  const std::string selectedBefore = selectedProfileID;
  isSaving = true;
  try {
    saveForm();
  } catch (const std::exception& error) {
    status = "Error: " + core::localizedDescription(error);
  }
  isSaving = false;
  // What selectionChanged has put off.
  if (selectedProfileID.get() != selectedBefore) loadProfile(selectedProfileID);
}

/// The key file's name follows from the id, whatever it was before.
core::ProviderProfile ContentView::profileFromForm(const core::UUID& id) const {
  core::ProviderProfile profile(id, core::trimmed(profileName.get()), "", "",
                                "provider-key-" + id.text() + ".token");
  for (const FormRow& row : formRows) {
    if (row.member != nullptr) profile.*row.member = row.saved((this->*row.field).get());
  }
  return profile;
}

void ContentView::saveForm() {
  const auto edited = selectedProfile();
  const core::ProviderProfile profile = profileFromForm(edited ? edited->id() : core::UUID::random());
  if (!hasRequiredTexts(profile)) {
    status = "Error: profile name, URL and model are required";
    return;
  }
  const std::string key = resolvedKey(edited);
  if (key.empty()) {
    status = "Error: enter the API key once before saving";
    return;
  }
  store(profile, key);
  selectedProfileID = profile.id().text();
  apiKey = "";
  status = "Saved profile " + profile.name;
}

void ContentView::store(const core::ProviderProfile& profile, const std::string& key) {
  core::writeRestricted(core::keyFileURL(profile, with.locations), key);
  core::ProviderProfiles updated = profiles;
  std::erase_if(updated, [&profile](const auto& other) { return other.id() == profile.id(); });
  updated.push_back(profile);
  core::sortByName(updated);
  // In this order: a failed save keeps the new list in memory, and the next save writes it.
  profiles = std::move(updated);
  core::saveProfiles(profiles, with.locations);
}

}  // namespace ferrin::app
