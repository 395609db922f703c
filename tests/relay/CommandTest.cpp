#include "relay/Command.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/relay/StandIns.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

CommandResult shell(const std::string& script) { return run("/bin/sh", {"-c", script}); }

TEST(Run, returnsTheStatusAndBothStreamsInOrderOrWhyThereAreNone) {
  const tests::TemporaryFolder folder;
  const auto data = (folder / "data").string();
  tests::put(data, "text");
  const std::pair<CommandResult, CommandResult> rows[] = {
      {shell("echo one; echo two >&2; printf ' x\\n\\n'; exit 5"), {5, "one\ntwo\n x\n\n"}},
      {shell("printf 'caf\\351'; exit 1"), {1, ""}},
      {shell("echo before; kill -KILL $$"), {137, "before\n"}},
      {run("/usr/bin/printf", {"[%s]", "", "a b", "$HOME", "'\"\\", "*"}), {0, "[][a b][$HOME]['\"\\][*]"}},
      {run("/usr/bin/head", {"-c", "3000000", "/dev/zero"}), {0, std::string(3'000'000, '\0')}},
      {run(data, {}), {-1, data + ": Permission denied"}},
      {run("sh", {}), {-1, "sh: No such file or directory"}},
  };
  for (const auto& [result, wanted] : rows) {
    EXPECT_EQ(result.status, wanted.status) << wanted.output;
    EXPECT_TRUE(result.output == wanted.output) << result.output.substr(0, 100);
  }
}

TEST(Run, givesTheProgramThreeDescriptorsAndFreshSignalsAndWaitsForItAlone) {
  const pid_t other = fork();
  if (other == 0) _exit(42);
  const int open = ::open("/dev/null", O_RDONLY);  // not close-on-exec, as a parent may have left it
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  sigprocmask(SIG_BLOCK, &blocked, &before);
  const auto pipeBefore = signal(SIGPIPE, SIG_IGN);
  EXPECT_EQ(shell("[ ! -e /proc/$$/fd/" + std::to_string(open) + " ]").status, 0);
  EXPECT_EQ(shell("kill -PIPE $$; exit 0").status, 128 + SIGPIPE);
  EXPECT_EQ(shell("kill -TERM $$; exit 0").status, 128 + SIGTERM);
  signal(SIGPIPE, pipeBefore);
  sigprocmask(SIG_SETMASK, &before, nullptr);
  close(open);
  int status = 0;
  EXPECT_EQ(waitpid(other, &status, 0), other);
  EXPECT_EQ(WEXITSTATUS(status), 42);
}

TEST(RunDetached, leavesAProgramBehindThatIsNoChildAndHoldsNothing) {
  const tests::TemporaryFolder folder;
  const tests::StandInRelay program(folder / "program");
  EXPECT_EQ(runDetached(program.path().string(), {"a b"}).status, 0);
  const pid_t started = program.running();
  ASSERT_NE(started, 0);
  EXPECT_EQ(program.arguments().back(), "a b");
  EXPECT_EQ(getsid(started), started);
  EXPECT_EQ(waitpid(started, nullptr, WNOHANG), -1);
  EXPECT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(started) + "/fd/1"), "/dev/null");
  kill(started, SIGKILL);
}

}  // namespace
}  // namespace ferrin::relay
