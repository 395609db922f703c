#pragma once
// Where every file of the application lies, and the constants that the relay is known by.

#include <cstdint>
#include <filesystem>
#include <string_view>

namespace ferrin::core {

/// TCP port of the relay on 127.0.0.1.
inline constexpr std::int64_t port = 8787;
/// The label under which the relay is installed with the service manager.
inline constexpr std::string_view serviceLabel = "com.ferrin.third-party-proxy";
/// A second label, never installed, that counts as a relay of ours and is stopped with it.
inline constexpr std::string_view localServiceLabel = "com.local.ferrin-third-party-proxy";

/// The home directory that the user database holds for the user running this process. Only where the database
/// has no entry is `HOME` taken instead. Throws LauncherError when there is neither.
std::filesystem::path homeDirectoryForCurrentUser();

/// Every path is computed once from the home directory; nothing here touches the disk.
struct Locations {
  explicit Locations(std::filesystem::path homeDirectory);

  std::filesystem::path home;
  std::filesystem::path ferrinHome;
  std::filesystem::path configURL;
  std::filesystem::path proxyURL;
  std::filesystem::path logURL;
  std::filesystem::path secretDirectory;
  std::filesystem::path upstreamURLFile;
  std::filesystem::path upstreamKeyFile;
  std::filesystem::path legacyUpstreamURLFile;
  std::filesystem::path legacyUpstreamKeyFile;
  std::filesystem::path profilesFile;
  std::filesystem::path runningMarker;
};

}  // namespace ferrin::core
