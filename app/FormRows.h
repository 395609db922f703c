#pragma once
// The rows of the main window's form, made from core/ProfileFields.def.

#include <string>
#include <string_view>

#include "app/ContentView.h"
#include "core/ProviderProfile.h"
#include "core/Text.h"

namespace ferrin::app {

/// A label and an input for one line of text.
struct FormRow {
  std::string_view label;
  std::string_view placeholder;
  Field<std::string> ContentView::*field;
  bool isSecret;
  /// Where the profile holds it, and what it holds for a typed text; both null for what is not saved with it.
  std::string core::ProviderProfile::*member;
  std::string (*saved)(std::string_view typed);
};

/// Top to bottom.
inline constexpr FormRow formRows[] = {
#define PROFILE_SETTING(member, presence, initial, field, saved, label, placeholder) \
  {label, placeholder, &ContentView::field, false, &core::ProviderProfile::member, core::saved},
#define FORM_SECRET(field, label, placeholder) \
  {label, placeholder, &ContentView::field, true, nullptr, nullptr},
#include "core/ProfileFields.def"
};

}  // namespace ferrin::app
