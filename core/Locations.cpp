#include "core/Locations.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <utility>
#include <vector>

#include "core/LauncherError.h"

namespace ferrin::core {
namespace {

/// HOME differs between a desktop session, a service and sudo; the database does not.
std::filesystem::path homeFromUserDatabase() {
  passwd record{};
  passwd* found = nullptr;
  std::vector<char> strings(1024);
  while (getpwuid_r(getuid(), &record, strings.data(), strings.size(), &found) == ERANGE) {
    strings.resize(strings.size() * 2);
  }
  return found != nullptr && found->pw_dir != nullptr ? found->pw_dir : "";
}

}  // namespace

std::filesystem::path homeDirectoryForCurrentUser() {
  if (auto home = homeFromUserDatabase(); !home.empty()) return home;
  if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') return home;
  throw LauncherError(1, "user " + std::to_string(getuid()) + ": no home directory in the user database");
}

Locations::Locations(std::filesystem::path homeDirectory)
    : home(std::move(homeDirectory)),
      ferrinHome(home / ".ferrin"),
      configURL(ferrinHome / "config.toml"),
      proxyURL(ferrinHome / "bin" / "ferrin-third-party-proxy.py"),
      logURL(ferrinHome / "logs" / "third-party-proxy.log"),
      secretDirectory(ferrinHome / "secrets"),
      upstreamURLFile(secretDirectory / "openai-proxy-upstream.url"),
      upstreamKeyFile(secretDirectory / "openai-proxy-upstream.token"),
      legacyUpstreamURLFile(secretDirectory / "third-party-upstream.url"),
      legacyUpstreamKeyFile(secretDirectory / "third-party-upstream.token"),
      profilesFile(secretDirectory / "provider-profiles.json"),
      runningMarker(secretDirectory / "provider-launcher.running") {}

}  // namespace ferrin::core
