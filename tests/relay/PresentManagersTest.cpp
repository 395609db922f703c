#include "relay/PresentManagers.h"

#include <gtest/gtest.h>

namespace ferrin::relay {
namespace {

/// Records its calls, behind its name.
struct RecordingManager : ServiceManager {
  RecordingManager(std::string nameToRecord, bool runs, std::string& record)
      : name(std::move(nameToRecord)), running(runs), calls(record) {}

  void define(const ServiceDefinition&) override { note("define"); }
  CommandResult bootout(std::string_view) override { return note("bootout"); }
  CommandResult bootstrap(std::string_view) override { return note("bootstrap"); }
  CommandResult kickstart(std::string_view) override { return note("kickstart"); }
  bool isRunning(std::string_view) override { return running; }
  CommandResult note(const std::string& call) {
    calls += name + " " + call + "|";
    return {0, name};
  }

  const std::string name;
  const bool running;
  std::string& calls;
};

TEST(PresentManagers, startWithTheFirstAndEndAndSeeTheRelayUnderAnyOfThem) {
  std::string calls;
  std::vector<std::unique_ptr<ServiceManager>> both;
  both.push_back(std::make_unique<RecordingManager>("preferred", false, calls));
  both.push_back(std::make_unique<RecordingManager>("earlier", true, calls));
  PresentManagers managers(std::move(both), "");
  managers.define({});
  EXPECT_EQ(managers.bootout("label").output, "preferred");
  managers.bootstrap("label");
  managers.kickstart("label");
  EXPECT_EQ(calls,
            "preferred define|preferred bootout|earlier bootout|preferred bootstrap|preferred kickstart|");
  EXPECT_TRUE(managers.isRunning("label"));
}

}  // namespace
}  // namespace ferrin::relay
