// For systems without a ChatGPT application. A pkill that may be there is left alone: it would end whatever
// mentions the application's path on its command line.

#include "agentconfig/ChatGPTApplication.h"

namespace ferrin::agentconfig {

void restartChatGPTApplication(const CommandRunner& run, const Pause& pause) { restart(nullptr, run, pause); }

}  // namespace ferrin::agentconfig
