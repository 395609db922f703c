#include <gtest/gtest.h>

#include <functional>

#include "tests/app/TestApplication.h"

namespace ferrin::app {
namespace {

namespace fs = std::filesystem;
using tests::FileTree;
using tests::put;

const std::string keptKey = "sk-upstream";

std::string keyName(const std::string& id) { return "provider-key-" + id + ".token"; }
fs::path keyPath(const TestApplication& app, const std::string& id) {
  return app.at.secretDirectory / keyName(id);
}

/// Saves the form as a new profile and returns its id.
std::string saved(TestApplication& app, const std::string& name, const std::string& key) {
  app.view->selectedProfileID = "";
  app.fill(name, typedURL, key, "m");
  app.view->saveProfile();
  return app.view->selectedProfileID;
}

TEST(SaveProfile, storesTheFormAndSelectsIt) {
  TestApplication app;
  app.fill(" Work\n", "  " + typedURL + "/  ", " sk-1\n", " m ");
  Trace statuses;
  const auto subscription = app.view->subscribe([&] {
    if (statuses.empty() || statuses.back() != app.view->status.get()) statuses.push_back(app.view->status);
  });
  app.view->saveProfile();
  const std::string id = app.view->selectedProfileID;
  EXPECT_EQ(statuses,
            (Trace{"Relay is stopped", "Saved profile Work", "Loaded Work. The key is stored securely."}));
  EXPECT_EQ(
      app.files(),
      (FileTree{{".ferrin/secrets/" + keyName(id), "0600 sk-1\n"},
                {".ferrin/secrets/provider-profiles.json",
                 "0600 [{\"id\":\"" + id +
                     R"(","name":"Work","url":"https:\/\/provider.example\/v1","model":"m","keyFile":")" +
                     keyName(id) + "\"}]"}}));
  EXPECT_EQ(app.view->profileName.get(), "Work");
  EXPECT_EQ(app.view->upstreamURL.get(), typedURL);
  EXPECT_EQ(app.view->model.get(), "m");
  EXPECT_EQ(app.view->apiKey.get(), "");
}

TEST(SaveProfile, updatesTheSelectedProfileAndLeavesTheFormAsTyped) {
  TestApplication app;
  const std::string other = saved(app, "b", "sk-other");
  const std::string id = saved(app, "Work", "sk-1");
  app.fill(" a renamed one ", typedURL + "//", "", "m2 ");
  app.view->saveProfile();
  EXPECT_EQ(app.view->status.get(), "Saved profile a renamed one");
  EXPECT_EQ(app.view->profileName.get(), " a renamed one ");
  EXPECT_EQ(app.view->upstreamURL.get(), typedURL + "//");
  EXPECT_EQ(app.view->selectedProfileID.get(), id);
  const core::UUID uuid = *core::UUID::parse(id);
  ASSERT_EQ(app.view->profiles.get().size(), 2U);
  EXPECT_EQ(app.view->profiles.get()[0],
            core::ProviderProfile(uuid, "a renamed one", typedURL, "m2", keyName(id)));
  EXPECT_EQ(app.view->profiles.get()[1].id().text(), other);
  EXPECT_EQ(core::loadProfiles(app.at), app.view->profiles.get());
  EXPECT_EQ(tests::contentOf(keyPath(app, id)), "sk-1\n");
  EXPECT_EQ(app.files().size(), 3U);
}

TEST(SaveProfile, allowsTwoOfOneNameAndNamesTheKeyFileAfresh) {
  TestApplication app;
  const std::string first = saved(app, "same", "sk-1");
  const std::string second = saved(app, "same", "sk-2");
  EXPECT_NE(first, second);
  EXPECT_EQ(app.view->profiles.get().size(), 2U);
  const core::ProviderProfile elsewhere{*core::UUID::parse(first), "x", "u", "m", "another.token"};
  put(app.at.secretDirectory / "another.token", "sk-3\n");
  core::saveProfiles({elsewhere}, app.at);
  app.view->appear();
  app.view->selectedProfileID = first;
  app.view->saveProfile();
  EXPECT_EQ(app.view->status.get(), "Saved profile x");
  EXPECT_EQ(app.view->profiles.get().at(0).keyFile, keyName(first));
  EXPECT_EQ(tests::contentOf(keyPath(app, first)), "sk-3\n");
}

TEST(SaveProfile, takesTheRelaysKeyForANewProfile) {
  TestApplication app;
  put(app.at.legacyUpstreamKeyFile, " " + keptKey + "\n");
  EXPECT_EQ(tests::contentOf(keyPath(app, saved(app, "n", ""))), keptKey + "\n");
}

TEST(SaveProfile, writesNothingForAFormThatIsIncomplete) {
  struct Row {
    const char* name;
    std::string profileName, url, key, model, status;
  };
  const std::string required = "Error: profile name, URL and model are required";
  const Row rows[] = {
      {"no name", " \n", typedURL, "k", "m", required},
      {"no URL", "n", "", "k", "m", required},
      {"blank URL", "n", "  ", "k", "m", required},
      {"slashes for a URL", "n", " /// ", "k", "m", required},
      {"no model", "n", typedURL, "k", "\t", required},
      {"nothing at all", "", "", "", "", required},
      {"no key", "n", typedURL, " \n", "m", "Error: enter the API key once before saving"},
  };
  for (const Row& row : rows) {
    TestApplication app;
    app.fill(row.profileName, row.url, row.key, row.model);
    app.view->saveProfile();
    EXPECT_EQ(app.view->status.get(), row.status) << row.name;
    EXPECT_EQ(app.view->selectedProfileID.get(), "") << row.name;
    EXPECT_TRUE(fs::is_empty(app.home.path())) << row.name;
  }
}

TEST(SaveProfile, saysWhichFileFailedAndKeepsTheRest) {
  struct Row {
    const char* name;
    std::string typedKey;
    std::function<void(TestApplication&, const std::string& id)> obstacle;
    std::string status, keyFile, nameInMemory;
  };
  const Row rows[] = {
      {"key file gone", "", [](TestApplication& app, const std::string& id) { fs::remove(keyPath(app, id)); },
       "Error: ~/KEY: No such file or directory", "<none>", "old"},
      {"key file not text", "",
       [](TestApplication& app, const std::string& id) { put(keyPath(app, id), "\xFF"); },
       "Error: ~/KEY: not UTF-8 text: Invalid or incomplete multibyte or wide character", "\xFF", "old"},
      {"secrets folder read-only", "sk-new",
       [](TestApplication& app, const std::string&) {
         fs::permissions(app.at.secretDirectory, static_cast<fs::perms>(0500));
       },
       "Error: ~/KEY: Permission denied", "sk-old\n", "old"},
      {"profiles file not replaceable", "sk-new",
       [](TestApplication& app, const std::string&) {
         fs::remove(app.at.profilesFile);
         put(app.at.profilesFile / "inside", "");
       },
       "Error: ~/.ferrin/secrets/provider-profiles.json: Is a directory", "sk-new\n", "new"},
      {"name not text", "sk-new",
       [](TestApplication& app, const std::string&) { app.view->profileName = "new\xFF"; },
       "Error: ~/.ferrin/secrets/provider-profiles.json: Invalid or incomplete multibyte or wide character",
       "sk-new\n", "new\xFF"},
  };
  for (const Row& row : rows) {
    TestApplication app;
    const std::string id = saved(app, "old", "sk-old");
    const std::string before = tests::contentOf(app.at.profilesFile);
    app.fill("new", typedURL, row.typedKey, "m");
    row.obstacle(app, id);
    app.view->saveProfile();
    std::string status = app.status();
    const std::string key = ".ferrin/secrets/" + keyName(id);
    if (const auto place = status.find(key); place != std::string::npos)
      status.replace(place, key.size(), "KEY");
    EXPECT_EQ(status, row.status) << row.name;
    EXPECT_EQ(tests::contentOf(keyPath(app, id)), row.keyFile) << row.name;
    EXPECT_EQ(app.view->profiles.get().at(0).name, row.nameInMemory) << row.name;
    EXPECT_EQ(app.view->apiKey.get(), row.typedKey) << row.name;
    if (fs::is_regular_file(app.at.profilesFile)) {
      EXPECT_EQ(tests::contentOf(app.at.profilesFile), before) << row.name;
    }
  }
}

TEST(ResolvedKey, isTheTypedOneThenTheProfilesThenTheRelays) {
  struct Row {
    const char* name;
    std::string typed;
    std::optional<std::string> profileKey;  // nothing for no profile
    std::string current, legacy, key;
  };
  const Row rows[] = {
      {"typed", " typed\n", "stored", "current", "", "typed"},
      {"the profile's", " ", " stored \n", "current", "", "stored"},
      {"blank key file", "", " \n", " current \n", "legacy", "current"},
      {"no profile", "", std::nullopt, "current", "legacy", "current"},
      {"legacy", "", std::nullopt, "<none>", "legacy\n", "legacy"},
      {"an empty current file", "", std::nullopt, "", "legacy", ""},
      {"none", "", std::nullopt, "<none>", "<none>", ""},
  };
  for (const Row& row : rows) {
    TestApplication app;
    app.view->apiKey = row.typed;
    const core::ProviderProfile profile{core::UUID::random(), "n", "u", "m", "k.token"};
    if (row.profileKey) put(app.at.secretDirectory / "k.token", *row.profileKey);
    if (row.current != "<none>") put(app.at.upstreamKeyFile, row.current);
    if (row.legacy != "<none>") put(app.at.legacyUpstreamKeyFile, row.legacy);
    EXPECT_EQ(app.view->resolvedKey(row.profileKey ? std::optional(profile) : std::nullopt), row.key)
        << row.name;
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
