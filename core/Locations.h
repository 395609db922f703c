#pragma once
// The paths of all files of the application, and the constants that identify the relay.

#include <cstdint>
#include <filesystem>
#include <string_view>

namespace ferrin::core {

/// TCP port of the relay on 127.0.0.1.
inline constexpr std::int64_t port = 8787;
/// The label under which the relay is installed with the service manager.
inline constexpr std::string_view serviceLabel = "com.ferrin.third-party-proxy";
/// A second label, which this application never installs: a relay that runs under it counts as running, and
/// is stopped together with the first.
inline constexpr std::string_view localServiceLabel = "com.local.ferrin-third-party-proxy";

/// The home directory of the real user id, from the user database (getpwuid_r(3)). The variable `HOME` counts
/// only where the database has no entry. Throws LauncherError when there is neither.
std::filesystem::path homeDirectoryForCurrentUser();

/// Computed once from the home directory. Nothing here touches the disk; none of the files has to exist.
struct Locations {
  explicit Locations(std::filesystem::path homeDirectory);

  std::filesystem::path home;
  std::filesystem::path ferrinHome;
  /// The agent tool's own configuration; this application writes it only to restore it.
  std::filesystem::path configURL;
  /// The installed relay script.
  std::filesystem::path proxyURL;
  /// The relay's log, which the service manager opens.
  std::filesystem::path logURL;
  /// Holds all files below, each 0600.
  std::filesystem::path secretDirectory;
  /// The provider's URL and key that the relay is applied with, one line each.
  std::filesystem::path upstreamURLFile;
  std::filesystem::path upstreamKeyFile;
  /// The names that earlier versions gave these two; read as a fallback, never written.
  std::filesystem::path legacyUpstreamURLFile;
  std::filesystem::path legacyUpstreamKeyFile;
  /// See ProfileStore.h.
  std::filesystem::path profilesFile;
  /// "running" or "stopped", the outcome of the user's last action.
  std::filesystem::path runningMarker;
};

}  // namespace ferrin::core
