#pragma once
// What the main window shows and accepts, as rules on values.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/ProfileStore.h"

namespace ferrin::app {

enum class StatusColour { secondary, red };

/// Red for what begins with "失败", and for nothing else: "Error: " is not red.
StatusColour statusColour(std::string_view status);

enum class RelayAction { apply, stop };

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

RelayButton relayButton(bool isRunning, bool isWorking);

/// Enabled for a prompt with something visible in it.
Button sendButton(bool isSending, std::string_view prompt);

/// Any text shows the panel, one of blanks too.
bool showsResponse(std::string_view response);

/// An entry of the profile picker; `id` is what choosing it selects.
struct PickerEntry {
  std::string name;
  std::string id;

  bool operator==(const PickerEntry&) const = default;
};

/// "Current profile", which stands for no saved one and selects the empty text, then the profiles in their
/// order.
std::vector<PickerEntry> pickerEntries(const core::ProviderProfiles& profiles);

/// The profile with that canonical id text, compared as it is written.
std::optional<core::ProviderProfile> profileWithID(const core::ProviderProfiles& profiles,
                                                   std::string_view id);

/// Whether each text that a profile can't be without is there.
bool hasRequiredTexts(const core::ProviderProfile& profile);

/// Why this can't be applied, as the status says it; the first of several reasons. `url` and `model` come
/// canonical and trimmed.
std::optional<std::string> reasonNotToApply(std::string_view url, std::string_view key,
                                            std::string_view model);

}  // namespace ferrin::app
