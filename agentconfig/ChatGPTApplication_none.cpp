// For systems without a ChatGPT application. pkill is not called: it would end any process with the
// application's path on its command line.

#include "agentconfig/ChatGPTApplication.h"

namespace ferrin::agentconfig {

void restartChatGPTApplication(const CommandRunner& run, const Pause& pause) { restart(nullptr, run, pause); }

}  // namespace ferrin::agentconfig
