#include "agentconfig/OfficialConfiguration.h"

#include <gtest/gtest.h>

#include <ctime>
#include <functional>
#include <map>

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
  for (const auto& [text, result] : std::map<std::string, std::string>{
           {header + "a = 1\n# note\n\nb = 2\n[next]\nc = 3\n", "[next]\nc = 3\n"},
           {"[first]\n" + header + "a = 1\nb = 2", "[first]\n"},
           {header + "a = 1\n[[list]]\n", "[[list]]\n"},
           {header + "a = [\n[1],\n]\n", "[1],\n]\n"},
           {header + " [x]\n[y]\n", "[y]\n"},
           {header + "a = 1\n" + header + "b = 2\n[n]\n", "[n]\n"},
           {"openai_base_url = 1\n\n" + header + "a = 1\n[tui]\nopenai_base_url = 1\ntheme = \"暗\"\n",
            "\n[tui]\ntheme = \"暗\"\n"},
           {header + std::string(10 << 20, '\n') + "[n]\n", "[n]\n"},
       }) {
    const std::clock_t start = std::clock();
    EXPECT_EQ(officialConfiguration(chosen + text), chosen + result);
    EXPECT_LT(std::clock() - start, CLOCKS_PER_SEC) << result;
  }
  for (const std::string other :
       {"[model_providers.custom] \na = 1\n", "[model_providers.custom]\r\na = 1\r\n",
        "[model_providers.custom]", "[model_providers.custom.headers]\nx = 1\n",
        "[model_providers.customs]\na = 1\n", "[model_providersXcustom]\na = 1\n"}) {
    EXPECT_EQ(officialConfiguration(chosen + other), chosen + other);
  }
}

struct Home {
  const tests::TemporaryFolder folder;
  const core::Locations at{folder.path()};
  const fs::path backup = at.ferrinHome / "config.toml.before-restore.bak";

  /// What restoring throws, with "~" for the folder of both files.
  std::string restoring() const {
    return tests::replaced(tests::thrownBy([this] { restoreOfficialConfiguration(at); }),
                           at.ferrinHome.string(), "~");
  }
};

TEST(RestoreOfficialConfiguration, keepsABackupOfWhatItRead) {
  const Home home;
  put(home.at.configURL, "model_provider = 1");
  fs::permissions(home.at.configURL, static_cast<fs::perms>(0644));
  for (const std::string before : {"model_provider = 1", "model_provider = \"openai\"\n"}) {
    EXPECT_EQ(home.restoring(), "nothing");
    EXPECT_EQ(tests::filesBelow(home.at.ferrinHome),
              (FileTree{{"config.toml.before-restore.bak", "0600 " + before + "\n"},
                        {"config.toml", "0600 " + officialConfiguration(before) + "\n"}}));
  }
}

TEST(RestoreOfficialConfiguration, leavesTheConfigurationWhenAStepFails) {
  const tests::AsOrdinaryUser ordinary;
  struct Row {
    std::function<void(const Home&)> obstacle;
    std::string thrown;
  };
  const Row rows[] = {
      {[](const Home& home) { fs::remove(home.at.configURL); },
       "ProviderLauncher 7: 未找到 ~/.ferrin/config.toml"},
      {[](const Home& home) { put(home.at.configURL, "a\xFF"); },
       "~/config.toml: not UTF-8 text: Invalid or incomplete multibyte or wide character"},
      {[](const Home& home) { fs::permissions(home.at.configURL, fs::perms::none); },
       "~/config.toml: Permission denied"},
      {[](const Home& home) { fs::permissions(home.at.ferrinHome, static_cast<fs::perms>(0500)); },
       "~/config.toml.before-restore.bak: Permission denied"},
      {[](const Home& home) {
         fs::remove(home.backup);
         put(home.backup / "inside", "kept");
       },
       "~/config.toml.before-restore.bak: Is a directory"},
  };
  for (const Row& row : rows) {
    const Home home;
    put(home.at.configURL, "model_provider = \"custom\"\n");
    put(home.backup, "older");
    row.obstacle(home);
    const FileTree before = tests::filesBelow(home.at.ferrinHome);
    EXPECT_EQ(home.restoring(), row.thrown);
    EXPECT_EQ(tests::filesBelow(home.at.ferrinHome), before) << row.thrown;
  }
}

}  // namespace
}  // namespace ferrin::agentconfig
