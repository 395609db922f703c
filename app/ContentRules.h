#pragma once
// What the main window shows and accepts: pure functions.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/ProfileStore.h"

namespace ferrin::app {

enum class StatusColour { secondary, red };

/// Red for texts that begin with "失败" only; "Error: " is not red.
StatusColour statusColour(std::string_view status);

/// What pressing the relay button does.
enum class RelayAction { apply, stop };

/// `label` is static.
struct Button {
  std::string_view label;
  bool enabled;

  bool operator==(const Button&) const = default;
};

struct RelayButton {
  Button button;
  RelayAction action;

  bool operator==(const RelayButton&) const = default;
};

/// The one button that starts or stops the relay; disabled while an action works.
RelayButton relayButton(bool isRunning, bool isWorking);

/// Enabled unless the prompt is blank or a test is under way.
Button sendButton(bool isSending, std::string_view prompt);

/// Whether the window first opens with the focus in the form's first row; else it is in the prompt.
bool startsInForm(std::string_view savedURL);

/// True for every text that is not empty, blanks included.
bool showsResponse(std::string_view response);

/// An entry of the profile picker; `id` becomes selectedProfileID when it is chosen.
struct PickerEntry {
  std::string name;
  std::string id;

  bool operator==(const PickerEntry&) const = default;
};

/// "Current profile", with the empty text as its id, and then the profiles in their order.
std::vector<PickerEntry> pickerEntries(const core::ProviderProfiles& profiles);

/// The first profile with that canonical id text; the comparison is case-sensitive.
std::optional<core::ProviderProfile> profileWithID(const core::ProviderProfiles& profiles,
                                                   std::string_view id);

/// Whether every required text of the profile is filled in.
bool hasRequiredTexts(const core::ProviderProfile& profile);

/// The status text for a form that can't be applied; the first reason of several, no value for a valid form.
/// `url` is canonical and `model` trimmed.
std::optional<std::string> reasonNotToApply(std::string_view url, std::string_view key,
                                            std::string_view model);

}  // namespace ferrin::app
