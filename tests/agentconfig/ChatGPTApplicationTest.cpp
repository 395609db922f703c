#include "agentconfig/ChatGPTApplication.h"

#include <gtest/gtest.h>

namespace ferrin::agentconfig {
namespace {

TEST(RestartChatGPTApplication, endsItWaitsASecondAndStartsItWhereThereIsOne) {
  std::string steps;
  const CommandRunner run = [&steps](const std::string& program, const std::vector<std::string>& arguments) {
    steps += program;
    for (const auto& argument : arguments) steps += "|" + argument;
    steps += "\n";
  };
  const Pause pause = [&steps](auto duration) { steps += std::to_string(duration.count()) + " ms\n"; };
  const auto commands = chatGPTCommandsOnMacOS();
  restart(&commands, run, pause);
  EXPECT_EQ(steps,
            "/usr/bin/pkill|-f|/Applications/ChatGPT.app/Contents/\n1000 ms\n/usr/bin/open|-a|ChatGPT\n");
#ifndef __APPLE__
  steps.clear();
  restartChatGPTApplication(run, pause);
  EXPECT_EQ(steps, "1000 ms\n");
#endif
}

}  // namespace
}  // namespace ferrin::agentconfig
