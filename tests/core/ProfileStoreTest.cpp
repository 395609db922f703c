#include "core/ProfileStore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "core/NameOrder.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::core {
namespace {

using namespace std::string_literals;

/// The cases lie in profiles.txt.
TEST(LoadProfiles, takesWhatIsWellFormedAndNothingElse) {
  const tests::TemporaryFolder home;
  const Locations at(home.path());
  const ProviderProfile wanted{*UUID::parse("3F2A9C1E-7B44-4D0A-9E61-2C5B8A0F1D73"), "n", "https://h/v1", "m",
                               "k"};
  EXPECT_TRUE(loadProfiles(at).empty()) << "there is no file yet";
  const std::string whole =
      R"([{"id":"3F2A9C1E-7B44-4D0A-9E61-2C5B8A0F1D73","name":"n","url":"https://h/v1","model":"m","keyFile":"k"}])";
  std::istringstream cases(tests::contentOf(PROFILES) + "1 " + whole + "\n0 " + whole +
                           "\0x\n0 caf\xE9\n0 "s + std::string(100'000, '['));
  std::string content;
  int seen = 0;
  for (std::size_t count = 0; cases >> count && std::getline(cases, content); ++seen) {
    tests::put(at.profilesFile, content);
    EXPECT_EQ(loadProfiles(at), ProviderProfiles(count, wanted)) << content.substr(0, 200);
  }
  EXPECT_GT(seen, 12);
}

TEST(LoadProfiles, sortsByNameAsAFileBrowserDoesInTheUsersLanguageAndKeepsEveryText) {
  setenv("LC_ALL", "", 1);
  setenv("LC_COLLATE", "sv_SE.UTF-8@x", 1);
  setenv("LANG", "en_GB", 1);
  const tests::TemporaryFolder home;
  const Locations at(home.path());
  ProviderProfiles sorted;
  for (const std::string& name :
       {"1 tab\tand\nnul\0"s, "a2"s, "a010"s, "álpha"s, "alpha 2"s, "Alpha 3"s, "beta"s,
        "Beta \"\\/\" \u2028\x7F\x01"s, "same"s, "same"s, "Zeta"s, "Örebro"s, "默认 🚀"s}) {
    sorted.push_back({UUID::random(), name, "https://h/v1", "", ""});
  }
  ProviderProfiles saved(sorted.rbegin(), sorted.rend());
  std::swap(saved[3], saved[4]);  // those of the same name keep their order
  saveProfiles(saved, at);
  EXPECT_EQ(loadProfiles(at), sorted);
  setenv("LC_ALL", "C", 1);
  EXPECT_TRUE(NameOrder()("Örebro", "Zeta")) << "in the order for every language, not in that of bytes";
}

TEST(LoadProfiles, givesAMemberThatCameLaterItsInitialTextInAnOlderFile) {
  std::vector<ProfileMember> later(std::begin(profileMembers), std::end(profileMembers));
  auto& model =
      *std::find_if(later.begin(), later.end(), [](const auto& each) { return each.key == "model"; });
  model.presence = Presence::optional;
  model.initial = "initial";
  const tests::TemporaryFolder home;
  const Locations at(home.path());
  const auto modelIn = [&](const std::string& members) {
    tests::put(at.profilesFile, "[{" + members +
                                    R"("id":"3F2A9C1E-7B44-4D0A-9E61-2C5B8A0F1D73",)"
                                    R"("name":"n","url":"u","keyFile":"k"}])");
    const ProviderProfiles profiles = loadProfiles(at, later);
    return profiles.empty() ? "refused" : profiles[0].model;
  };
  EXPECT_EQ(modelIn(""), "initial");
  EXPECT_EQ(modelIn(R"("model":"",)"), "");
  EXPECT_EQ(modelIn(R"("model":7,)"), "refused");
}

}  // namespace
}  // namespace ferrin::core
