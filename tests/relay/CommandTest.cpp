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

TEST(Run, returnsTheStatusAndBothStreamsInOrder) {
  struct Row {
    const char* script;
    std::int32_t status;
    const char* output;
  };
  const Row rows[] = {
      {"echo one; echo two >&2; echo three", 0, "one\ntwo\nthree\n"},
      {"printf ' x\\n\\n'; exit 5", 5, " x\n\n"},
      {"printf 'caf\\351'; exit 1", 1, ""},
      {"echo before; kill -KILL $$", 137, "before\n"},
  };
  for (const Row& row : rows) {
    const CommandResult result = shell(row.script);
    EXPECT_EQ(result.status, row.status) << row.script;
    EXPECT_EQ(result.output, row.output) << row.script;
  }
  EXPECT_EQ(run("/usr/bin/head", {"-c", "3000000", "/dev/zero"}).output.size(), 3'000'000U);
  EXPECT_EQ(run("/usr/bin/printf", {"[%s]", "", "a b", "$HOME", "'\"\\", "*", "默认"}).output,
            "[][a b][$HOME]['\"\\][*][默认]");
}

TEST(Run, saysWhyAProgramCouldNotBeStarted) {
  const tests::TemporaryFolder folder;
  tests::put(folder / "data", "text");
  for (const auto& [name, reason] :
       {std::pair{"absent", "No such file or directory"}, {"data", "Permission denied"}}) {
    const CommandResult result = run((folder / name).string(), {});
    EXPECT_EQ(result.status, -1);
    EXPECT_EQ(result.output, (folder / name).string() + ": " + reason);
  }
  EXPECT_EQ(run("sh", {"-c", "exit 0"}).status, -1) << "no search path is used";
}

TEST(Run, waitsForItsOwnChildOnly) {
  const pid_t other = fork();
  if (other == 0) _exit(42);
  shell("exit 0");
  int status = 0;
  EXPECT_EQ(waitpid(other, &status, 0), other);
  EXPECT_EQ(WEXITSTATUS(status), 42);
}

TEST(Run, givesTheProgramThreeDescriptorsAndFreshSignals) {
  const int open = ::open("/dev/null", O_RDONLY);  // not close-on-exec, as a parent may have left it
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  sigprocmask(SIG_BLOCK, &blocked, &before);
  const auto pipeBefore = signal(SIGPIPE, SIG_IGN);
  EXPECT_EQ(shell("cd /proc/$$/fd && echo *").output.substr(0, 5), "0 1 2");
  EXPECT_EQ(shell("[ ! -e /proc/$$/fd/" + std::to_string(open) + " ]").status, 0);
  EXPECT_EQ(shell("kill -PIPE $$; exit 0").status, 128 + SIGPIPE);
  EXPECT_EQ(shell("kill -TERM $$; exit 0").status, 128 + SIGTERM);
  signal(SIGPIPE, pipeBefore);
  sigprocmask(SIG_SETMASK, &before, nullptr);
  close(open);
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
