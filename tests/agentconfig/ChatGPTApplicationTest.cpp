#include "agentconfig/ChatGPTApplication.h"

#include <gtest/gtest.h>

namespace ferrin::agentconfig {
namespace {

TEST(RestartChatGPTApplication, endsItWaitsASecondAndStartsItWhereThereIsOne) {
  std::string steps;
  const CommandRunner run = [&steps](const std::string& program, const std::vector<std::string>& arguments) {
    steps += program + " " + arguments.front() + " " + arguments.back() + "\n";
  };
  const Pause pause = [&steps](auto duration) { steps += std::to_string(duration.count()) + " ms\n"; };
  const auto commands = chatGPTCommandsOnMacOS();
  restart(&commands, run, pause);
  restart(nullptr, run, pause);
  EXPECT_EQ(steps,
            "/usr/bin/pkill -f /Applications/ChatGPT.app/Contents/\n1000 ms\n"
            "/usr/bin/open -a ChatGPT\n1000 ms\n");
}

}  // namespace
}  // namespace ferrin::agentconfig
