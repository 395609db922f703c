#include "relay/RelayService.h"

#include "core/LauncherError.h"
#include "core/RestrictedFile.h"
#include "core/Text.h"
#include "core/TextFile.h"
#include "relay/ProxyVariables.h"
#include "relay/Resources.h"

namespace ferrin::relay {
namespace {

namespace fs = std::filesystem;

/// A copy of the script beside its target; the destructor removes it.
class StagedScript {
 public:
  StagedScript(const fs::path& resource, const fs::path& target) : staged(target.string() + ".installing") {
    core::replaceRestricted(staged, core::readBytes(resource));
    fs::permissions(staged, fs::perms::owner_all);
  }
  StagedScript(const StagedScript&) = delete;
  StagedScript& operator=(const StagedScript&) = delete;
  ~StagedScript() {
    std::error_code ignored;
    fs::remove(staged, ignored);
  }

  /// Unlike rename(2), link(2) never replaces a file that has appeared meanwhile. File systems without hard
  /// links, such as SMB's and exFAT, fail with different errors, so any failure leaves the other way.
  void install(const fs::path& target) const {
    std::error_code notLinked;
    fs::create_hard_link(staged, target, notLinked);
    if (notLinked && !fs::exists(target)) fs::rename(staged, target);
  }

 private:
  const fs::path staged;
};

/// The script appears whole or not at all: a half-written one would never be replaced.
void installScript(const fs::path& resource, const fs::path& target) {
  if (fs::exists(target)) return;
  if (!fs::exists(resource)) throw core::LauncherError(2, "找不到内置代理");
  core::makeFolders(target.parent_path());
  StagedScript(resource, target).install(target);
}

std::string upstreamURL(const fs::path& file) {
  std::string url = core::canonicalURL(core::readText(file));
  if (url.empty()) throw core::LauncherError(3, "第三方 URL 为空或格式无效");
  return url;
}

/// For the script, where the relay program is; for that, the proxies that the direct request uses.
std::vector<EnvironmentVariable> relayEnvironment(const fs::path& proxyResource) {
  std::vector<EnvironmentVariable> environment = proxyVariables();
  const fs::path program = relayProgram(proxyResource);
  if (!program.empty()) environment.insert(environment.begin(), {"FERRIN_RELAY_PROGRAM", program.string()});
  return environment;
}

void throwUnlessSucceeded(const CommandResult& result) {
  if (result.status != 0) throw core::LauncherError(result.status, result.output);
}

}  // namespace

std::vector<std::string> relayCommandLine(const core::Locations& locations, std::string_view upstream) {
  return {locations.proxyURL.string(),
          "--host",
          "127.0.0.1",
          "--port",
          std::to_string(core::port),
          "--upstream",
          std::string(upstream),
          "--api-key-file",
          locations.upstreamKeyFile.string(),
          "--timeout",
          "600"};
}

void installAndStartService(const core::Locations& locations, ServiceManager& services,
                            const fs::path& proxyResource) {
  installScript(proxyResource, locations.proxyURL);
  const std::string upstream = upstreamURL(locations.upstreamURLFile);
  // Before bootout: a definition that can't be written leaves a running relay alone.
  services.define({std::string(core::serviceLabel), relayCommandLine(locations, upstream), locations.logURL,
                   relayEnvironment(proxyResource)});
  services.bootout(core::serviceLabel);  // fails where the relay is not loaded, which does not matter
  throwUnlessSucceeded(services.bootstrap(core::serviceLabel));
  throwUnlessSucceeded(services.kickstart(core::serviceLabel));
}

void stopServices(ServiceManager& services) {
  services.bootout(core::serviceLabel);
  services.bootout(core::localServiceLabel);
}

}  // namespace ferrin::relay
