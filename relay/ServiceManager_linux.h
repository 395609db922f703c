#pragma once
// Which of Linux's service managers serves a user.

#include <filesystem>
#include <memory>
#include <vector>

#include "relay/ServiceManager.h"

namespace ferrin::relay {

/// systemd where a user manager listens below `runtimeFolder`; else runit where one of `programFolders` has
/// runsv; else one that can start nothing and says what to install.
std::unique_ptr<ServiceManager> chooseLinuxManager(const std::filesystem::path& home,
                                                   const std::filesystem::path& runtimeFolder,
                                                   const std::vector<std::filesystem::path>& programFolders);

}  // namespace ferrin::relay
