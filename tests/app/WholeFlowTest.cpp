// The real relay under the real systemd of a user, on files of its own, between a client and two providers.
// Runs in a network of its own, as the relay's port is what it is. Under runit, the window's test has the
// same.

#include <gtest/gtest.h>

#include "app/CommandLineMode.h"
#include "relay/RelayService.h"
#include "tests/relay/Machine.h"
#include "tests/sampleprovider/RunningProvider.h"
#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::app {
namespace {

bool relayAnswers() {
  const std::string question = R"({"model": "m", "input": "word by word"})";
  return relay::run("/usr/bin/curl", {"-s", "--json", question, "http://127.0.0.1:8787/v1/responses"})
             .output.find("word by word") != std::string::npos;
}

TEST(WholeFlow, switchesBetweenTwoProvidersAndStops) {
  const auto machine = tests::freshMachine();
  const core::Locations at{machine->home};
  for (const std::string key : {"sk-first", "sk-second"}) {
    const tests::RunningProvider provider(key);
    tests::put(at.upstreamURLFile, provider.baseURL());
    tests::put(at.upstreamKeyFile, key);
    applyReferenceConfiguration(at, *machine->services, machine->relayScript);
    EXPECT_TRUE(tests::eventually(relayAnswers)) << key;
  }
  relay::stopServices(*machine->services);
  EXPECT_FALSE(relayAnswers());
}

}  // namespace
}  // namespace ferrin::app
