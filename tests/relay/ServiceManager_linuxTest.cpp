#include "relay/ServiceManager_linux.h"

#include <gtest/gtest.h>

#include "relay/RunitManager.h"
#include "relay/SystemdManager.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

template <typename Manager>
bool is(const std::unique_ptr<ServiceManager>& manager) {
  return dynamic_cast<const Manager*>(manager.get()) != nullptr;
}

TEST(ChooseLinuxManager, prefersAListeningSystemdThenAnInstalledRunit) {
  const tests::TemporaryFolder machine;
  const auto chosen = [&] {
    return chooseLinuxManager(machine / "home", machine / "run", {machine / "none", machine / "bin"});
  };
  tests::put(machine / "run/systemd/private", "");
  EXPECT_TRUE(is<SystemdManager>(chosen()));
  tests::put(machine / "bin/runsv", "");
  EXPECT_TRUE(is<SystemdManager>(chosen()));
  std::filesystem::remove(machine / "run/systemd/private");
  EXPECT_TRUE(is<RunitManager>(chosen()));
}

TEST(ChooseLinuxManager, saysWhatIsMissingAndWhatToInstallWhereThereIsNeither) {
  const auto manager = chooseLinuxManager("/home/me", "/nowhere", {"/none"});
  manager->define({"label", {"/relay"}, "/log"});
  const CommandResult failed = manager->bootstrap("label");
  EXPECT_NE(failed.status, 0);
  EXPECT_EQ(
      failed.output,
      "no service manager can run the relay: systemd's user manager does not listen at "
      "/nowhere/systemd/private, and runit is not installed. Install runit (on Debian: apt install runit).");
  EXPECT_FALSE(manager->isRunning("label"));
}

}  // namespace
}  // namespace ferrin::relay
