#include "core/ProviderProfile.h"

std::size_t std::hash<ferrin::core::ProviderProfile>::operator()(
    const ferrin::core::ProviderProfile& profile) const {
  const auto& id = profile.id().bytes;
  std::size_t result = std::hash<std::string_view>()({reinterpret_cast<const char*>(id.data()), id.size()});
  for (const auto& member : ferrin::core::profileMembers) {
    result = result * 31 + std::hash<std::string>()(profile.*member.text);
  }
  return result;
}
