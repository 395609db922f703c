#include "relay/RelayService.h"

#include <gtest/gtest.h>

#include <functional>

#include "relay/LaunchdManager.h"
#include "tests/relay/StandIns.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Thrown.h"

namespace ferrin::relay {
namespace {

namespace fs = std::filesystem;
using tests::put;

/// A user's home, the application's resource, and launchctl.
struct Desk {
  tests::TemporaryFolder folder;
  core::Locations at{folder / "home"};
  fs::path resource = folder / "application/proxy.py";
  fs::path definition = at.home / "Library/LaunchAgents/com.ferrin.third-party-proxy.plist";
  tests::StandInLaunchctl launchctl{folder.path()};
  LaunchdManager services{at.home, launchctl.path()};

  Desk() {
    put(resource, "#!/bin/sh\n");
    put(at.upstreamURLFile, " https://provider.example/v1/ \n");
  }

  void install() { installAndStartService(at, services, resource); }
};

TEST(InstallAndStartService, installsDefinesAndRestartsInThisOrder) {
  Desk desk;
  desk.launchctl.answer("bootout", "echo not loaded; exit 3");
  desk.install();
  EXPECT_EQ(desk.launchctl.calls(),
            (std::vector<std::string>{"bootout|gui/com.ferrin.third-party-proxy",
                                      "bootstrap|gui|" + desk.definition.string(),
                                      "kickstart|-k|gui/com.ferrin.third-party-proxy"}));
  EXPECT_EQ(
      tests::filesBelow(desk.at.home),
      (tests::FileTree{{".ferrin/bin/ferrin-third-party-proxy.py", "0700 #!/bin/sh\n"},
                       {".ferrin/secrets/openai-proxy-upstream.url", "0644  https://provider.example/v1/ \n"},
                       {"Library/LaunchAgents/com.ferrin.third-party-proxy.plist",
                        "0600 " + propertyList({"com.ferrin.third-party-proxy",
                                                relayCommandLine(desk.at, "https://provider.example/v1"),
                                                desk.at.logURL})}}));
  EXPECT_FALSE(exists(desk.at.logURL.parent_path()));
}

TEST(InstallAndStartService, neverTouchesAnInstalledScriptNorNeedsTheResourceThen) {
  Desk desk;
  put(desk.at.proxyURL, "older");
  fs::permissions(desk.at.proxyURL, fs::perms(0640));
  for (int round = 0; round < 2; ++round) {
    desk.install();
    EXPECT_EQ(tests::filesBelow(desk.at.home / ".ferrin/bin"),
              (tests::FileTree{{"ferrin-third-party-proxy.py", "0640 older"}}));
    fs::remove(desk.resource);
  }
}

/// Every step, failing in turn: what is thrown, and what was done until then.
TEST(InstallAndStartService, endsAtTheFirstStepThatFails) {
  struct Row {
    std::function<void(Desk&)> obstacle;
    std::string thrown, done;
  };
  const Row rows[] = {
      {[](Desk& d) { fs::remove(d.resource); }, "ProviderLauncher 2: 找不到内置代理", ""},
      {[](Desk& d) { put(d.at.proxyURL.parent_path(), "file"); }, "~/.ferrin/bin: Not a directory", ""},
      {[](Desk& d) {
         fs::create_directories(d.at.proxyURL.parent_path());
         fs::create_symlink("/nowhere", d.at.proxyURL);
       },
       "~/.ferrin/bin/ferrin-third-party-proxy.py: File exists", ""},
      {[](Desk& d) { fs::remove(d.at.upstreamURLFile); },
       "~/.ferrin/secrets/openai-proxy-upstream.url: No such file or directory", "script "},
      {[](Desk& d) { put(d.at.upstreamURLFile, " /\n"); }, "ProviderLauncher 3: 第三方 URL 为空或格式无效",
       "script "},
      {[](Desk& d) { put(d.at.upstreamURLFile, "http://a\x1b"); },
       "property list: a value holds a character that XML can't", "script "},
      {[](Desk& d) { put(d.definition / "inside", ""); },
       "~/Library/LaunchAgents/com.ferrin.third-party-proxy.plist: Is a directory", "script "},
      {[](Desk& d) { d.launchctl.answer("bootstrap", "echo 'Bootstrap failed: 5'; exit 5"); },
       "ProviderLauncher 5: Bootstrap failed: 5\n", "script definition bootout bootstrap "},
      {[](Desk& d) { d.launchctl.answer("kickstart", "echo no >&2; exit 37"); }, "ProviderLauncher 37: no\n",
       "script definition bootout bootstrap kickstart "},
      {[](Desk& d) { fs::rename(d.launchctl.path(), d.at.home / "away"); },
       "ProviderLauncher -1: ~/../launchctl: No such file or directory", "script definition "},
  };
  for (const Row& row : rows) {
    Desk desk;
    row.obstacle(desk);
    std::string thrown = tests::thrownBy([&desk] { desk.install(); });
    thrown = tests::replaced(thrown, desk.at.home.string(), "~");
    EXPECT_EQ(tests::replaced(thrown, desk.folder.path().string(), "~/.."), row.thrown);
    std::string done = fs::exists(desk.at.proxyURL) ? "script " : "";
    if (fs::is_regular_file(desk.definition)) done += "definition ";
    for (const auto& call : desk.launchctl.calls()) done += call.substr(0, call.find('|')) + " ";
    EXPECT_EQ(done, row.done) << row.thrown;
  }
}

}  // namespace
}  // namespace ferrin::relay
