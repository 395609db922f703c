#include <gtest/gtest.h>

#include <array>
#include <functional>

#include "tests/app/TestApplication.h"

namespace ferrin::app {
namespace {

namespace fs = std::filesystem;
using tests::FileTree;
using tests::put;

std::string keyName(const std::string& id) { return "provider-key-" + id + ".token"; }

TEST(SaveProfile, storesTheFormAndSelectsIt) {
  TestApplication app;
  app.fill(" Work\n", "  " + typedURL + "/  ", " sk-1\n", " m ");
  std::string statuses;
  const auto subscription = app.view->subscribe([&] {
    if (!statuses.ends_with(app.status() + "\n")) statuses += app.status() + "\n";
  });
  app.view->saveProfile();
  const std::string id = app.view->selectedProfileID;
  EXPECT_EQ(statuses,
            "Relay is stopped\nSaved profile Work\nLoaded Work. The "
            "key is stored securely.\n");
  EXPECT_EQ(app.form(), "Work|" + typedURL + "||m");
  EXPECT_EQ(
      app.files(),
      (FileTree{{".ferrin/secrets/" + keyName(id), "0600 sk-1\n"},
                {".ferrin/secrets/provider-profiles.json",
                 "0600 [{\"id\":\"" + id +
                     R"(","name":"Work","url":"https:\/\/provider.example\/v1","model":"m","keyFile":")" +
                     keyName(id) + "\"}]"}}));
  app.view->selectedProfileID = "";
  app.view->apiKey = "sk-2";
  app.view->saveProfile();
  EXPECT_NE(app.view->selectedProfileID.get(), id);
  EXPECT_EQ(core::loadProfiles(app.at).size(), 2U) << "two of one name";
}

TEST(SaveProfile, updatesTheSelectedProfileAndLeavesTheFormAsTyped) {
  TestApplication app;
  const core::UUID id = core::UUID::random();
  const core::ProviderProfile other{core::UUID::random(), "b", "u", "m", "b.token"};
  core::saveProfiles({other, {id, "Work", "u", "m", "another.token"}}, app.at);
  put(app.at.secretDirectory / "another.token", "sk-1\n");
  app.view->appear();
  app.view->selectedProfileID = id.text();
  app.fill(" a renamed one ", typedURL + "//", "", "m2 ");
  app.view->saveProfile();
  EXPECT_EQ(app.status(), "Saved profile a renamed one");
  EXPECT_EQ(app.form(), " a renamed one |" + typedURL + "//||m2 ");
  EXPECT_EQ(app.view->selectedProfileID.get(), id.text());
  const core::ProviderProfile renamed{id, "a renamed one", typedURL, "m2", keyName(id.text())};
  EXPECT_EQ(app.view->profiles.get(), (core::ProviderProfiles{renamed, other}));
  EXPECT_EQ(core::loadProfiles(app.at), app.view->profiles.get());
  EXPECT_EQ(tests::contentOf(app.at.secretDirectory / keyName(id.text())), "sk-1\n");
}

TEST(SaveProfile, writesNothingForAFormThatIsIncomplete) {
  const std::string required = "Error: profile name, URL and model are required";
  TestApplication app;
  for (const auto& [name, url, key, model, status] : {
           std::array<std::string, 5>{" \n", typedURL, "k", "m", required},
           {"n", " /// ", "k", "m", required},
           {"n", typedURL, "k", "\t", required},
           {"n", typedURL, " \n", "m", "Error: enter the API key once before saving"},
       }) {
    app.fill(name, url, key, model);
    app.view->saveProfile();
    EXPECT_EQ(app.status(), status);
  }
  EXPECT_EQ(app.view->selectedProfileID.get(), "");
  EXPECT_TRUE(app.files().empty());
}

TEST(SaveProfile, saysWhichFileFailedAndKeepsTheRest) {
  struct Row {
    const char* name;
    std::function<void(TestApplication&, const fs::path& keyFile)> obstacle;
    std::string typedKey, status, keyFile, nameInMemory;
  };
  const std::string profilesFile = "Error: ~/.ferrin/secrets/provider-profiles.json: ";
  const std::string notText = "Invalid or incomplete multibyte or wide character";
  const Row rows[] = {
      {"key file gone", [](auto&, auto& file) { fs::remove(file); }, "",
       "Error: KEY: No such file or directory", "<none>", "old"},
      {"key file not text", [](auto&, auto& file) { put(file, "\xFF"); }, "",
       "Error: KEY: not UTF-8 text: " + notText, "\xFF", "old"},
      {"secrets folder read-only",
       [](auto&, auto& file) { fs::permissions(file.parent_path(), fs::perms(0500)); }, "sk-new",
       "Error: KEY: Permission denied", "sk-old\n", "old"},
      {"profiles file in the way",
       [](auto& app, auto&) {
         fs::remove(app.at.profilesFile);
         put(app.at.profilesFile / "inside", "");
       },
       "sk-new", profilesFile + "Is a directory", "sk-new\n", "new"},
      {"name not text", [](auto& app, auto&) { app.view->profileName = "new\xFF"; }, "sk-new",
       profilesFile + notText, "sk-new\n", "new\xFF"},
  };
  for (const Row& row : rows) {
    TestApplication app;
    app.fill("old", typedURL, "sk-old", "m");
    app.view->saveProfile();
    const fs::path keyFile = app.at.secretDirectory / keyName(app.view->selectedProfileID);
    app.fill("new", typedURL, row.typedKey, "m");
    row.obstacle(app, keyFile);
    const std::string before = tests::contentOf(app.at.profilesFile);
    app.view->saveProfile();
    EXPECT_EQ(tests::replaced(app.status(), "~/.ferrin/secrets/" + keyFile.filename().string(), "KEY"),
              row.status);
    EXPECT_EQ(tests::contentOf(keyFile), row.keyFile) << row.name;
    EXPECT_EQ(app.view->profiles.get().at(0).name, row.nameInMemory) << row.name;
    EXPECT_EQ(app.view->apiKey.get(), row.typedKey) << row.name;
    EXPECT_EQ(tests::contentOf(app.at.profilesFile), before) << row.name;
  }
}

TEST(ResolvedKey, isTheTypedOneThenTheProfilesThenTheRelays) {
  const std::string none = "<none>";
  const std::array<std::string, 6> rows[] = {
      // name, typed, in the profile's file, in the relay's current file, in its legacy file, result
      {"typed", " typed\n", "stored", "current", none, "typed"},
      {"the profile's", " ", " stored \n", "current", none, "stored"},
      {"blank key file", "", " \n", " current \n", "legacy", "current"},
      {"no profile", "", none, "current", "legacy", "current"},
      {"legacy", "", none, none, "legacy\n", "legacy"},
      {"current file not text", "", none, "\xFF", "legacy", "legacy"},
      {"an empty current file", "", none, "", "legacy", ""},
      {"none", "", none, none, none, ""},
  };
  const core::ProviderProfile profile{core::UUID::random(), "n", "u", "m", "k.token"};
  for (const auto& [name, typed, stored, current, legacy, key] : rows) {
    TestApplication app;
    app.view->apiKey = typed;
    if (stored != none) put(app.at.secretDirectory / "k.token", stored);
    if (current != none) put(app.at.upstreamKeyFile, current);
    if (legacy != none) put(app.at.legacyUpstreamKeyFile, legacy);
    EXPECT_EQ(app.view->resolvedKey(stored != none ? std::optional(profile) : std::nullopt), key) << name;
  }
  TestApplication app;
  put(app.at.upstreamKeyFile, "current");
  for (const char* keyFile : {"absent.token", "", "/etc/hostname"}) {
    EXPECT_THROW(app.view->resolvedKey(core::ProviderProfile(core::UUID::random(), "n", "u", "m", keyFile)),
                 std::system_error)
        << keyFile;
  }
}

}  // namespace
}  // namespace ferrin::app
