#include <gtest/gtest.h>

#include "relay/Command.h"
#include "relay/Resources.h"
#include "tests/relay/StandIns.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

namespace fs = std::filesystem;
using tests::putProgram;
using tests::replaced;

/// The built script, installed on a machine whose every place lies in a private folder.
TEST(ProxyScript, handsItsArgumentsToTheFirstRelayProgramThatIsThere) {
  const tests::TemporaryFolder folder;
  const std::string root = folder.path().string(), script = root + "/home/script.py";
  std::string text = replaced(tests::contentOf(RELAY_SCRIPT), RELAY_PROGRAM, root + "/build tree/relay");
  text = replaced(replaced(text, "/usr/", root + "/usr/"), "\"/Applications", "\"" + root + "/Applications");
  putProgram(script, replaced(text, "sleep", "echo waits"));
  putProgram(folder / "usr/bin/mdfind",
             "#!/bin/sh\n[ \"$1\" = \"kMDItemCFBundleIdentifier == 'com.ferrin.Relay'\" ] && echo '" + root +
                 "/my relay.app'\necho /another\n");
  const std::string packaged = root + "/usr/libexec/ferrin-relay/ferrin-third-party-proxy";
  tests::put(packaged, "not executable");
  const auto start = [&] {
    return run("/usr/bin/env",
               {"HOME=" + root + "/home", "FERRIN_RELAY_PROGRAM=" + root + "/moved tree/relay", script,
                "--host", "a b", "", "$x"});
  };
  EXPECT_EQ(start().output,
            script + ": no ferrin-third-party-proxy found: install Ferrin Relay again\nwaits 30\n");
  const std::string helper = "/Contents/Helpers/ferrin-third-party-proxy";
  for (const auto& place :
       {root + "/my relay.app" + helper, root + "/home/Applications/Ferrin Relay.app" + helper,
        root + "/Applications/Ferrin Relay.app" + helper, packaged, root + "/build tree/relay",
        root + "/moved tree/relay"}) {
    putProgram(place, "#!/bin/sh\nprintf '[%s]' \"$0\" \"$@\"; exit 9\n");
    EXPECT_EQ(start().output, "[" + place + "][--host][a b][][$x]");
    EXPECT_EQ(start().status, 9);
  }
}

TEST(Resources, lieBesideTheProgramInABundleAndInAPrefix) {
  const tests::TemporaryFolder prefix;
  const auto expectFound = [&](const char* program, const char* script, const char* relay) {
    tests::put(prefix / script, "");
    EXPECT_EQ(proxyResource(prefix / program), prefix / script);
    tests::put(prefix / relay, "");
    EXPECT_EQ(relayProgram(prefix / script), prefix / relay);
  };
  expectFound("bin/ferrin-relay", "share/ferrin-relay/proxy.py",
              "libexec/ferrin-relay/ferrin-third-party-proxy");
  expectFound("MacOS/Ferrin Relay", "Resources/proxy.py", "Helpers/ferrin-third-party-proxy");
}

}  // namespace
}  // namespace ferrin::relay
