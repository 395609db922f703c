#include "relay/RelayService.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "relay/LaunchdManager.h"
#include "tests/relay/StandIns.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Thrown.h"

namespace ferrin::relay {
namespace {

namespace fs = std::filesystem;
using tests::FileTree;
using tests::put;

/// A user's home, the application's resource, and launchctl.
struct Desk {
  tests::TemporaryFolder folder;
  core::Locations at{folder / "home"};
  fs::path resource = folder / "application/proxy.py";
  tests::StandInLaunchctl launchctl{folder.path()};
  LaunchdManager services{at.home, launchctl.path()};

  Desk() {
    put(resource, "#!/bin/sh\n");
    put(at.upstreamURLFile, " https://provider.example/v1/ \n");
  }
  void install() { installAndStartService(at, services, resource); }
};

TEST(InstallAndStartService, installsDefinesAndRestartsInThisOrderAndKeepsAnInstalledScript) {
  Desk desk;
  desk.launchctl.answer("bootout", "echo not loaded; exit 3");
  desk.install();
  const std::string definition = "Library/LaunchAgents/com.ferrin.third-party-proxy.plist";
  EXPECT_EQ(desk.launchctl.calls(), "bootout|gui/com.ferrin.third-party-proxy\nbootstrap|gui|" +
                                        (desk.at.home / definition).string() +
                                        "\nkickstart|-k|gui/com.ferrin.third-party-proxy\n");
  const auto commandLine = relayCommandLine(desk.at, "https://provider.example/v1");
  EXPECT_EQ(tests::filesBelow(desk.at.home),
            (FileTree{{".ferrin/bin/ferrin-third-party-proxy.py", "0700 #!/bin/sh\n"},
                      {".ferrin/secrets/openai-proxy-upstream.url", "0644  https://provider.example/v1/ \n"},
                      {definition, "0600 " + propertyList({"com.ferrin.third-party-proxy", commandLine,
                                                           desk.at.logURL})}}));
  put(desk.at.proxyURL, "older");
  fs::permissions(desk.at.proxyURL, fs::perms(0640));
  fs::remove(desk.resource);
  desk.install();
  EXPECT_EQ(tests::filesBelow(desk.at.home / ".ferrin/bin"),
            (FileTree{{"ferrin-third-party-proxy.py", "0640 older"}}));
}

TEST(InstallAndStartService, endsAtTheFirstStepThatFails) {
  struct Row {
    std::function<void(Desk&)> obstacle;
    std::string thrown;
    std::ptrdiff_t calls;
  };
  const Row rows[] = {
      {[](Desk& d) { fs::remove(d.resource); }, "ProviderLauncher 2: 找不到内置代理", 0},
      {[](Desk& d) { fs::remove(d.at.upstreamURLFile); },
       "~/home/.ferrin/secrets/openai-proxy-upstream.url: No such file or directory", 0},
      {[](Desk& d) { put(d.at.upstreamURLFile, " /\n"); }, "ProviderLauncher 3: 第三方 URL 为空或格式无效",
       0},
      {[](Desk& d) { put(d.at.home / "Library", ""); }, "~/home/Library/LaunchAgents: Not a directory", 0},
      {[](Desk& d) { d.launchctl.answer("bootstrap", "echo 'Bootstrap failed: 5'; exit 5"); },
       "ProviderLauncher 5: Bootstrap failed: 5\n", 2},
      {[](Desk& d) { d.launchctl.answer("kickstart", "echo no >&2; exit 37"); }, "ProviderLauncher 37: no\n",
       3},
      {[](Desk& d) { fs::remove(d.launchctl.path()); },
       "ProviderLauncher -1: ~/launchctl: No such file or directory", 0},
  };
  for (const Row& row : rows) {
    Desk desk;
    row.obstacle(desk);
    const std::string thrown = tests::thrownBy([&desk] { desk.install(); });
    EXPECT_EQ(tests::replaced(thrown, desk.folder.path().string(), "~"), row.thrown);
    EXPECT_EQ(std::ranges::count(desk.launchctl.calls(), '\n'), row.calls) << row.thrown;
  }
}

}  // namespace
}  // namespace ferrin::relay
