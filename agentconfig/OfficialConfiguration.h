#pragma once
// The agent tool's configuration, taken back to the official provider.

#include <filesystem>
#include <string>
#include <string_view>

#include "core/Locations.h"

namespace ferrin::agentconfig {

/// `text` with the official provider chosen, without the base URL's override and without the lines of the
/// custom provider's table. The table's header counts when a line feed follows it directly; the next line
/// that begins with `[`, be it a table below this one, is kept. Throws PatternError.
std::string officialConfiguration(std::string_view text);

/// Where restoring keeps the configuration as it was.
std::filesystem::path configurationBackup(const core::Locations& locations);

/// Writes the backup, replacing an earlier one, then the official configuration; each is 0600 and ends with
/// one more line feed than was read. Throws LauncherError 7 where there is no configuration,
/// std::system_error or PatternError; the configuration is then as it was, and with a failure before the
/// backup is written, the earlier backup too.
void restoreOfficialConfiguration(const core::Locations& locations);

}  // namespace ferrin::agentconfig
