#pragma once
// The main window without a toolkit: its state and its actions. How it looks is the toolkit's; what it shows
// follows from the fields by ContentRules.h.

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/Collaborators.h"
#include "app/Field.h"
#include "core/Observers.h"
#include "core/ProfileStore.h"

namespace ferrin::app {

/// Lives on the main thread. No action throws; each says in `status` or `response` how it went. Results of
/// background work that arrive after the view has gone are dropped.
class ContentView {
 public:
  explicit ContentView(const Collaborators& collaborators);
  ContentView(const ContentView&) = delete;
  ContentView& operator=(const ContentView&) = delete;

 private:
  const Collaborators with;
  core::Observers<> observers;

 public:
  relay::LauncherState& launcherState;
  // The rows of the form, a Field<std::string> each: upstreamURL, apiKey, model.
#define PROFILE_SETTING(member, presence, initial, field, saved, label, placeholder) \
  Field<std::string> field = {observers, initial};
#define FORM_SECRET(field, label, placeholder) Field<std::string> field = {observers, ""};
#include "core/ProfileFields.def"
  Field<bool> restartChatGPT{observers, true};
  Field<std::string> status{observers, "Relay is stopped"};
  /// While a relay action works in the background.
  Field<bool> isWorking{observers, false};
  Field<std::string> prompt{observers, ""};
  Field<std::string> response{observers, ""};
  /// While a provider test is on its way.
  Field<bool> isSending{observers, false};
  /// Sorted by name.
  Field<core::ProviderProfiles> profiles{observers, {}};
  /// A profile's canonical id text; any other text stands for a new profile. A change, whoever makes it, is
  /// followed by loadProfile, once, and when the action that made it has ended.
  Field<std::string> selectedProfileID{observers, "",
                                       [this](const std::string& id) { selectionChanged(id); }};
  Field<std::string> profileName{observers, "默认"};

  /// `observer` is told after each change of a field or of the launcher's state, in the middle of an action
  /// too.
  core::Subscription subscribe(std::function<void()> observer);

  /// Called each time the window appears: asks for the relay's state, then loads what is saved.
  void appear();

  /// Takes the profiles and the relay's current URL from disk. The rest of the form is left alone.
  void loadSavedConfiguration();

  /// Fills the form from the profile with that id text; for any other text does nothing.
  void loadProfile(const std::string& id);

  /// Saves the form as the selected profile, or as a new one, which is then selected. The key goes to a file
  /// of its own, first; a failure later on leaves it there.
  void saveProfile();

  /// The key to use: the typed one, else the profile's, else, for no profile or one whose key file is blank,
  /// the relay's current one. May be empty. Throws std::system_error when the profile's key file can't be
  /// read.
  std::string resolvedKey(const std::optional<core::ProviderProfile>& profile) const;

  /// Checks the form, then stores URL and key and starts the relay in the background.
  void apply();

  /// Takes the agent's configuration back to the official provider and then stops the relay, in the
  /// background.
  void restoreOfficial();

  /// Stops the relay; blocks until the service manager has answered.
  void stop();

  /// Sends the prompt to the provider without the relay; the answer ends up in `response`.
  void sendToProvider();

 private:
  /// Lets steps that are submitted to the main queue find out whether the view is still there.
  using Self = std::shared_ptr<ContentView*>;
  using Step = std::function<void(ContentView& view)>;
  /// Submits a step to the main queue; callable from any thread, and after the view has gone.
  using Poster = std::function<void(Step)>;

  Poster poster() const;
  std::optional<core::ProviderProfile> selectedProfile() const;
  core::ProviderProfile profileFromForm(const core::UUID& id) const;
  std::string resolvedKeyOrNone() const;
  void selectionChanged(const std::string& id);
  void saveForm();
  void store(const core::ProviderProfile& profile, const std::string& key);
  void showApplied();
  void showRestored();
  void showFailure(const std::string& text);

  Self self = std::make_shared<ContentView*>(this);
  bool isSaving = false;
  core::Subscription launcherStateSubscription;
};

}  // namespace ferrin::app
