#include "agentconfig/ChatGPTApplication.h"

#include <thread>

namespace ferrin::agentconfig {

ApplicationCommands chatGPTCommandsOnMacOS() {
  return {.end = {"/usr/bin/pkill", {"-f", "/Applications/ChatGPT.app/Contents/"}},
          .start = {"/usr/bin/open", {"-a", "ChatGPT"}}};
}

void restart(const ApplicationCommands* application, const CommandRunner& run, const Pause& pause) {
  if (application != nullptr) run(application->end.program, application->end.arguments);
  pause(std::chrono::seconds(1));
  if (application != nullptr) run(application->start.program, application->start.arguments);
}

void sleepThread(std::chrono::milliseconds duration) { std::this_thread::sleep_for(duration); }

}  // namespace ferrin::agentconfig
