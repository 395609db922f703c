#pragma once
// One model provider that the user has set up.

#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "core/UUID.h"

namespace ferrin::core {

/// A value: copies are independent. Two profiles are equal, and hash the same, when the id and all texts are
/// equal.
class ProviderProfile {
 public:
  /// Texts that came with later versions start as ProfileFields.def says.
  ProviderProfile(UUID identity, std::string displayName, std::string baseURL, std::string modelName,
                  std::string keyFileName)
      : fixedID(identity),
        name(std::move(displayName)),
        url(std::move(baseURL)),
        model(std::move(modelName)),
        keyFile(std::move(keyFileName)) {}

  /// Chosen when the profile is first saved; never changes.
  const UUID& id() const { return fixedID; }

  bool operator==(const ProviderProfile&) const = default;

 private:
  UUID fixedID;

 public:
  // A std::string each: name, url, model, keyFile.
#define PROFILE_MEMBER(member, presence, initial) std::string member = initial;
#include "core/ProfileFields.def"
};

enum class Presence { required, optional };

/// A text of a profile, as the profiles file holds it.
struct ProfileMember {
  std::string_view key;
  std::string ProviderProfile::*text;
  Presence presence;
  /// What a profile gets whose file lacks an optional member.
  std::string_view initial;
};

/// All texts of a profile, in the order of the file.
inline constexpr ProfileMember profileMembers[] = {
#define PROFILE_MEMBER(member, presence, initial) \
  {#member, &ProviderProfile::member, Presence::presence, initial},
#include "core/ProfileFields.def"
};

}  // namespace ferrin::core

template <>
struct std::hash<ferrin::core::ProviderProfile> {
  std::size_t operator()(const ferrin::core::ProviderProfile& profile) const;
};
