#include "relay/RelayStatus.h"

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include "core/Text.h"
#include "core/TextFile.h"

namespace ferrin::relay {
namespace {

constexpr const char* localRelayPattern =
    R"((?m)^openai_base_url\s*=\s*"http://127\.0\.0\.1:(8787|15721)/v1"\s*$)";

std::optional<std::string> textIfReadable(const std::filesystem::path& file) {
  try {
    return core::readText(file);
  } catch (const std::system_error&) {
    return std::nullopt;
  }
}

}  // namespace

bool namesLocalRelay(std::string_view configuration) {
  const auto text = icu::UnicodeString::fromUTF8(
      icu::StringPiece(configuration.data(), static_cast<std::int32_t>(configuration.size())));
  UErrorCode status = U_ZERO_ERROR;
  icu::RegexMatcher matcher(icu::UnicodeString::fromUTF8(localRelayPattern), text, 0, status);
  return matcher.find(status) != 0 && U_SUCCESS(status);
}

bool detectRunningState(const core::Locations& locations, ServiceManager& services) {
  if (const auto marker = textIfReadable(locations.runningMarker)) return core::trimmed(*marker) == "running";
  for (const auto label : {core::serviceLabel, core::localServiceLabel}) {
    if (services.isRunning(label)) return true;
  }
  const auto configuration = textIfReadable(locations.configURL);
  return configuration && namesLocalRelay(*configuration);
}

}  // namespace ferrin::relay
