#include <gtest/gtest.h>

#include <array>

#include "relay/Command.h"
#include "relay/Resources.h"
#include "tests/relay/StandIns.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

namespace fs = std::filesystem;
using tests::put;
using tests::putProgram;

/// The built script, installed, on a machine whose every place lies in a private folder.
struct Machine {
  tests::TemporaryFolder folder;
  fs::path told = folder / "moved tree/relay";
  fs::path built = folder / "build tree/relay";
  fs::path packaged = folder / "usr/libexec/ferrin-relay/ferrin-third-party-proxy";
  fs::path bundled = helperOf(folder / "home/Applications/Ferrin Relay.app");
  fs::path dragged = helperOf(folder / "home/Desktop/My Relay.app");
  fs::path spotlight = folder / "mdfind";
  fs::path script = folder / "home/.ferrin/bin/script.py";

  Machine() {
    std::string text = tests::replaced(tests::contentOf(RELAY_SCRIPT), RELAY_PROGRAM, built.string());
    for (const std::string place : {"\"/usr/", "\"/Applications/"}) {
      text = tests::replaced(text, place, "\"" + folder.path().string() + place.substr(1));
    }
    text = tests::replaced(text, "/usr/bin/mdfind", spotlight.string());
    putProgram(script, tests::replaced(text, "sleep", "echo waits"));
  }

  static fs::path helperOf(const fs::path& bundle) {
    return bundle / "Contents/Helpers/ferrin-third-party-proxy";
  }

  CommandResult start() const {
    return run("/usr/bin/env", {"HOME=" + (folder / "home").string(), "FERRIN_RELAY_PROGRAM=" + told.string(),
                                script.string(), "--host", "a b", "", "$x"});
  }
};

TEST(ProxyScript, handsItsArgumentsToTheFirstRelayProgramThatIsThere) {
  const Machine machine;
  putProgram(machine.spotlight,
             "#!/bin/sh\n[ \"$*\" = \"kMDItemCFBundleIdentifier == 'com.ferrin.Relay'\" ] && echo '" +
                 (machine.folder / "home/Desktop/My Relay.app").string() + "'\necho /another\n");
  put(machine.packaged, "not executable");
  EXPECT_EQ(machine.start().output,
            machine.script.string() +
                ": no ferrin-third-party-proxy found: install Ferrin Relay again\nwaits 30\n");
  EXPECT_EQ(machine.start().status, 127);
  for (const auto& place :
       {machine.dragged, machine.bundled, machine.packaged, machine.built, machine.told}) {
    putProgram(place, "#!/bin/sh\nprintf '[%s]' \"$0\" \"$@\"; exit 9\n");
    const CommandResult result = machine.start();
    EXPECT_EQ(result.output, "[" + place.string() + "][--host][a b][][$x]");
    EXPECT_EQ(result.status, 9);
  }
}

TEST(Resources, lieBesideTheProgramInABundleAndInAPrefix) {
  const tests::TemporaryFolder prefix;
  EXPECT_EQ(proxyResource(prefix / "bin/ferrin-relay"), "");
  for (const auto& [program, script, relay] :
       {std::array{"bin/ferrin-relay", "share/ferrin-relay/proxy.py",
                   "libexec/ferrin-relay/ferrin-third-party-proxy"},
        std::array{"MacOS/Ferrin Relay", "Resources/proxy.py", "Helpers/ferrin-third-party-proxy"}}) {
    put(prefix / script, "");
    EXPECT_EQ(proxyResource(prefix / program), prefix / script);
    EXPECT_EQ(relayProgram(prefix / script), "");
    put(prefix / relay, "");
    EXPECT_EQ(relayProgram(prefix / script), prefix / relay);
  }
  EXPECT_EQ(proxyResource(APPLICATION), RELAY_SCRIPT);
  EXPECT_EQ(relayProgram(RELAY_SCRIPT), RELAY_PROGRAM);
}

}  // namespace
}  // namespace ferrin::relay
