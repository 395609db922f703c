#include <gtest/gtest.h>

#include "relay/Resources.h"
#include "relay/system/Command.h"
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
  putProgram(script, text);
  putProgram(folder / "usr/bin/mdfind",
             "#!/bin/sh\n[ \"$1\" = \"kMDItemCFBundleIdentifier == 'com.ferrin.Relay'\" ] && echo " + root +
                 "/my.app\n");
  const std::string packaged = root + "/usr/libexec/ferrin-relay/ferrin-third-party-proxy";
  tests::put(packaged, "not executable");
  const std::string helper = "/Contents/Helpers/ferrin-third-party-proxy";
  for (const auto& place : {root + "/my.app" + helper, root + "/home/Applications/Ferrin Relay.app" + helper,
                            root + "/Applications/Ferrin Relay.app" + helper, packaged,
                            root + "/build tree/relay", root + "/moved tree/relay"}) {
    putProgram(place, "#!/bin/sh\nprintf '[%s]' \"$0\" \"$@\"\n");
    const CommandResult result =
        run("/usr/bin/env", {"HOME=" + root + "/home", "FERRIN_RELAY_PROGRAM=" + root + "/moved tree/relay",
                             script, "--host", "a b", "", "$x"});
    EXPECT_EQ(result.output, "[" + place + "][--host][a b][][$x]");
  }
}

TEST(ProxyScript, saysOnceThatThereIsNoneAndGoesOnLooking) {
  const tests::TemporaryFolder folder;
  const std::string later = folder / "later", relay = folder / "relay";
  putProgram(later, "#!/bin/sh\necho running\n");
  std::string text = replaced(tests::contentOf(RELAY_SCRIPT), RELAY_PROGRAM, "");
  text =
      replaced(replaced(text, "/usr/", folder / "usr/"), "\"/Applications", "\"" + later + "/Applications");
  EXPECT_NE(text.find("while sleep 30;"), std::string::npos);
  const std::string waits = "[ -e once ] && mv later relay || echo >>once";
  putProgram(folder / "script.py", replaced(text, "sleep 30", waits));
  const CommandResult result = run(
      "/usr/bin/env", {"-C", folder.path(), "HOME=" + later, "FERRIN_RELAY_PROGRAM=" + relay, "./script.py"});
  EXPECT_EQ(result.output,
            "./script.py: no ferrin-third-party-proxy found: install Ferrin Relay again\nrunning\n");
}

TEST(Resources, lieBesideTheProgramInABundle) {
  const tests::TemporaryFolder contents;
  for (const char* file : {"Resources/proxy.py", "Helpers/ferrin-third-party-proxy"})
    tests::put(contents / file, "");
  EXPECT_EQ(proxyResource(contents / "MacOS/Ferrin Relay"), contents / "Resources/proxy.py");
  EXPECT_EQ(relayProgram(contents / "Resources/proxy.py"), contents / "Helpers/ferrin-third-party-proxy");
}

}  // namespace
}  // namespace ferrin::relay
