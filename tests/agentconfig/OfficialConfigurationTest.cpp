#include "agentconfig/OfficialConfiguration.h"

#include <gtest/gtest.h>

#include <ctime>
#include <functional>

#include "tests/support/TemporaryFolder.h"
#include "tests/support/Thrown.h"

namespace ferrin::agentconfig {
namespace {

namespace fs = std::filesystem;
using tests::FileTree;
using tests::put;

TEST(OfficialConfiguration, removesTheCustomTableAndNothingAround) {
  const std::string chosen = "model_provider = \"openai\"\n";
  const std::string header = "[model_providers.custom]\n";
  for (const auto& [text, result] : {
           std::pair<std::string, std::string>{header + "a = 1\n# note\n\nb = 2\n[next]\nc = 3\n",
                                               "[next]\nc = 3\n"},
           {"[first]\n" + header + "a = 1\nb = 2", "[first]\n"},
           {header + "a = 1\n[[list]]\n", "[[list]]\n"},
           {header + "a = [\n[1],\n]\n", "[1],\n]\n"},
           {header + " [x]\n[y]\n", "[y]\n"},
           {header + "a = 1\n" + header + "b = 2\n[n]\n", "[n]\n"},
           {header + std::string(10 << 20, '\n') + "[n]\n", "[n]\n"},
       }) {
    const std::clock_t start = std::clock();
    EXPECT_EQ(officialConfiguration(chosen + text), chosen + result);
    EXPECT_LT(std::clock() - start, CLOCKS_PER_SEC) << result;
  }
  for (const std::string other :
       {"[model_providers.custom] \na = 1\n", "[model_providers.custom]\r\na = 1\r\n",
        "[model_providers.custom]", "[model_providers.custom.headers]\nx = 1\n",
        "[model_providersXcustom]\na = 1\n"}) {
    EXPECT_EQ(officialConfiguration(chosen + other), chosen + other);
  }
}

TEST(RestoreOfficialConfiguration, leavesTheConfigurationWhenAStepFails) {
  const tests::AsOrdinaryUser ordinary;
  const std::pair<std::function<void(const core::Locations&)>, std::string> rows[] = {
      {[](const core::Locations& at) { fs::remove(at.configURL); },
       "ProviderLauncher 7: 未找到 ~/.ferrin/config.toml"},
      {[](const core::Locations& at) { put(at.configURL, "a\xFF"); },
       "~/config.toml: not UTF-8 text: Invalid or incomplete multibyte or wide character"},
      {[](const core::Locations& at) { fs::permissions(at.configURL, fs::perms::none); },
       "~/config.toml: Permission denied"},
      {[](const core::Locations& at) { fs::permissions(at.ferrinHome, fs::perms(0500)); },
       "~/config.toml.before-restore.bak: Permission denied"},
  };
  for (const auto& [obstacle, wanted] : rows) {
    const tests::TemporaryFolder home;
    const core::Locations at(home.path());
    put(at.configURL, "model_provider = \"custom\"\n");
    put(at.ferrinHome / "config.toml.before-restore.bak", "older");
    obstacle(at);
    const FileTree before = tests::filesBelow(at.ferrinHome);
    const std::string thrown = tests::thrownBy([&at] { restoreOfficialConfiguration(at); });
    EXPECT_EQ(tests::replaced(thrown, at.ferrinHome.string(), "~"), wanted);
    EXPECT_EQ(tests::filesBelow(at.ferrinHome), before) << wanted;
  }
}

}  // namespace
}  // namespace ferrin::agentconfig
