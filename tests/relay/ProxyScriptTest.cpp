#include <gtest/gtest.h>

#include "relay/Command.h"
#include "relay/Resources.h"
#include "tests/relay/StandIns.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

namespace fs = std::filesystem;

std::string withReplaced(std::string text, const std::string& from, const std::string& to) {
  for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

/// The built script, installed, on a machine whose every place lies in a private folder.
struct Machine {
  tests::TemporaryFolder folder;
  fs::path built = folder / "build tree/relay";
  fs::path packaged = folder / "usr/libexec/ferrin-relay/ferrin-third-party-proxy";
  fs::path bundled = folder / "home/Applications/Ferrin Relay.app/Contents/Helpers/ferrin-third-party-proxy";
  fs::path script = folder / "home/.ferrin/bin/script.py";

  Machine() {
    std::string text = withReplaced(tests::contentOf(RELAY_SCRIPT), RELAY_PROGRAM, built.string());
    text = withReplaced(text, " /usr/", " " + (folder / "usr/").string());
    tests::putProgram(script, withReplaced(text, "'/Applications", "'" + (folder / "Applications").string()));
  }

  CommandResult start() const {
    return run("/usr/bin/env",
               {"HOME=" + (folder / "home").string(), script.string(), "--host", "a b", "", "$x"});
  }
};

TEST(ProxyScript, handsItsArgumentsToTheFirstRelayProgramThatIsThere) {
  const Machine machine;
  for (const auto& place : {machine.bundled, machine.packaged, machine.built}) {
    tests::putProgram(place, "#!/bin/sh\nprintf '[%s]' \"$0\" \"$@\"; exit 9\n");
    const CommandResult result = machine.start();
    EXPECT_EQ(result.output, "[" + place.string() + "][--host][a b][][$x]");
    EXPECT_EQ(result.status, 9);
  }
}

TEST(ProxyScript, saysThatThereIsNoRelayProgram) {
  const Machine machine;
  fs::create_directories(machine.built);
  tests::put(machine.packaged, "not executable");
  const CommandResult result = machine.start();
  EXPECT_EQ(result.output,
            machine.script.string() + ": no ferrin-third-party-proxy found: install Ferrin Relay again\n");
  EXPECT_EQ(result.status, 127);
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
