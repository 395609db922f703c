#pragma once
// The file that holds the provider profiles, without their keys.

#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/Locations.h"
#include "core/ProviderProfile.h"

namespace ferrin::core {

using ProviderProfiles = std::vector<ProviderProfile>;
using ProfileMembers = std::span<const ProfileMember>;

/// The saved profiles, sorted by name. Empty when the file can't be read, or when anything in it is not a
/// profile: there is no partial result. A member that earlier versions did not write may be missing, and gets
/// its initial text. Never throws because of the file. `members` are those of this version; tests pass
/// others.
ProviderProfiles loadProfiles(const Locations& locations, ProfileMembers members = profileMembers);

/// Replaces the profiles file, readable and writable by its owner alone, making the secrets folder when it is
/// missing. Throws std::system_error; up to the replacement the old file stays intact. A text that is not
/// UTF-8 is refused (illegal_byte_sequence) before anything is touched on disk; every other text comes back
/// as it was.
void saveProfiles(const ProviderProfiles& profiles, const Locations& locations);

/// Where the profile's key lies: always below the secrets folder's own path, unless the name climbs with
/// "..".
std::filesystem::path keyFileURL(const ProviderProfile& profile, const Locations& locations);

/// Sorts by name for the user's locale; profiles whose names compare the same keep their order.
void sortByName(ProviderProfiles& profiles);

}  // namespace ferrin::core
