#include "app/CommandLineMode.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <string>
#include <string_view>

#include "core/LauncherError.h"
#include "core/RestrictedFile.h"
#include "core/Text.h"
#include "core/TextFile.h"
#include "relay/RelayService.h"
#include "relay/Resources.h"
#include "relay/system/ExecutablePath.h"

namespace ferrin::app {
namespace {

constexpr std::string_view referenceConfigurationFlag = "--apply-reference-config";

/// In one write(2) if possible, so that the lines of several processes don't mix. Errors are ignored.
void writeLine(int descriptor, const std::string& text) {
  const std::string line = text + '\n';
  for (std::string_view rest = line; !rest.empty();) {
    const ssize_t count = write(descriptor, rest.data(), rest.size());
    if (count < 0 && errno != EINTR) return;
    rest.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  }
}

void applyForCurrentUser() {
  const core::Locations locations(core::homeDirectoryForCurrentUser());
  const auto services = relay::chooseServiceManager(locations);
  applyReferenceConfiguration(locations, *services, relay::proxyResource(relay::executablePath()));
}

}  // namespace

bool isReferenceConfigurationRequested(std::span<const char* const> arguments) {
  return std::find(arguments.begin(), arguments.end(), referenceConfigurationFlag) != arguments.end();
}

void applyReferenceConfiguration(const core::Locations& locations, relay::ServiceManager& services,
                                 const std::filesystem::path& proxyResource) {
  const std::string url =
      core::canonicalURL(core::readSavedText(locations.upstreamURLFile, locations.legacyUpstreamURLFile));
  const std::string key =
      core::trimmed(core::readSavedText(locations.upstreamKeyFile, locations.legacyUpstreamKeyFile));
  if (url.empty() || key.empty()) throw core::LauncherError(6, "未找到已保存的第三方 URL 或 API Key");
  // Canonical and trimmed now, and under the current names.
  core::writeRestricted(locations.upstreamURLFile, url);
  core::writeRestricted(locations.upstreamKeyFile, key);
  relay::installAndStartService(locations, services, proxyResource);
}

int runReferenceConfiguration() noexcept {
  try {
    applyForCurrentUser();
    writeLine(STDOUT_FILENO, "reference configuration applied");
    return 0;
  } catch (const std::exception& error) {
    writeLine(STDERR_FILENO, "reference configuration failed: " + core::localizedDescription(error));
    return 1;
  }
}

}  // namespace ferrin::app
