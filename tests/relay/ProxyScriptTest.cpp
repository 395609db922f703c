#include <gtest/gtest.h>

#include "relay/Command.h"
#include "relay/Resources.h"
#include "tests/relay/StandIns.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

namespace fs = std::filesystem;

/// The built script, installed, on a machine whose every place lies in a private folder.
struct Machine {
  tests::TemporaryFolder folder;
  fs::path built = folder / "build tree/relay";
  fs::path packaged = folder / "usr/libexec/ferrin-relay/ferrin-third-party-proxy";
  fs::path bundled = folder /
                     "home/Applications/Ferrin "
                     "Relay.app/Contents/Helpers/ferrin-third-party-proxy";
  fs::path script = folder / "home/.ferrin/bin/script.py";

  Machine() {
    std::string text = tests::replaced(tests::contentOf(RELAY_SCRIPT), RELAY_PROGRAM, built.string());
    text = tests::replaced(text, " /usr/", " " + (folder / "usr/").string());
    text = tests::replaced(text, "'/Applications", "'" + (folder / "Applications").string());
    tests::putProgram(script, text);
  }

  CommandResult start() const {
    return run("/usr/bin/env",
               {"HOME=" + (folder / "home").string(), script.string(), "--host", "a b", "", "$x"});
  }
};

TEST(ProxyScript, handsItsArgumentsToTheFirstRelayProgramThatIsThere) {
  const Machine machine;
  tests::put(machine.packaged, "not executable");
  EXPECT_EQ(machine.start().output,
            machine.script.string() + ": no ferrin-third-party-proxy found: install Ferrin Relay again\n");
  EXPECT_EQ(machine.start().status, 127);
  for (const auto& place : {machine.bundled, machine.packaged, machine.built}) {
    tests::putProgram(place, "#!/bin/sh\nprintf '[%s]' \"$0\" \"$@\"; exit 9\n");
    const CommandResult result = machine.start();
    EXPECT_EQ(result.output, "[" + place.string() + "][--host][a b][][$x]");
    EXPECT_EQ(result.status, 9);
  }
}

TEST(ProxyResource, liesBesideTheProgramInABundleAndInAPrefix) {
  const tests::TemporaryFolder prefix;
  EXPECT_EQ(proxyResource(prefix / "bin/ferrin-relay"), "");
  tests::put(prefix / "share/ferrin-relay/proxy.py", "");
  EXPECT_EQ(proxyResource(prefix / "bin/ferrin-relay"), prefix / "share/ferrin-relay/proxy.py");
  tests::put(prefix / "Resources/proxy.py", "");
  EXPECT_EQ(proxyResource(prefix / "MacOS/ferrin-relay"), prefix / "Resources/proxy.py");
  EXPECT_EQ(proxyResource(executablePath()), RELAY_SCRIPT);
}

}  // namespace
}  // namespace ferrin::relay
