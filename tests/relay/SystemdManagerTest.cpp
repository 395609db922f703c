#include "relay/SystemdManager.h"

#include <gtest/gtest.h>

#include <optional>

#include "tests/relay/StandIns.h"
#include "tests/relay/UserSystemd.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

using tests::UserSystemd;

TEST(SystemdManager, confinesTheServiceAndStartsItAtLoginAfterAStopToo) {
  std::optional<UserSystemd> session(std::in_place);
  SystemdManager manager(UserSystemd::home(), UserSystemd::runtimeFolder());
  const tests::StandInRelay relay(UserSystemd::home() / "relay.py");
  tests::install(manager, tests::serviceOf(relay));
  const pid_t first = relay.running();
  ASSERT_NE(first, 0);
  const std::string status = tests::contentOf("/proc/" + std::to_string(first) + "/status");
  for (const char* line : {"\nNoNewPrivs:\t1\n", "\nSeccomp:\t2\n", "\nUmask:\t0077\n"}) {
    EXPECT_NE(status.find(line), std::string::npos) << line;
  }
  session.reset();
  EXPECT_FALSE(tests::isAlive(first));
  session.emplace();
  const pid_t second = relay.running(first);
  EXPECT_NE(second, 0);
  manager.bootout(core::serviceLabel);
  session.reset();
  session.emplace();
  EXPECT_NE(relay.running(second), 0);
}

}  // namespace
}  // namespace ferrin::relay
