#include "relay/system/Command.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>

namespace ferrin::relay {
namespace {

CommandResult shell(const std::string& script) { return run("/bin/sh", {"-c", script}); }

TEST(Run, returnsTheStatusAndBothStreamsInOrderOrWhyThereAreNone) {
  for (const auto& [result, status, output] : {
           std::tuple(shell("echo one; echo two >&2; printf ' x\\n\\n'; exit 5"), 5,
                      std::string("one\ntwo\n x\n\n")),
           {shell("printf 'caf\\351'; kill -KILL $$"), 137, ""},
           {run("/usr/bin/printf", {"[%s]", "", "a b", "$HOME", "'\"\\", "*"}), 0,
            "[][a b][$HOME]['\"\\][*]"},
           {run("/usr/bin/head", {"-c", "300000", "/dev/zero"}), 0, std::string(300'000, '\0')},
           {run("sh", {}), -1, "sh: No such file or directory"},
       }) {
    EXPECT_EQ(result.status, status) << output;
    EXPECT_TRUE(result.output == output) << result.output.substr(0, 100);
  }
}

TEST(Run, givesTheProgramThreeDescriptorsAndFreshSignals) {
  const int open = ::open("/dev/null", O_RDONLY);  // not close-on-exec, as a parent may have left it
  signal(SIGPIPE, SIG_IGN);
  EXPECT_EQ(shell("[ ! -e /proc/$$/fd/" + std::to_string(open) + " ] && kill -PIPE $$").status,
            128 + SIGPIPE);
}

}  // namespace
}  // namespace ferrin::relay
