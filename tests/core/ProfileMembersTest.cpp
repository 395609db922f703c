#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "core/ProfileStore.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::core {
namespace {

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
