#include "relay/system/Command.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>
#include <system_error>

#include "core/LauncherError.h"
#include "core/Text.h"
#include "relay/system/Descriptors.h"

extern char** environ;

namespace ferrin::relay {
namespace {

constexpr const char* setsidProgram = "/usr/bin/setsid";

/// The attributes that a program is started with: its streams, and signals at their defaults, as a service
/// must not inherit what Qt or a parent has blocked or ignored.
class Start {
 public:
  Start() {
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  Start(const Start&) = delete;
  Start& operator=(const Start&) = delete;
  ~Start() {
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
  }

  void sendOutputTo(int descriptor) {
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
      posix_spawn_file_actions_adddup2(&actions, descriptor, stream);
    }
  }

  void silenceStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
      posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
    }
  }

  /// Throws std::system_error naming the program.
  pid_t spawn(const std::string& program, const std::vector<std::string>& arguments) {
    keepOnlyStandardStreams(actions, attributes);
    std::vector<char*> pointers{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);
    pid_t child = 0;
    // Unlike fork(2), posix_spawn is safe while other threads hold locks, and returns the error of the exec.
    const int failure = posix_spawn(&child, program.c_str(), &actions, &attributes, pointers.data(), environ);
    if (failure != 0) throw std::system_error(failure, std::generic_category(), program);
    return child;
  }

 private:
  posix_spawn_file_actions_t actions{};
  posix_spawnattr_t attributes{};
};

std::string readToEnd(const core::FileDescriptor& source) {
  std::string bytes;
  std::array<char, 4096> block{};
  for (;;) {
    const ssize_t count = read(source.get(), block.data(), block.size());
    if (count > 0) {
      bytes.append(block.data(), static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      return bytes;
    }
  }
}

std::int32_t waitFor(pid_t child, const std::string& program) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) core::throwErrno(program);
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/// Reads the output while the program runs: it would block once the pipe is full.
CommandResult runToEnd(const std::string& program, const std::vector<std::string>& arguments) {
  Pipe pipe = openPipe();
  Start start;
  start.sendOutputTo(pipe.writingEnd.get());
  const pid_t child = start.spawn(program, arguments);
  pipe.writingEnd.reset();
  std::string output = readToEnd(pipe.readingEnd);
  if (!core::isUTF8(output)) output.clear();  // it ends up in messages
  return {waitFor(child, program), std::move(output)};
}

CommandResult forkDetached(const std::string& program, const std::vector<std::string>& arguments) {
  std::vector<std::string> all{"--fork", program};
  all.insert(all.end(), arguments.begin(), arguments.end());
  Start start;
  start.silenceStreams();
  return {waitFor(start.spawn(setsidProgram, all), setsidProgram), ""};
}

}  // namespace

CommandResult run(const std::string& program, const std::vector<std::string>& arguments) {
  try {
    return runToEnd(program, arguments);
  } catch (const std::exception& failure) {
    return {-1, core::localizedDescription(failure)};
  }
}

CommandResult runDetached(const std::string& program, const std::vector<std::string>& arguments) {
  try {
    return forkDetached(program, arguments);
  } catch (const std::exception& failure) {
    return {-1, core::localizedDescription(failure)};
  }
}

}  // namespace ferrin::relay
