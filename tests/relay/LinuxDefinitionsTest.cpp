// What Linux's service managers can't be told, and what is said where there is none.

#include <gtest/gtest.h>

#include <stdexcept>

#include "relay/RunitManager.h"
#include "relay/ServiceManager_linux.h"
#include "relay/SystemdManager.h"

namespace ferrin::relay {
namespace {

using std::string_literals::operator""s;

TEST(LinuxDefinitions, refuseWhatTheyCannotHold) {
  EXPECT_THROW(runScript({"label", {"a\0b"s}, "/log"}), std::invalid_argument);
  for (const ServiceDefinition& bad : {ServiceDefinition{"label", {"a\0b"s}, "/log"},
                                       {"label", {"/relay"}, "/home/a\nExecStartPre=/bin/x"},
                                       {"label", {"/home/o'hara/relay"}, "/log"}}) {
    EXPECT_THROW(systemdUnit(bad), std::invalid_argument);
  }
  const CommandResult none = chooseLinuxManager("/home/me", "/none", {"/none"})->bootstrap("label");
  EXPECT_TRUE(
      none.output.ends_with("not listen at /none/systemd/private, and runit is not installed. Install runit "
                            "(on Debian: apt install runit)."));
}

}  // namespace
}  // namespace ferrin::relay
