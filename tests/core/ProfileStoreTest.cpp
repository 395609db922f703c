#include "core/ProfileStore.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/TemporaryFolder.h"

namespace ferrin::core {
namespace {

using namespace std::string_literals;

const UUID workID = *UUID::parse("3F2A9C1E-7B44-4D0A-9E61-2C5B8A0F1D73");

TEST(LoadProfiles, takesWhatIsWellFormedAndNothingElse) {
  const std::string id = R"("id":"3f2a9c1e-7b44-4d0a-9e61-2c5b8a0f1d73")";
  const std::string rest = R"("name":"n","url":"https://h/v1","model":"m","keyFile":"k")";
  const std::string good = "{" + id + "," + rest + "}";
  const auto named = [&](const std::string& name) {
    return "[{" + id + ",\"name\":" + name + R"(,"url":"u","model":"m","keyFile":"k"}])";
  };
  const auto withID = [&](const std::string& text) { return "[{\"id\":\"" + text + "\"," + rest + "}]"; };
  const std::pair<std::string, std::size_t> rows[] = {
      {"\xEF\xBB\xBF [ {" + rest + ", \"more\": [1, {}], " + id + "} ]\n", 1},
      {"[" + good + "," + good + "]", 2},
      {"[" + good + ",{" + id + "}]", 0},
      {"[" + good + ",\"x\"]", 0},
      {"[" + good + ",]", 0},
      {named("null"), 0},
      {named("\"caf\xE9\""), 0},
      {named(R"("\ud83d")"), 0},
      {"[{\"id\":7," + rest + "}]", 0},
      {withID("3F2A9C1E-7B44-4D0A-9E61-2C5B8A0F1D7"), 0},
      {withID("3F2A9C1E07B44-4D0A-9E61-2C5B8A0F1D73"), 0},
      {withID("3F2A9C1--7B44-4D0A-9E61-2C5B8A0F1D73"), 0},
      {withID("3F2A9C1G-7B44-4D0A-9E61-2C5B8A0F1D73"), 0},
      {good, 0},
      {"", 0},
      {std::string(100'000, '['), 0},
  };
  const tests::TemporaryFolder home;
  const Locations at(home.path());
  EXPECT_TRUE(loadProfiles(at).empty());
  const ProviderProfile wanted{workID, "n", "https://h/v1", "m", "k"};
  for (const auto& [content, count] : rows) {
    tests::put(at.profilesFile, content);
    EXPECT_EQ(loadProfiles(at), ProviderProfiles(count, wanted)) << content.substr(0, 200);
  }
  EXPECT_EQ(workID.text(), "3F2A9C1E-7B44-4D0A-9E61-2C5B8A0F1D73");
}

TEST(LoadProfiles, sortsByNameKeepingEqualOnesInOrderAndEveryText) {
  const tests::TemporaryFolder home;
  const Locations at(home.path());
  ProviderProfiles saved;
  for (const std::string& name :
       {"1 tab\tand\nnul\0"s, "a2"s, "a10"s, "b \"\\/\" \\/ \u2028\x7F\x01"s, "默认 Ünïté 🚀"s}) {
    saved.insert(saved.begin(), {workID, name, "", "", ""});
  }
  for (int copy = 0; copy < 40; ++copy) saved.push_back({UUID::random(), "same", "", "", ""});
  saveProfiles(saved, at);
  std::reverse(saved.begin(), saved.begin() + 5);
  std::rotate(saved.begin() + 4, saved.begin() + 5, saved.end());
  EXPECT_EQ(loadProfiles(at), saved);
  EXPECT_NE(std::hash<ProviderProfile>()(saved[0]), std::hash<ProviderProfile>()(saved[1]));
}

}  // namespace
}  // namespace ferrin::core
