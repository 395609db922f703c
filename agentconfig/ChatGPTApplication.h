#pragma once
// Restarting the ChatGPT desktop application, so that it reads the changed configuration.

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace ferrin::agentconfig {

/// Runs a program, named by its absolute path, and waits for its end. Its result is ignored.
using CommandRunner =
    std::function<void(const std::string& program, const std::vector<std::string>& arguments)>;
/// Blocks the calling thread for that long.
using Pause = std::function<void(std::chrono::milliseconds)>;

struct Command {
  std::string program;
  std::vector<std::string> arguments;
};

/// What ends an application, its helpers included, and what starts it.
struct ApplicationCommands {
  Command end;
  Command start;
};

ApplicationCommands chatGPTCommandsOnMacOS();
/// Ends the application, waits one second, and starts it. With a null `application`, only waits.
void restart(const ApplicationCommands* application, const CommandRunner& run, const Pause& pause);

void sleepThread(std::chrono::milliseconds duration);
/// Restarts ChatGPT on systems that it exists for, and only waits a second on others. Reports nothing, not
/// even that ChatGPT is not installed. Throws what `run` and `pause` throw. Blocks the calling thread.
void restartChatGPTApplication(const CommandRunner& run, const Pause& pause = sleepThread);

}  // namespace ferrin::agentconfig
