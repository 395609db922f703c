#include "relay/Command.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ferrin::relay {
namespace {

CommandResult shell(const std::string& script) { return run("/bin/sh", {"-c", script}); }

TEST(Run, returnsTheStatusAndBothStreamsInOrderOrWhyThereAreNone) {
  for (const auto& [result, wanted] : {
           std::pair(shell("echo one; echo two >&2; printf ' x\\n\\n'; exit 5"),
                     CommandResult{5, "one\ntwo\n x\n\n"}),
           {shell("printf 'caf\\351'; exit 1"), {1, ""}},
           {shell("echo before; kill -KILL $$"), {137, "before\n"}},
           {run("/usr/bin/printf", {"[%s]", "", "a b", "$HOME", "'\"\\", "*"}),
            {0, "[][a b][$HOME]['\"\\][*]"}},
           {run("/usr/bin/head", {"-c", "300000", "/dev/zero"}), {0, std::string(300'000, '\0')}},
           {run("sh", {}), {-1, "sh: No such file or directory"}},
       }) {
    EXPECT_EQ(result.status, wanted.status) << wanted.output;
    EXPECT_TRUE(result.output == wanted.output) << result.output.substr(0, 100);
  }
}

TEST(Run, givesTheProgramThreeDescriptorsAndFreshSignalsAndWaitsForItAlone) {
  const pid_t other = fork();
  if (other == 0) _exit(42);
  const int open = ::open("/dev/null", O_RDONLY);  // not close-on-exec, as a parent may have left it
  signal(SIGPIPE, SIG_IGN);
  EXPECT_EQ(shell("[ ! -e /proc/$$/fd/" + std::to_string(open) + " ] && kill -PIPE $$").status,
            128 + SIGPIPE);
  int status = 0;
  EXPECT_EQ(waitpid(other, &status, 0), other);
  EXPECT_EQ(WEXITSTATUS(status), 42);
}

}  // namespace
}  // namespace ferrin::relay
