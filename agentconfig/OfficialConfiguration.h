#pragma once
// Restoring the agent tool's configuration to the official provider.

#include <filesystem>
#include <string>
#include <string_view>

#include "core/Locations.h"

namespace ferrin::agentconfig {

/// `text` with the official provider chosen, and without the base URL's override and the custom provider's
/// table. The table's header matches only when a line feed follows it directly. The table ends before the
/// next line that begins with `[`, also where that is a table below it. Throws PatternError.
std::string officialConfiguration(std::string_view text);

/// The file that keeps the configuration as it was before the last restore.
std::filesystem::path configurationBackup(const core::Locations& locations);

/// Writes the backup, replacing an earlier one, and then the official configuration; each is 0600 and ends
/// with one more line feed than was read. Throws LauncherError 7 without a configuration, std::system_error
/// or PatternError. After any failure the configuration is unchanged; the earlier backup is, too, unless the
/// new one had been written. Blocks; safe from any thread.
void restoreOfficialConfiguration(const core::Locations& locations);

}  // namespace ferrin::agentconfig
