#include "core/ProviderProfile.h"

#include <string_view>

std::size_t std::hash<ferrin::core::ProviderProfile>::operator()(
    const ferrin::core::ProviderProfile& profile) const {
  const auto& id = profile.id().bytes;
  std::size_t result = std::hash<std::string_view>()({reinterpret_cast<const char*>(id.data()), id.size()});
  for (const std::string* field : {&profile.name, &profile.url, &profile.model, &profile.keyFile}) {
    result = result * 31 + std::hash<std::string>()(*field);
  }
  return result;
}
