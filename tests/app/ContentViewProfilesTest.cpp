#include <gtest/gtest.h>

#include "tests/app/TestApplication.h"

namespace ferrin::app {
namespace {

namespace fs = std::filesystem;
using tests::contentOf;

fs::path keyFileOf(const TestApplication& app) {
  return app.at.secretDirectory / ("provider-key-" + app.view->selectedProfileID.get() + ".token");
}

TEST(SaveProfile, storesANewProfileChangesItInPlaceAndLoadsItWhenItIsPicked) {
  TestApplication app;
  app.fill(" Work\n", "  " + typedURL + "/  ", " sk-1\n", " m ");
  app.view->saveProfile();
  EXPECT_EQ(app.form(), "Work|" + typedURL + "||m");
  const fs::path keyFile = keyFileOf(app);

  app.fill(" renamed ", typedURL + "//", "", "m2 ");
  app.view->saveProfile();
  EXPECT_EQ(app.form(), " renamed |" + typedURL + "//||m2 ");
  const core::ProviderProfile renamed{*core::UUID::parse(app.view->selectedProfileID.get()), "renamed",
                                      typedURL, "m2", keyFile.filename().string()};

  app.view->selectedProfileID = "none";
  app.fill("another", typedURL, "sk-2", "m");
  app.view->saveProfile();
  EXPECT_EQ(contentOf(keyFile) + contentOf(keyFileOf(app)), "sk-1\nsk-2\n");
  EXPECT_EQ(app.view->profiles.get().at(1), renamed) << "they are sorted by name";
  EXPECT_EQ(app.view->profiles.get(), core::loadProfiles(app.at));
  app.view->apiKey = "typed";
  app.view->selectedProfileID = renamed.id().text();
  EXPECT_EQ(app.form(), "renamed|" + typedURL + "||m2");
}

TEST(SaveProfile, saysWhatIsMissingOrWhichFileFailedAndKeepsTheRest) {
  TestApplication app;
  const auto statusAfterSaving = [&app](const auto&... typed) {
    app.fill(typed...);
    const std::string form = app.form();
    app.view->saveProfile();
    EXPECT_EQ(app.form(), form);
    return tests::replaced(app.status(), keyFileOf(app).filename().string(), "KEY");
  };
  const std::string incomplete = "Error: profile name, URL and model are required";
  EXPECT_EQ(statusAfterSaving(" \n", typedURL, "k", "m"), incomplete);
  EXPECT_EQ(statusAfterSaving("n", " /// ", "k", "m"), incomplete);
  EXPECT_EQ(statusAfterSaving("n", typedURL, "k", "\t"), incomplete);
  EXPECT_EQ(statusAfterSaving("n", typedURL, " ", "m"), "Error: enter the API key once before saving");
  EXPECT_TRUE(tests::filesBelow(app.home.path()).empty());

  app.fill("old", typedURL, "sk-old", "m");
  app.view->saveProfile();
  const fs::path keyFile = keyFileOf(app);
  fs::permissions(app.at.secretDirectory, fs::perms(0500));
  EXPECT_EQ(statusAfterSaving("new", typedURL, "sk-new", "m"),
            "Error: ~/.ferrin/secrets/KEY: Permission denied");
  EXPECT_EQ(contentOf(keyFile) + core::loadProfiles(app.at).at(0).name, "sk-old\nold");
  fs::permissions(app.at.secretDirectory, fs::perms(0700));
  fs::remove(keyFile);
  EXPECT_EQ(statusAfterSaving("new", typedURL, "", "m"),
            "Error: ~/.ferrin/secrets/KEY: No such file or directory");
  fs::remove(app.at.profilesFile);
  fs::create_directory(app.at.profilesFile);
  EXPECT_EQ(statusAfterSaving("new", typedURL, "sk-new", "m"),
            "Error: ~/.ferrin/secrets/provider-profiles.json: Is a directory");
  EXPECT_EQ(contentOf(keyFile), "sk-new\n");
}

TEST(ResolvedKey, isTheTypedOneThenTheProfilesThenTheRelays) {
  TestApplication app;
  const core::ProviderProfile profile{core::UUID::random(), "n", "u", "m", "k.token"};
  tests::put(app.at.upstreamKeyFile, " current \n");
  for (const auto& [stored, key] : {std::pair(" \n", "current"), {" stored \n", "stored"}}) {
    tests::put(app.at.secretDirectory / "k.token", stored);
    EXPECT_EQ(app.view->resolvedKey(profile), key);
    EXPECT_EQ(app.view->resolvedKey({}), "current");
  }
  app.view->apiKey = " typed\n";
  EXPECT_EQ(app.view->resolvedKey(profile), "typed");
}

}  // namespace
}  // namespace ferrin::app
