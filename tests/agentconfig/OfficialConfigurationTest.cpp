#include "agentconfig/OfficialConfiguration.h"

#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <functional>

#include "core/LauncherError.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::agentconfig {
namespace {

namespace fs = std::filesystem;
using tests::contentOf;
using tests::put;

const std::string chosen = "model_provider = \"openai\"\n";
const std::string header = "[model_providers.custom]\n";

TEST(OfficialConfiguration, removesTheCustomTableAndNothingAround) {
  struct Row {
    const char* name;
    std::string text, result;
  };
  const Row rows[] = {
      {"between tables", chosen + header + "a = 1\n# note\n\nb = 2\n[next]\nc = 3\n",
       chosen + "[next]\nc = 3\n"},
      {"last in the file", chosen + "[first]\n" + header + "a = 1\nb = 2", chosen + "[first]\n"},
      {"header alone", chosen + header, chosen},
      {"sub-table stays", chosen + header + "a = 1\n[model_providers.custom.headers]\nx = 1\n",
       chosen + "[model_providers.custom.headers]\nx = 1\n"},
      {"array of tables ends it", chosen + header + "a = 1\n[[list]]\n", chosen + "[[list]]\n"},
      {"a list that begins a line ends it", chosen + header + "a = [\n[1],\n]\n", chosen + "[1],\n]\n"},
      {"indented bracket does not", chosen + header + " [x]\n[y]\n", chosen + "[y]\n"},
      {"twice", chosen + header + "a = 1\n" + header + "b = 2\n[n]\n", chosen + "[n]\n"},
      {"blank behind the header", chosen + "[model_providers.custom] \na = 1\n",
       chosen + "[model_providers.custom] \na = 1\n"},
      {"CR LF behind the header", chosen + "[model_providers.custom]\r\na = 1\r\n",
       chosen + "[model_providers.custom]\r\na = 1\r\n"},
      {"no line feed behind the header", chosen + "[model_providers.custom]",
       chosen + "[model_providers.custom]"},
      {"another provider", chosen + "[model_providers.customs]\na = 1\n",
       chosen + "[model_providers.customs]\na = 1\n"},
      {"the dot is literal", chosen + "[model_providersXcustom]\na = 1\n",
       chosen + "[model_providersXcustom]\na = 1\n"},
      {"everything at once",
       "model = \"m\"\nmodel_provider = \"custom\"\nopenai_base_url = \"http://127.0.0.1:8787/v1\"\n\n" +
           header +
           "name = \"x\"\nbase_url = \"y\"\nkey = \"z\"\n[tui]\nopenai_base_url = 1\ntheme = \"暗\"\n",
       "model = \"m\"\n" + chosen + "\n[tui]\ntheme = \"暗\"\n"},
      {"nothing to do", chosen, chosen},
      {"no provider line", "a = 1\n", "model_provider = \\\"openai\\\"\na = 1\n"},
      {"ten mebibytes", chosen + header + std::string(10 << 20, '\n') + "[n]\n", chosen + "[n]\n"},
  };
  for (const Row& row : rows) {
    const std::clock_t start = std::clock();
    EXPECT_EQ(officialConfiguration(row.text), row.result) << row.name;
    EXPECT_LT(std::clock() - start, CLOCKS_PER_SEC) << row.name;
  }
}

struct Home {
  const tests::TemporaryFolder folder;
  const core::Locations at{folder.path()};
  const fs::path backup = at.ferrinHome / "config.toml.before-restore.bak";
};

TEST(RestoreOfficialConfiguration, keepsABackupOfWhatItRead) {
  const Home home;
  put(home.at.configURL, "model_provider = 1");
  fs::permissions(home.at.configURL, static_cast<fs::perms>(0644));
  restoreOfficialConfiguration(home.at);
  EXPECT_EQ(contentOf(home.backup), "model_provider = 1\n");
  EXPECT_EQ(contentOf(home.at.configURL), chosen);
  EXPECT_EQ(tests::modeOf(home.backup), 0600U);
  EXPECT_EQ(tests::modeOf(home.at.configURL), 0600U);
  restoreOfficialConfiguration(home.at);
  EXPECT_EQ(contentOf(home.backup), chosen + "\n");
  EXPECT_EQ(contentOf(home.at.configURL), chosen + "\n");
}

TEST(RestoreOfficialConfiguration, leavesTheConfigurationWhenAStepFails) {
  const tests::AsOrdinaryUser ordinary;
  const std::string before = "model_provider = \"custom\"\n";
  struct Row {
    const char* name;
    std::function<void(const Home&)> obstacle;
    std::string content, backup, description;
  };
  const Row rows[] = {
      {"missing", [](const Home& home) { fs::remove(home.at.configURL); }, "<none>", "older",
       "未找到 ~/.ferrin/config.toml"},
      {"not UTF-8", [](const Home& home) { put(home.at.configURL, "a\xFF"); }, "a\xFF", "older",
       "CONFIG: not UTF-8 text: Invalid or incomplete multibyte or wide character"},
      {"unreadable", [](const Home& home) { fs::permissions(home.at.configURL, fs::perms::none); }, "<none>",
       "older", "CONFIG: Permission denied"},
      {"read-only folder",
       [](const Home& home) { fs::permissions(home.at.ferrinHome, static_cast<fs::perms>(0500)); }, before,
       "older", "BACKUP: Permission denied"},
      {"a folder in the backup's place",
       [](const Home& home) {
         fs::remove(home.backup);
         put(home.backup / "inside", "kept");
       },
       before, "<none>", "BACKUP: Is a directory"},
  };
  for (const Row& row : rows) {
    const Home home;
    put(home.at.configURL, before);
    put(home.backup, "older");
    row.obstacle(home);
    std::string description = "no error";
    try {
      restoreOfficialConfiguration(home.at);
    } catch (const std::exception& error) {
      description = core::localizedDescription(error);
    }
    for (const auto& [path, word] :
         {std::pair(home.backup, "BACKUP"), std::pair(home.at.configURL, "CONFIG")}) {
      const auto place = description.find(path.string());
      if (place != std::string::npos) description.replace(place, path.string().size(), word);
    }
    EXPECT_EQ(description, row.description) << row.name;
    EXPECT_EQ(contentOf(home.at.configURL), row.content) << row.name;
    EXPECT_EQ(contentOf(home.backup), row.backup) << row.name;
  }
}

}  // namespace
}  // namespace ferrin::agentconfig
