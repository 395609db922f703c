#include <gtest/gtest.h>

#include <array>

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
  const fs::path dragged = folder / "home/Desktop/My Relay.app";
  const std::string helper = "Contents/Helpers/ferrin-third-party-proxy";
  const fs::path packaged = folder / "usr/libexec/ferrin-relay/ferrin-third-party-proxy";
  const fs::path built = folder / "build tree/relay";
  const fs::path told = folder / "moved tree/relay";
  const fs::path script = folder / "home/.ferrin/bin/script.py";
  std::string text = replaced(tests::contentOf(RELAY_SCRIPT), RELAY_PROGRAM, built.string());
  for (const std::string place : {"\"/usr/", "\"/Applications/"}) {
    text = replaced(text, place, "\"" + folder.path().string() + place.substr(1));
  }
  text = replaced(text, "/usr/bin/mdfind", (folder / "mdfind").string());
  putProgram(script, replaced(text, "sleep", "echo waits"));
  putProgram(folder / "mdfind",
             "#!/bin/sh\n[ \"$*\" = \"kMDItemCFBundleIdentifier == 'com.ferrin.Relay'\" ] && echo '" +
                 dragged.string() + "'\necho /another\n");
  tests::put(packaged, "not executable");
  const auto start = [&] {
    return run("/usr/bin/env", {"HOME=" + (folder / "home").string(), "FERRIN_RELAY_PROGRAM=" + told.string(),
                                script.string(), "--host", "a b", "", "$x"});
  };
  const CommandResult none = start();
  EXPECT_EQ(none.status, 127);
  EXPECT_EQ(none.output, script.string() + ": no ferrin-third-party-proxy found: install Ferrin Relay " +
                             "again\nwaits 30\n");
  for (const auto& place :
       {dragged / helper, folder / "home/Applications/Ferrin Relay.app" / helper, packaged, built, told}) {
    putProgram(place, "#!/bin/sh\nprintf '[%s]' \"$0\" \"$@\"; exit 9\n");
    const CommandResult result = start();
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
    tests::put(prefix / script, "");
    EXPECT_EQ(proxyResource(prefix / program), prefix / script);
    EXPECT_EQ(relayProgram(prefix / script), "");
    tests::put(prefix / relay, "");
    EXPECT_EQ(relayProgram(prefix / script), prefix / relay);
  }
}

}  // namespace
}  // namespace ferrin::relay
