// The real relay under the real systemd of a user, on files of its own, between a client and two providers.
// Runs in a network of its own, as the relay's port is what it is. Under runit, the window's test has the
// same.

#include <gtest/gtest.h>

#include <future>

#include "app/CommandLineMode.h"
#include "providertest/AnswerText.h"
#include "providertest/CurlClient.h"
#include "providertest/DirectRequest.h"
#include "relay/RelayService.h"
#include "tests/relay/Machine.h"
#include "tests/sampleprovider/RunningProvider.h"
#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::app {
namespace {

/// What the agent tool is told when it asks the relay; the key that it sends is its own.
std::string askRelay(const std::string& prompt) {
  providertest::CurlClient client;
  std::promise<std::string> answer;
  client.send(*providertest::directRequest("http://127.0.0.1:8787/v1/responses", "agent's own", "m", prompt),
              [&answer](const auto& result) { answer.set_value(providertest::answerText(result)); });
  return answer.get_future().get();
}

TEST(WholeFlow, switchesBetweenTwoProvidersAndStops) {
  const auto machine = tests::freshMachine();
  const core::Locations at{machine->home};
  for (const std::string key : {"sk-first", "sk-second"}) {
    const tests::RunningProvider provider(key);
    tests::put(at.upstreamURLFile, provider.baseURL());
    tests::put(at.upstreamKeyFile, key);
    applyReferenceConfiguration(at, *machine->services, machine->relayScript);
    EXPECT_TRUE(tests::eventually([&] { return askRelay("这是" + key) == "这是" + key; })) << askRelay(key);
  }
  relay::stopServices(*machine->services);
  EXPECT_TRUE(askRelay("p").starts_with("请求失败：Failed to connect"));
}

}  // namespace
}  // namespace ferrin::app
