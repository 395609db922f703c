#include "agentconfig/OfficialConfiguration.h"

#include <gtest/gtest.h>

#include <ctime>
#include <functional>
#include <nlohmann/json.hpp>

#include "agentconfig/ConfigurationLine.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Thrown.h"

namespace ferrin::agentconfig {
namespace {

namespace fs = std::filesystem;
using Rows = std::map<std::string, std::vector<std::pair<std::string, std::string>>>;

/// The texts, before and after, lie in edits.json.
TEST(ConfigurationEdits, changeTheLinesTheyAreMeantForAndNoOtherByte) {
  const std::pair<const char*, std::function<std::string(const std::string&)>> edits[] = {
      {"replaceLine model = new, in", [](auto& text) { return replaceLine(text, "model", "new"); }},
      {"replaceLine a.b = <$0> \\\\$1$x, in",
       [](auto& text) { return replaceLine(text, "a.b", "<$0> \\\\$1$x"); }},
      {"removeRootLine key, from", [](auto& text) { return removeRootLine(text, "key"); }},
      {"officialConfiguration of", [](auto& text) { return officialConfiguration(text); }},
  };
  const Rows rows = nlohmann::json::parse(tests::contentOf(EDITS));
  for (const auto& [name, edit] : edits) {
    for (const auto& [text, result] : rows.at(name)) EXPECT_EQ(edit(text), result) << name << " " << text;
  }
  EXPECT_EQ(replaceLine("a = 1", "a\\E(", "v") + removeRootLine("a = 1", "a\\E("), "a = 1a = 1");
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

TEST(RestoreOfficialConfiguration, leavesTheConfigurationWhenAStepFails) {
  const tests::AsOrdinaryUser ordinary;
  const std::pair<std::function<void(const core::Locations&)>, std::string> rows[] = {
      {[](auto& at) { fs::remove(at.configURL); }, "ProviderLauncher 7: 未找到 ~/.ferrin/config.toml"},
      {[](auto& at) { tests::put(at.configURL, "a\xFF"); },
       "~/config.toml: not UTF-8 text: Invalid or incomplete multibyte or wide character"},
      {[](auto& at) { fs::permissions(at.configURL, fs::perms::none); }, "~/config.toml: Permission denied"},
      {[](auto& at) { fs::permissions(at.ferrinHome, fs::perms(0500)); },
       "~/config.toml.before-restore.bak: Permission denied"},
  };
  for (const auto& [obstacle, wanted] : rows) {
    const tests::TemporaryFolder home;
    const core::Locations at(home.path());
    tests::put(at.configURL, "model_provider = \"custom\"\n");
    tests::put(configurationBackup(at), "older");
    obstacle(at);
    const auto before = tests::filesBelow(at.ferrinHome);
    const std::string thrown = tests::thrownBy([&at] { restoreOfficialConfiguration(at); });
    EXPECT_EQ(tests::replaced(thrown, at.ferrinHome.string(), "~"), wanted);
    EXPECT_EQ(tests::filesBelow(at.ferrinHome), before) << wanted;
  }
}

}  // namespace
}  // namespace ferrin::agentconfig
