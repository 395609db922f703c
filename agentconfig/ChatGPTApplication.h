#pragma once
// The ChatGPT desktop application, restarted so that it reads the changed configuration.

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace ferrin::agentconfig {

/// Runs a program by absolute path to its end. What it answers is nobody's business here.
using CommandRunner =
    std::function<void(const std::string& program, const std::vector<std::string>& arguments)>;
/// Blocks the caller for as long as it is told.
using Pause = std::function<void(std::chrono::milliseconds)>;

struct Command {
  std::string program;
  std::vector<std::string> arguments;
};

/// How an application is ended, helpers included, and started again.
struct ApplicationCommands {
  Command end;
  Command start;
};

ApplicationCommands chatGPTCommandsOnMacOS();
/// Ends the application, waits one second, starts it. With no commands, only the second passes.
void restart(const ApplicationCommands* application, const CommandRunner& run, const Pause& pause);

void sleepThread(std::chrono::milliseconds duration);
/// Restarts ChatGPT where the system has it, else waits one second; blocks the caller. Nothing is reported, a
/// ChatGPT that is not installed included. Throws only what `run` and `pause` throw.
void restartChatGPTApplication(const CommandRunner& run, const Pause& pause = sleepThread);

}  // namespace ferrin::agentconfig
