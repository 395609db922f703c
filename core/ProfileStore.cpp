#include "core/ProfileStore.h"

#include <algorithm>
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
  return {{"id", profile.id().text()},
          {"name", profile.name},
          {"url", profile.url},
          {"model", profile.model},
          {"keyFile", profile.keyFile}};
}

/// A slash can stand only inside a string there, where the file's format writes it escaped.
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
  return isUTF8(profile.name) && isUTF8(profile.url) && isUTF8(profile.model) && isUTF8(profile.keyFile);
}

std::string encoded(const ProviderProfiles& profiles) {
  Json list = Json::array();
  for (const ProviderProfile& profile : profiles) list.push_back(encoded(profile));
  return withEscapedSlashes(list.dump());
}

std::optional<ProviderProfile> decodedProfile(const Json& object) {
  const auto member = [&object](const char* key) -> const std::string* {
    const auto found = object.find(key);
    return found == object.end() ? nullptr : found->get_ptr<const std::string*>();
  };
  if (!object.is_object()) return std::nullopt;
  const auto* idText = member("id");
  const auto id = idText == nullptr ? std::nullopt : UUID::parse(*idText);
  const auto* name = member("name");
  const auto* url = member("url");
  const auto* model = member("model");
  const auto* keyFile = member("keyFile");
  if (!id || name == nullptr || url == nullptr || model == nullptr || keyFile == nullptr) return std::nullopt;
  return ProviderProfile(*id, *name, *url, *model, *keyFile);
}

ProviderProfiles decodedProfiles(const std::string& bytes) {
  const Json list = Json::parse(bytes, nullptr, /*allow_exceptions=*/false);
  if (!list.is_array()) return {};
  ProviderProfiles profiles;
  for (const Json& object : list) {
    auto profile = decodedProfile(object);
    if (!profile) return {};
    profiles.push_back(*std::move(profile));
  }
  return profiles;
}

}  // namespace

ProviderProfiles loadProfiles(const Locations& locations) {
  std::string bytes;
  try {
    bytes = readBytes(locations.profilesFile);
  } catch (const std::system_error&) {
    return {};
  }
  ProviderProfiles profiles = decodedProfiles(bytes);
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
