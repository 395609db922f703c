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

/// The saved profiles, sorted by name. Empty when the file can't be read, or when any entry is not a profile:
/// there is no partial result. A member that earlier versions did not write may be missing, and gets
/// its initial text. Never throws because of the file. `members` are those of this version; tests pass
/// others.
ProviderProfiles loadProfiles(const Locations& locations, ProfileMembers members = profileMembers);

/// Replaces the profiles file, 0600, and makes the secrets folder if it is missing. Throws std::system_error;
/// up to the replacement the old file stays intact. A text that is not UTF-8 is refused
/// (illegal_byte_sequence) before the disk is touched; every other text is loaded again as it was.
void saveProfiles(const ProviderProfiles& profiles, const Locations& locations);

/// The path of the profile's key file. A `keyFile` that begins with a slash is still taken from the secrets
/// folder on; ".." in it is kept.
std::filesystem::path keyFileURL(const ProviderProfile& profile, const Locations& locations);

/// A stable sort by name, in the order of the user's locale.
void sortByName(ProviderProfiles& profiles);

}  // namespace ferrin::core
