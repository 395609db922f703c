#include "agentconfig/OfficialConfiguration.h"

#include <system_error>

#include "agentconfig/ConfigurationLine.h"
#include "agentconfig/Pattern.h"
#include "core/LauncherError.h"
#include "core/RestrictedFile.h"
#include "core/TextFile.h"

namespace ferrin::agentconfig {
namespace {

constexpr int configurationMissing = 7;

std::string withoutCustomProviderTable(const std::string& text) {
  static constexpr std::string_view table = R"((?ms)^\[model_providers\.custom\]\n.*?(?=^\[|\z))";
  return Pattern(table).replacingMatches(text, "").value_or(text);
}

}  // namespace

std::string officialConfiguration(std::string_view text) {
  const std::string chosen = replaceLine(text, "model_provider", "openai");
  return withoutCustomProviderTable(removeRootLine(chosen, "openai_base_url"));
}

std::filesystem::path configurationBackup(const core::Locations& locations) {
  return std::filesystem::path(locations.configURL).replace_extension("toml.before-restore.bak");
}

void restoreOfficialConfiguration(const core::Locations& locations) {
  std::error_code unknown;
  if (!std::filesystem::exists(locations.configURL, unknown)) {
    throw core::LauncherError(configurationMissing, "未找到 ~/.ferrin/config.toml");
  }
  const std::string text = core::readText(locations.configURL);
  // The backup first: without it the configuration is not touched.
  core::writeRestricted(configurationBackup(locations), text);
  core::writeRestricted(locations.configURL, officialConfiguration(text));
}

}  // namespace ferrin::agentconfig
