#include "relay/RelayService.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <set>

#include "core/LauncherError.h"
#include "relay/LaunchdManager.h"
#include "tests/relay/StandIns.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

namespace fs = std::filesystem;
using tests::contentOf;
using tests::modeOf;
using tests::put;

const std::string user = "gui/" + std::to_string(getuid());
constexpr const char* script = "#!/bin/sh\nexit 0\n";

/// A user's home, the application's resource, and launchctl.
struct Desk {
  tests::TemporaryFolder folder;
  core::Locations at{folder / "home"};
  fs::path resource = folder / "application/proxy.py";
  fs::path definition = at.home / "Library/LaunchAgents/com.ferrin.third-party-proxy.plist";
  tests::StandInLaunchctl launchctl{folder.path()};
  LaunchdManager services{at.home, launchctl.path()};

  Desk() {
    put(resource, script);
    put(at.upstreamURLFile, " https://provider.example/v1/ \n");
  }

  void install() { installAndStartService(at, services, resource); }

  std::vector<std::string> callsUpTo(std::size_t count) const {
    std::vector<std::string> calls{"bootout|" + user + "/com.ferrin.third-party-proxy",
                                   "bootstrap|" + user + "|" + definition.string(),
                                   "kickstart|-k|" + user + "/com.ferrin.third-party-proxy"};
    calls.resize(count);
    return calls;
  }
};

TEST(InstallAndStartService, installsDefinesAndRestartsInThisOrder) {
  Desk desk;
  desk.launchctl.answer("bootout", "echo not loaded; exit 3");
  desk.install();
  EXPECT_EQ(desk.launchctl.calls(), desk.callsUpTo(3));
  EXPECT_EQ(contentOf(desk.at.proxyURL), script);
  EXPECT_EQ(modeOf(desk.at.proxyURL), 0700U);
  EXPECT_EQ(std::distance(fs::directory_iterator(desk.at.proxyURL.parent_path()), {}), 1);
  EXPECT_EQ(contentOf(desk.definition),
            propertyList({"com.ferrin.third-party-proxy",
                          relayCommandLine(desk.at, "https://provider.example/v1"), desk.at.logURL}));
  EXPECT_EQ(modeOf(desk.definition), 0600U);
  EXPECT_FALSE(exists(desk.at.logURL.parent_path()));
}

TEST(InstallAndStartService, neverTouchesAnInstalledScriptNorNeedsTheResourceThen) {
  Desk desk;
  put(desk.at.proxyURL, "older");
  fs::permissions(desk.at.proxyURL, fs::perms(0640));
  desk.install();
  fs::remove(desk.resource);
  desk.install();
  EXPECT_EQ(contentOf(desk.at.proxyURL), "older");
  EXPECT_EQ(modeOf(desk.at.proxyURL), 0640U);
  EXPECT_EQ(desk.launchctl.calls().size(), 6U);
}

/// Every step, failing in turn: what is thrown, how far launchctl got, and what lies on disk then.
TEST(InstallAndStartService, endsAtTheFirstStepThatFails) {
  struct Row {
    const char* name;
    std::function<void(Desk&)> breakIt;
    std::int64_t code;  // 0: the platform's error
    std::function<std::string(const Desk&)> description;
    bool scriptInstalled;
    bool defined;
    std::size_t calls;
  };
  const auto text = [](std::string wanted) { return [wanted](const Desk&) { return wanted; }; };
  const auto about = [](const char* file, const char* reason) {
    return [file, reason](const Desk& desk) { return (desk.folder / file).string() + ": " + reason; };
  };
  const Row rows[] = {
      {"no resource", [](Desk& d) { fs::remove(d.resource); }, 2, text("找不到内置代理"), false, false, 0},
      {"a file in the folder's place", [](Desk& d) { put(d.at.proxyURL.parent_path(), "file"); }, 0,
       about("home/.ferrin/bin", "Not a directory"), false, false, 0},
      {"a dangling link in the script's place",
       [](Desk& d) {
         fs::create_directories(d.at.proxyURL.parent_path());
         fs::create_symlink("/nowhere", d.at.proxyURL);
       },
       0, about("home/.ferrin/bin/ferrin-third-party-proxy.py", "File exists"), false, false, 0},
      {"no upstream saved", [](Desk& d) { fs::remove(d.at.upstreamURLFile); }, 0,
       about("home/.ferrin/secrets/openai-proxy-upstream.url", "No such file or directory"), true, false, 0},
      {"a blank upstream", [](Desk& d) { put(d.at.upstreamURLFile, " /\n"); }, 3,
       text("第三方 URL 为空或格式无效"), true, false, 0},
      {"an upstream that no definition can hold", [](Desk& d) { put(d.at.upstreamURLFile, "http://a\x1b"); },
       0, text("property list: a value holds a character that XML can't"), true, false, 0},
      {"a folder in the definition's place", [](Desk& d) { put(d.definition / "inside", ""); }, 0,
       about("home/Library/LaunchAgents/com.ferrin.third-party-proxy.plist", "Is a directory"), true, true,
       0},
      {"bootstrap fails",
       [](Desk& d) {
         d.launchctl.answer("bootstrap", "echo 'Bootstrap failed: 5: Input/output error'; exit 5");
       },
       5, text("Bootstrap failed: 5: Input/output error\n"), true, true, 2},
      {"kickstart fails", [](Desk& d) { d.launchctl.answer("kickstart", "echo no >&2; exit 37"); }, 37,
       text("no\n"), true, true, 3},
      {"no launchctl", [](Desk& d) { fs::remove(d.launchctl.path()); }, -1,
       about("launchctl", "No such file or directory"), true, true, 0},
  };
  for (const Row& row : rows) {
    Desk desk;
    row.breakIt(desk);
    std::int64_t code = 0;
    std::string description = "nothing thrown";
    try {
      desk.install();
    } catch (const std::exception& error) {
      const auto* own = dynamic_cast<const core::LauncherError*>(&error);
      code = own != nullptr ? own->code : 0;
      description = core::localizedDescription(error);
    }
    EXPECT_EQ(code, row.code) << row.name;
    EXPECT_EQ(description, row.description(desk)) << row.name;
    EXPECT_EQ(fs::exists(desk.at.proxyURL), row.scriptInstalled) << row.name;
    EXPECT_EQ(fs::exists(desk.definition), row.defined) << row.name;
    EXPECT_EQ(desk.launchctl.calls(), desk.callsUpTo(row.calls)) << row.name;
  }
}

TEST(StopServices, bootsOutBothLabelsWhateverTheAnswers) {
  Desk desk;
  desk.launchctl.answer("bootout", "exit 113");
  stopServices(desk.services);
  EXPECT_EQ(desk.launchctl.calls(),
            (std::vector<std::string>{"bootout|" + user + "/com.ferrin.third-party-proxy",
                                      "bootout|" + user + "/com.local.ferrin-third-party-proxy"}));
}

}  // namespace
}  // namespace ferrin::relay
