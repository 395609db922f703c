#include "core/ProfileStore.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <system_error>

#include "tests/support/TemporaryFolder.h"

namespace ferrin::core {
namespace {

namespace fs = std::filesystem;
using tests::contentOf;
using tests::put;

const UUID workID = *UUID::parse("3F2A9C1E-7B44-4D0A-9E61-2C5B8A0F1D73");

ProviderProfile profileNamed(const std::string& name) {
  return {UUID::random(), name, "https://provider.example/v1", "gpt-5.6-terra", "key.token"};
}

struct Home {
  const tests::TemporaryFolder folder;
  const Locations at{folder.path()};
};

std::vector<std::string> loadedNames(const Locations& at) {
  std::vector<std::string> names;
  for (const auto& profile : loadProfiles(at)) names.push_back(profile.name);
  return names;
}

TEST(SaveProfiles, writesOneCompactLineForItsOwnerAlone) {
  const Home home;
  saveProfiles({{workID, "Work", "https://provider.example/v1", "gpt-5.6-terra",
                 "provider-key-" + workID.text() + ".token"}},
               home.at);
  EXPECT_EQ(contentOf(home.at.profilesFile),
            R"([{"id":"3F2A9C1E-7B44-4D0A-9E61-2C5B8A0F1D73","name":"Work",)"
            R"("url":"https:\/\/provider.example\/v1","model":"gpt-5.6-terra",)"
            R"("keyFile":"provider-key-3F2A9C1E-7B44-4D0A-9E61-2C5B8A0F1D73.token"}])");
  EXPECT_EQ(tests::modeOf(home.at.profilesFile), 0600U);
  saveProfiles({}, home.at);
  EXPECT_EQ(contentOf(home.at.profilesFile), "[]");
}

TEST(SaveProfiles, keepsEveryTextThatIsUTF8) {
  const Home home;
  for (const std::string& name :
       {std::string("默认"), std::string("Ünïté"), std::string("🚀 / \\ \""),
        std::string("tab\tand\nline\u2028\x7F\x01"), std::string("nul\0inside", 10)}) {
    const ProviderProfiles saved{profileNamed(name)};
    saveProfiles(saved, home.at);
    EXPECT_EQ(loadProfiles(home.at), saved) << name;
  }
}

TEST(SaveProfiles, leavesTheOldFileWhenAStepFails) {
  const tests::AsOrdinaryUser ordinary;
  struct Row {
    const char* name;
    ProviderProfiles profiles;
    std::function<void(const Locations&)> obstacle;
    std::errc reason;
  };
  const ProviderProfiles good{profileNamed("new")};
  const Row rows[] = {
      {"not UTF-8", {profileNamed("caf\xE9")}, [](const Locations&) {}, std::errc::illegal_byte_sequence},
      {"read-only folder", good,
       [](const Locations& at) { fs::permissions(at.secretDirectory, static_cast<fs::perms>(0500)); },
       std::errc::permission_denied},
  };
  for (const Row& row : rows) {
    const Home home;
    saveProfiles({}, home.at);
    row.obstacle(home.at);
    try {
      saveProfiles(row.profiles, home.at);
      ADD_FAILURE() << row.name;
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code(), std::make_error_code(row.reason)) << row.name;
    }
    EXPECT_EQ(contentOf(home.at.profilesFile), "[]") << row.name;
  }
}

TEST(LoadProfiles, takesWhatIsWellFormedAndNothingElse) {
  const std::string id = R"("id":"3f2a9c1e-7b44-4d0a-9e61-2c5b8a0f1d73")";
  const std::string rest = R"("name":"n","url":"https://h/v1","model":"m","keyFile":"k")";
  const std::string good = "{" + id + "," + rest + "}";
  struct Row {
    const char* name;
    std::string content;
    std::size_t count;
  };
  const Row rows[] = {
      {"empty list", "[]", 0},
      {"any order, unknown members, white space", " [ {" + rest + ", \"more\": [1, {}], " + id + "} ]\n", 1},
      {"byte-order mark", "\xEF\xBB\xBF[" + good + "]", 1},
      {"two", "[" + good + "," + good + "]", 2},
      {"one without keyFile rejects all", "[" + good + ",{" + id + R"(,"name":"n","url":"u","model":"m"}])",
       0},
      {"a member is null", "[{" + id + R"(,"name":null,"url":"u","model":"m","keyFile":"k"}])", 0},
      {"no UUID", "[{\"id\":\"work\"," + rest + "}]", 0},
      {"an id of digits", "[{\"id\":7," + rest + "}]", 0},
      {"a text among the objects", "[" + good + ",\"x\"]", 0},
      {"a nested list", "[[" + good + "]]", 0},
      {"an object", good, 0},
      {"a trailing comma", "[" + good + ",]", 0},
      {"cut off", "[" + good, 0},
      {"not UTF-8", "[{" + id + ",\"name\":\"caf\xE9\",\"url\":\"u\",\"model\":\"m\",\"keyFile\":\"k\"}]", 0},
      {"half a surrogate pair", "[{" + id + R"(,"name":"\ud83d","url":"u","model":"m","keyFile":"k"}])", 0},
      {"no text at all", "", 0},
      {"a million open brackets", std::string(1'000'000, '['), 0},
  };
  const Home home;
  EXPECT_TRUE(loadProfiles(home.at).empty());
  for (const Row& row : rows) {
    put(home.at.profilesFile, row.content);
    const auto profiles = loadProfiles(home.at);
    EXPECT_EQ(profiles.size(), row.count) << row.name;
    for (const auto& profile : profiles)
      EXPECT_EQ(profile, (ProviderProfile{workID, "n", "https://h/v1", "m", "k"}));
  }
}

TEST(LoadProfiles, sortsByNameAndKeepsTheOrderOfEqualNames) {
  const Home home;
  ProviderProfiles saved{profileNamed("b"), profileNamed("a10"), profileNamed("a2")};
  for (int copy = 0; copy < 40; ++copy) saved.push_back(profileNamed("same"));
  saveProfiles(saved, home.at);
  const auto names = loadedNames(home.at);
  EXPECT_EQ(std::vector<std::string>(names.begin(), names.begin() + 3),
            (std::vector<std::string>{"a2", "a10", "b"}));
  const auto loaded = loadProfiles(home.at);
  for (std::size_t index = 3; index < saved.size(); ++index) EXPECT_EQ(loaded[index].id(), saved[index].id());
}

TEST(ProviderProfile, isEqualAndHashedOverAllFields) {
  const ProviderProfile base{workID, "n", "u", "m", "k"};
  const ProviderProfile others[] = {{UUID::random(), "n", "u", "m", "k"}, {workID, "N", "u", "m", "k"},
                                    {workID, "n", "U", "m", "k"},         {workID, "n", "u", "M", "k"},
                                    {workID, "n", "u", "m", "K"},         {workID, "u", "n", "m", "k"}};
  const std::hash<ProviderProfile> hash;
  for (const auto& other : others) {
    EXPECT_NE(base, other);
    EXPECT_NE(hash(base), hash(other));
  }
  EXPECT_EQ(hash(base), hash(ProviderProfile(base)));
}

}  // namespace
}  // namespace ferrin::core
