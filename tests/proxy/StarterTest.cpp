#include "proxy/Starter.h"

#include <gtest/gtest.h>

namespace ferrin::proxy {
namespace {

TEST(Starter, isNotTakenFromWhatADescendantInherits) {
  struct Row {
    Origin origin;
    const char* starter;
  };
  const Row rows[] = {
      {{"12", "12", "", false, "systemd"}, "systemd"},
      {{"12", "11", "", false, "bash"}, "hand"},  // in a terminal that systemd started
      {{"12", "", "com.ferrin.third-party-proxy", true, ""}, "launchd"},
      {{"12", "", "application.com.apple.Terminal", false, ""}, "hand"},
      {{"12", "11", "", false, "runsv"}, "runit"},
      {{"12", "", "", true, "init"}, "hand"},
  };
  for (const Row& row : rows) EXPECT_EQ(starter(row.origin), row.starter) << row.origin.parentName;
}

}  // namespace
}  // namespace ferrin::proxy
