#include "agentconfig/OfficialConfiguration.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <ctime>
#include <functional>
#include <nlohmann/json.hpp>

#include "agentconfig/ChatGPTApplication.h"
#include "agentconfig/ConfigurationLine.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::agentconfig {
namespace {

/// The texts, before and after, lie in edits.json.
TEST(ConfigurationEdits, changeTheLinesTheyAreMeantForAndNoOtherByte) {
  const std::map<std::string, std::function<std::string(const std::string&)>> edits = {
      {"replaceLine model = new, in", [](auto& text) { return replaceLine(text, "model", "new"); }},
      {"replaceLine a.b = <$0> \\\\$1$x, in",
       [](auto& text) { return replaceLine(text, "a.b", "<$0> \\\\$1$x"); }},
      {"an impossible key in",
       [](auto& text) { return removeRootLine(replaceLine(text, "a\\E(", "v"), "a\\E("); }},
      {"removeRootLine key, from", [](auto& text) { return removeRootLine(text, "key"); }},
      {"officialConfiguration of", [](auto& text) { return officialConfiguration(text); }},
  };
  const std::vector<std::array<std::string, 3>> rows = nlohmann::json::parse(tests::contentOf(EDITS));
  for (const auto& [edit, text, result] : rows)
    EXPECT_EQ(edits.at(edit)(text), result) << edit << " " << text;
}

TEST(ConfigurationEdits, takeTenMebibytesInSeconds) {
  for (const char filling : {'x', ' ', '\n'}) {
    const std::string long10MiB(10 << 20, filling);
    const std::string table = "model_provider = 1\n[model_providers.custom]\n" + long10MiB;
    const std::clock_t start = std::clock();
    EXPECT_TRUE(replaceLine("k" + long10MiB, "k", "v").ends_with("k" + long10MiB));
    EXPECT_EQ(officialConfiguration(table), "model_provider = \"openai\"\n");
    EXPECT_LT(std::clock() - start, 5 * CLOCKS_PER_SEC) << "sanitized; quadratic is minutes";
  }
}

TEST(RestartChatGPTApplication, takesASecondOnEverySystem) {
  const auto start = std::chrono::steady_clock::now();
  restartChatGPTApplication([](const auto&, const auto&) {});
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

}  // namespace
}  // namespace ferrin::agentconfig
