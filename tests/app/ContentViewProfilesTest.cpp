#include <gtest/gtest.h>

#include "tests/app/TestApplication.h"

namespace ferrin::app {
namespace {

namespace fs = std::filesystem;
using tests::contentOf;
using tests::put;

fs::path keyFileOf(const TestApplication& app) {
  return app.at.secretDirectory / ("provider-key-" + app.view->selectedProfileID.get() + ".token");
}

TEST(SaveProfile, storesTheFormAsANewProfileAndThenChangesItInPlace) {
  TestApplication app;
  app.fill(" Work\n", "  " + typedURL + "/  ", " sk-1\n", " m ");
  std::string statuses;
  const auto subscription = app.view->subscribe([&] {
    if (!statuses.ends_with(app.status() + "\n")) statuses += app.status() + "\n";
  });
  app.view->saveProfile();
  EXPECT_EQ(statuses, "Relay is stopped\nSaved profile Work\nLoaded Work. The key is stored securely.\n");
  EXPECT_EQ(app.form(), "Work|" + typedURL + "||m");
  const fs::path keyFile = keyFileOf(app);
  EXPECT_EQ(tests::modeOf(keyFile), 0600u);

  app.fill(" renamed ", typedURL + "//", "", "m2 ");
  app.view->saveProfile();
  EXPECT_EQ(app.form(), " renamed |" + typedURL + "//||m2 ");
  const core::ProviderProfile renamed{*core::UUID::parse(app.view->selectedProfileID.get()), "renamed",
                                      typedURL, "m2", keyFile.filename().string()};
  EXPECT_EQ(core::loadProfiles(app.at), core::ProviderProfiles{renamed});

  app.view->selectedProfileID = "";
  app.fill("another", typedURL, "sk-2", "m");
  app.view->saveProfile();
  EXPECT_EQ(contentOf(keyFileOf(app)), "sk-2\n");
  EXPECT_EQ(contentOf(keyFile), "sk-1\n");
  EXPECT_EQ(app.view->profiles.get().at(1), renamed) << "they are sorted by name";
  EXPECT_EQ(app.view->profiles.get(), core::loadProfiles(app.at));
}

TEST(SaveProfile, writesNothingForAFormThatIsIncomplete) {
  TestApplication app;
  const std::tuple<std::string, std::string, std::string> rows[] = {
      {" \n", typedURL, "m"}, {"n", " /// ", "m"}, {"n", typedURL, "\t"}};
  for (const auto& [name, url, model] : rows) {
    app.fill(name, url, "k", model);
    app.view->saveProfile();
    EXPECT_EQ(app.status(), "Error: profile name, URL and model are required");
  }
  app.fill("n", typedURL, " \n", "m");
  app.view->saveProfile();
  EXPECT_EQ(app.status(), "Error: enter the API key once before saving");
  EXPECT_TRUE(tests::filesBelow(app.home.path()).empty());
}

TEST(SaveProfile, saysWhichFileFailedAndKeepsTheRest) {
  TestApplication app;
  app.fill("old", typedURL, "sk-old", "m");
  app.view->saveProfile();
  const fs::path keyFile = keyFileOf(app);
  const auto statusAfterSaving = [&](const std::string& typedKey) {
    app.fill("new", typedURL, typedKey, "m");
    app.view->saveProfile();
    EXPECT_EQ(app.form(), "new|" + typedURL + "|" + typedKey + "|m");
    return tests::replaced(app.status(), keyFile.filename().string(), "KEY");
  };
  fs::permissions(app.at.secretDirectory, fs::perms(0500));
  EXPECT_EQ(statusAfterSaving("sk-new"), "Error: ~/.ferrin/secrets/KEY: Permission denied");
  fs::permissions(app.at.secretDirectory, fs::perms(0700));
  EXPECT_EQ(contentOf(keyFile), "sk-old\n");
  EXPECT_EQ(core::loadProfiles(app.at).at(0).name, "old");
  fs::remove(keyFile);
  EXPECT_EQ(statusAfterSaving(""), "Error: ~/.ferrin/secrets/KEY: No such file or directory");
  fs::remove(app.at.profilesFile);
  put(app.at.profilesFile / "inside", "");
  EXPECT_EQ(statusAfterSaving("sk-new"), "Error: ~/.ferrin/secrets/provider-profiles.json: Is a directory");
  EXPECT_EQ(contentOf(keyFile), "sk-new\n");
}

TEST(ResolvedKey, isTheTypedOneThenTheProfilesThenTheRelays) {
  TestApplication app;
  const core::ProviderProfile profile{core::UUID::random(), "n", "u", "m", "k.token"};
  put(app.at.legacyUpstreamKeyFile, "legacy\n");
  EXPECT_EQ(app.view->resolvedKey({}), "legacy");
  put(app.at.upstreamKeyFile, " current \n");
  EXPECT_EQ(app.view->resolvedKey({}), "current");
  put(app.at.secretDirectory / "k.token", " \n");
  EXPECT_EQ(app.view->resolvedKey(profile), "current");
  put(app.at.secretDirectory / "k.token", " stored \n");
  EXPECT_EQ(app.view->resolvedKey(profile), "stored");
  app.view->apiKey = " typed\n";
  EXPECT_EQ(app.view->resolvedKey(profile), "typed");
}

TEST(LoadProfile, happensOncePerChangeOfTheSelection) {
  TestApplication app;
  const core::ProviderProfile work{core::UUID::random(), "Work 工作", "https://w.example/", "wm", "k"};
  core::saveProfiles({work}, app.at);
  app.view->appear();
  app.view->selectedProfileID = work.id().text();
  EXPECT_EQ(app.form(), "Work 工作|https://w.example/||wm");
  EXPECT_EQ(app.status(), "Loaded Work 工作. The key is stored securely.");
  app.view->apiKey = "typed";
  for (const std::string& id : {work.id().text(), std::string("no such profile")}) {
    app.view->selectedProfileID = id;
    EXPECT_EQ(app.form(), "Work 工作|https://w.example/|typed|wm") << id;
  }
}

}  // namespace
}  // namespace ferrin::app
