#include "core/ProfileStore.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>
#include <system_error>

#include "core/NameOrder.h"
#include "core/RestrictedFile.h"
#include "core/Text.h"
#include "core/TextFile.h"

namespace ferrin::core {
namespace {

using Json = nlohmann::ordered_json;

Json encoded(const ProviderProfile& profile) {
  Json object;
  object["id"] = profile.id().text();
  for (const ProfileMember& member : profileMembers) object[std::string(member.key)] = profile.*member.text;
  return object;
}

/// The file's format escapes slashes. In JSON they occur in strings only.
std::string withEscapedSlashes(const std::string& json) {
  std::string result;
  result.reserve(json.size());
  for (const char character : json) {
    if (character == '/') result += '\\';
    result += character;
  }
  return result;
}

bool isText(const ProviderProfile& profile) {
  return std::all_of(std::begin(profileMembers), std::end(profileMembers),
                     [&profile](const ProfileMember& member) { return isUTF8(profile.*member.text); });
}

std::string encoded(const ProviderProfiles& profiles) {
  Json list = Json::array();
  for (const ProviderProfile& profile : profiles) list.push_back(encoded(profile));
  return withEscapedSlashes(list.dump());
}

const std::string* stringMember(const Json& object, std::string_view key) {
  const auto found = object.find(std::string(key));
  return found == object.end() ? nullptr : found->get_ptr<const std::string*>();
}

/// An optional member may be missing; one that is not a string is refused all the same.
std::optional<ProviderProfile> decodedProfile(const Json& object, ProfileMembers members) {
  if (!object.is_object()) return std::nullopt;
  const auto* idText = stringMember(object, "id");
  const auto id = idText == nullptr ? std::nullopt : UUID::parse(*idText);
  if (!id) return std::nullopt;
  ProviderProfile profile(*id, "", "", "", "");
  for (const ProfileMember& member : members) {
    const bool mayBeMissing =
        member.presence == Presence::optional && !object.contains(std::string(member.key));
    const auto* text = stringMember(object, member.key);
    if (text == nullptr && !mayBeMissing) return std::nullopt;
    profile.*member.text = text == nullptr ? member.initial : *text;
  }
  return profile;
}

ProviderProfiles decodedProfiles(const std::string& bytes, ProfileMembers members) {
  // The parser takes a NUL, which JSON never holds, for the end.
  if (bytes.find('\0') != std::string::npos) return {};
  const Json list = Json::parse(bytes, nullptr, /*allow_exceptions=*/false);
  if (!list.is_array()) return {};
  ProviderProfiles profiles;
  for (const Json& object : list) {
    auto profile = decodedProfile(object, members);
    if (!profile) return {};
    profiles.push_back(*std::move(profile));
  }
  return profiles;
}

}  // namespace

ProviderProfiles loadProfiles(const Locations& locations, ProfileMembers members) {
  std::string bytes;
  try {
    bytes = readBytes(locations.profilesFile);
  } catch (const std::system_error&) {
    return {};
  }
  ProviderProfiles profiles = decodedProfiles(bytes, members);
  sortByName(profiles);
  return profiles;
}

void saveProfiles(const ProviderProfiles& profiles, const Locations& locations) {
  if (!std::all_of(profiles.begin(), profiles.end(), isText)) {
    throw std::system_error(std::make_error_code(std::errc::illegal_byte_sequence),
                            locations.profilesFile.string());
  }
  const std::string bytes = encoded(profiles);
  makeFolders(locations.secretDirectory);
  replaceRestricted(locations.profilesFile, bytes);
}

std::filesystem::path keyFileURL(const ProviderProfile& profile, const Locations& locations) {
  return locations.secretDirectory / std::filesystem::path(profile.keyFile).relative_path();
}

void sortByName(ProviderProfiles& profiles) {
  const NameOrder before;
  std::stable_sort(profiles.begin(), profiles.end(),
                   [&before](const ProviderProfile& first, const ProviderProfile& second) {
                     return before(first.name, second.name);
                   });
}

}  // namespace ferrin::core
