#include "core/ProfileStore.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/TemporaryFolder.h"

namespace ferrin::core {
namespace {

using namespace std::string_literals;

const UUID workID = *UUID::parse("3F2A9C1E-7B44-4D0A-9E61-2C5B8A0F1D73");

struct Home {
  const tests::TemporaryFolder folder;
  const Locations at{folder.path()};
};

TEST(SaveProfiles, writesOneCompactLineForItsOwnerAlone) {
  const Home home;
  for (const auto& [profiles, content] : {
           std::pair(ProviderProfiles{{workID, "Work", "https://h/v1", "m", "k.token"}},
                     R"([{"id":"3F2A9C1E-7B44-4D0A-9E61-2C5B8A0F1D73","name":"Work",)"
                     R"("url":"https:\/\/h\/v1","model":"m","keyFile":"k.token"}])"),
           std::pair(ProviderProfiles{}, "[]"),
       }) {
    saveProfiles(profiles, home.at);
    EXPECT_EQ(tests::filesBelow(home.at.secretDirectory),
              (tests::FileTree{{"provider-profiles.json", std::string("0600 ") + content}}));
  }
}

TEST(LoadProfiles, takesWhatIsWellFormedAndNothingElse) {
  const std::string id = R"("id":"3f2a9c1e-7b44-4d0a-9e61-2c5b8a0f1d73")";
  const std::string rest = R"("name":"n","url":"https://h/v1","model":"m","keyFile":"k")";
  const std::string good = "{" + id + "," + rest + "}";
  const auto named = [&](const std::string& name) {
    return "[{" + id + ",\"name\":" + name + R"(,"url":"u","model":"m","keyFile":"k"}])";
  };
  struct Row {
    const char* name;
    std::string content;
    std::size_t count;
  };
  const Row rows[] = {
      {"any order, unknown members, white space", " [ {" + rest + ", \"more\": [1, {}], " + id + "} ]\n", 1},
      {"byte-order mark", "\xEF\xBB\xBF[" + good + "]", 1},
      {"two", "[" + good + "," + good + "]", 2},
      {"one without the rest rejects all", "[" + good + ",{" + id + "}]", 0},
      {"a member is null", named("null"), 0},
      {"no UUID", "[{\"id\":\"work\"," + rest + "}]", 0},
      {"an id of digits", "[{\"id\":7," + rest + "}]", 0},
      {"a text among the objects", "[" + good + ",\"x\"]", 0},
      {"an object", good, 0},
      {"a trailing comma", "[" + good + ",]", 0},
      {"not UTF-8", named("\"caf\xE9\""), 0},
      {"half a surrogate pair", named(R"("\ud83d")"), 0},
      {"no text at all", "", 0},
      {"a million open brackets", std::string(1'000'000, '['), 0},
  };
  const Home home;
  EXPECT_TRUE(loadProfiles(home.at).empty());
  const ProviderProfile wanted{workID, "n", "https://h/v1", "m", "k"};
  for (const Row& row : rows) {
    tests::put(home.at.profilesFile, row.content);
    EXPECT_EQ(loadProfiles(home.at), ProviderProfiles(row.count, wanted)) << row.name;
  }
}

TEST(LoadProfiles, sortsByNameKeepingEqualOnesInOrderAndEveryText) {
  const Home home;
  ProviderProfiles saved;
  for (const std::string& name :
       {"1 tab\tand\nnul\0"s, "a2"s, "a10"s, "b \"\\/\" \\/ \u2028\x7F\x01"s, "默认 Ünïté 🚀"s}) {
    saved.insert(saved.begin(), {workID, name, "", "", ""});
  }
  for (int copy = 0; copy < 40; ++copy) saved.push_back({UUID::random(), "same", "", "", ""});
  saveProfiles(saved, home.at);
  std::reverse(saved.begin(), saved.begin() + 5);
  std::rotate(saved.begin() + 4, saved.begin() + 5, saved.end());
  EXPECT_EQ(loadProfiles(home.at), saved);
}

TEST(ProviderProfile, isHashedOverAllFields) {
  const std::hash<ProviderProfile> hash;
  const ProviderProfile base{workID, "n", "u", "m", "k"};
  const ProviderProfiles others{{UUID::random(), "n", "u", "m", "k"}, {workID, "N", "u", "m", "k"},
                                {workID, "n", "U", "m", "k"},         {workID, "n", "u", "M", "k"},
                                {workID, "n", "u", "m", "K"},         {workID, "u", "n", "m", "k"}};
  for (const auto& other : others) EXPECT_NE(hash(base), hash(other));
  EXPECT_EQ(hash(base), hash(ProviderProfile(base)));
}

}  // namespace
}  // namespace ferrin::core
