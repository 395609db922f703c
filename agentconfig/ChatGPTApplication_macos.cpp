#include "agentconfig/ChatGPTApplication.h"

namespace ferrin::agentconfig {

void restartChatGPTApplication(const CommandRunner& run, const Pause& pause) {
  const ApplicationCommands commands = chatGPTCommandsOnMacOS();
  restart(&commands, run, pause);
}

}  // namespace ferrin::agentconfig
