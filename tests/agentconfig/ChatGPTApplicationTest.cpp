#include "agentconfig/ChatGPTApplication.h"

#include <gtest/gtest.h>

namespace ferrin::agentconfig {
namespace {

using Steps = std::vector<std::string>;

struct Recorder {
  Steps steps;
  CommandRunner run = [this](const std::string& program, const std::vector<std::string>& arguments) {
    std::string line = program;
    for (const auto& argument : arguments) line += "|" + argument;
    steps.push_back(line);
  };
  Pause pause = [this](std::chrono::milliseconds duration) {
    steps.push_back("pause " + std::to_string(duration.count()));
  };
};

TEST(RestartChatGPTApplication, endsItWaitsASecondAndStartsIt) {
  Recorder recorder;
  const auto commands = chatGPTCommandsOnMacOS();
  restart(&commands, recorder.run, recorder.pause);
  EXPECT_EQ(recorder.steps, (Steps{"/usr/bin/pkill|-f|/Applications/ChatGPT.app/Contents/", "pause 1000",
                                   "/usr/bin/open|-a|ChatGPT"}));
}

#ifndef __APPLE__
TEST(RestartChatGPTApplication, runsNothingWhereThereIsNone) {
  Recorder recorder;
  restartChatGPTApplication(recorder.run, recorder.pause);
  EXPECT_EQ(recorder.steps, Steps{"pause 1000"});
}
#endif

}  // namespace
}  // namespace ferrin::agentconfig
