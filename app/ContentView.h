#pragma once
// The main window without a toolkit: its state and its actions. ContentRules.h says what it shows for a
// state; app/qt/window/ draws it.

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/Collaborators.h"
#include "app/Field.h"
#include "core/Observers.h"
#include "core/ProfileStore.h"

namespace ferrin::app {

/// Used and destroyed on the main thread. No action throws: each reports in `status` or `response`. Slow work
/// of `apply` and `restoreOfficial` runs on the dispatcher's background queue with copies of what it needs,
/// and its result arrives on the main queue; `sendToProvider` works likewise with the client's thread. The
/// view may be destroyed meanwhile: the work goes on, and its result is discarded. Nothing keeps two actions
/// from overlapping but the buttons, which `isWorking` and `isSending` disable.
class ContentView {
 public:
  /// What `collaborators` refers to outlives the view. Reads no file: appear() does.
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
  /// What the last action reports; ContentRules.h has its colour.
  Field<std::string> status{observers, "Relay is stopped"};
  /// True while apply or restoreOfficial works in the background.
  Field<bool> isWorking{observers, false};
  /// The direct provider test: what it sends, and the answer or failure of the last one.
  Field<std::string> prompt{observers, ""};
  Field<std::string> response{observers, ""};
  /// True while a provider test is under way.
  Field<bool> isSending{observers, false};
  /// Sorted by name.
  Field<core::ProviderProfiles> profiles{observers, {}};
  /// A profile's canonical id text; any other text means a new profile. Each change calls loadProfile once:
  /// at once, or at the end of saveProfile when that made the change.
  Field<std::string> selectedProfileID{observers, "",
                                       [this](const std::string& id) { selectionChanged(id); }};
  Field<std::string> profileName{observers, "默认"};

  /// Calls `observer` after each change of a field or of the launcher's state, also in the middle of an
  /// action. It may change fields; see core::Observers.
  core::Subscription subscribe(std::function<void()> observer);

  /// To be called each time the window appears: refreshes the relay's state, then calls
  /// loadSavedConfiguration.
  void appear();

  /// Reads the profiles and the relay's current URL from disk. Keeps the rest of the form.
  void loadSavedConfiguration();

  /// Fills the form from the profile with that id text; for any other text does nothing.
  void loadProfile(const std::string& id);

  /// Saves the form as the selected profile, or as a new one, which it then selects. Writes the key to its
  /// own file first, which stays when a later step fails; so does the changed list in memory.
  void saveProfile();

  /// The key to use, trimmed: the typed one; else the profile's; else, without a profile or with a blank key
  /// file, the relay's current one. May be empty. Throws std::system_error when the profile's key file can't
  /// be read.
  std::string resolvedKey(const std::optional<core::ProviderProfile>& profile) const;

  /// Checks the form, then stores URL and key and starts the relay in the background.
  void apply();

  /// Restores the agent's configuration and then stops the relay, in the background. The relay keeps running
  /// when the restore fails.
  void restoreOfficial();

  /// Stops the relay; blocks while the service manager works.
  void stop();

  /// Sends the prompt directly to the provider; `response` shows the answer.
  void sendToProvider();

 private:
  /// Expires with the view: steps on the main queue hold a weak pointer to it.
  using Self = std::shared_ptr<ContentView*>;
  using Step = std::function<void(ContentView& view)>;
  /// Submits a step to the main queue. Callable from any thread, also after the view is destroyed: the step
  /// is discarded then.
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
