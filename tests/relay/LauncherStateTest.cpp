#include "relay/LauncherState.h"

#include <gtest/gtest.h>

#include <vector>

#include "relay/AbsentManager.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

class LauncherStateTest : public testing::Test {
 protected:
  const tests::TemporaryFolder home;
  const core::Locations at{home.path()};
  AbsentManager services{"none"};
};

TEST_F(LauncherStateTest, startsAsDetectedAndFollowsTheMarkerOnRefresh) {
  tests::put(at.runningMarker, "running\n");
  LauncherState state(at, services);
  EXPECT_TRUE(state.isRunning());
  tests::put(at.runningMarker, "stopped\n");
  EXPECT_TRUE(state.isRunning());
  state.refresh();
  EXPECT_FALSE(state.isRunning());
}

TEST_F(LauncherStateTest, recordsTheOutcomeForItsOwner) {
  LauncherState state(at, services);
  for (const bool running : {true, false}) {
    state.setRunning(running);
    EXPECT_EQ(state.isRunning(), running);
    EXPECT_EQ(tests::contentOf(at.runningMarker), running ? "running\n" : "stopped\n");
    EXPECT_EQ(tests::modeOf(at.runningMarker), 0600U);
    EXPECT_EQ(LauncherState(at, services).isRunning(), running);
  }
}

TEST_F(LauncherStateTest, keepsTheNewStateWhenTheMarkerCannotBeWritten) {
  tests::put(at.secretDirectory, "a file in its place");
  LauncherState state(at, services);
  state.setRunning(true);
  EXPECT_TRUE(state.isRunning());
}

TEST_F(LauncherStateTest, tellsObserversOfEachChangeOnceAndAfterIt) {
  LauncherState state(at, services);
  std::vector<bool> told;
  auto subscription = state.subscribe([&](bool running) {
    EXPECT_EQ(state.isRunning(), running);
    told.push_back(running);
  });
  state.setRunning(true);
  state.setRunning(true);
  tests::put(at.runningMarker, "stopped\n");
  state.refresh();
  subscription = {};
  state.setRunning(true);
  EXPECT_EQ(told, (std::vector<bool>{true, false}));
}

}  // namespace
}  // namespace ferrin::relay
