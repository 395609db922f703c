#pragma once
// One model provider that the user has set up.

#include <functional>
#include <string>
#include <utility>

#include "core/UUID.h"

namespace ferrin::core {

class ProviderProfile {
 public:
  ProviderProfile(UUID identity, std::string displayName, std::string baseURL, std::string modelName,
                  std::string keyFileName)
      : fixedID(identity),
        name(std::move(displayName)),
        url(std::move(baseURL)),
        model(std::move(modelName)),
        keyFile(std::move(keyFileName)) {}

  /// Chosen when the profile is first saved, and its identity ever after.
  const UUID& id() const { return fixedID; }

  bool operator==(const ProviderProfile&) const = default;

 private:
  UUID fixedID;

 public:
  /// Shown in the picker; profiles are sorted by it.
  std::string name;
  /// As canonicalURL returns it.
  std::string url;
  std::string model;
  /// Name of the file in the secrets folder that holds the provider's key.
  std::string keyFile;
};

}  // namespace ferrin::core

template <>
struct std::hash<ferrin::core::ProviderProfile> {
  std::size_t operator()(const ferrin::core::ProviderProfile& profile) const;
};
