#include "relay/RelayStatus.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "relay/AbsentManager.h"
#include "relay/LaunchdManager.h"
#include "relay/LauncherState.h"
#include "tests/relay/StandIns.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

TEST(NamesLocalRelay, recognisesExactlyTheRelaysAddressAtALinesStart) {
  const std::string line = R"(openai_base_url = "http://127.0.0.1:8787/v1")";
  for (const std::string& text : {tests::replaced(line, " = ", "="), tests::replaced(line, "8787", "15721"),
                                  "model = 1\r\n" + line + "\r\nx = 2\r\n", "a\u2028" + line + "\u0085b",
                                  line + " \u00A0\u3000\nb", "[x]\n" + tests::replaced(line, "= ", "=\n")}) {
    EXPECT_TRUE(namesLocalRelay(text)) << text;
  }
  for (const std::string& text :
       {std::string(), " " + line, "x" + line, line + " # relay", tests::replaced(line, "8787", "8788"),
        tests::replaced(line, "/v1", "/v1/"), tests::replaced(line, "127.0", "127x0")}) {
    EXPECT_FALSE(namesLocalRelay(text)) << text;
  }
}

TEST(DetectRunningState, takesTheFirstSourceThatKnows) {
  struct Row {
    const char* name;
    std::string marker, print, configuration;  // "<none>" for no file
    bool result;
    std::ptrdiff_t calls;
  };
  const std::string none = "<none>";
  const std::string bothRun = "echo 'state = running'";
  const std::string localRuns = "case $2 in */com.local.*) echo 'state = running' ;; *) exit 113 ;; esac";
  const std::string relayLine = "openai_base_url = \"http://127.0.0.1:15721/v1\"\n";
  const Row rows[] = {
      {"marker with blanks", " \trunning\r\n", "exit 113", none, true, 0},
      {"marker empty", "", bothRun, relayLine, false, 0},
      {"marker not UTF-8", "\xFF", bothRun, none, true, 1},
      {"manager knows the second label", none, localRuns, none, true, 2},
      {"loaded, but only the configuration knows", none, "echo 'state = waiting'", relayLine, true, 2},
      {"manager fails", none, bothRun + "; exit 113", none, false, 2},
      {"configuration not UTF-8", none, "exit 113", "\xFF\n" + relayLine, false, 2},
  };
  for (const Row& row : rows) {
    const tests::TemporaryFolder home;
    const core::Locations at(home.path());
    const tests::StandInLaunchctl launchctl(home.path());
    LaunchdManager services(home.path(), launchctl.path());
    if (row.marker != none) tests::put(at.runningMarker, row.marker);
    if (row.configuration != none) tests::put(at.configURL, row.configuration);
    launchctl.answer("print", row.print);
    EXPECT_EQ(detectRunningState(at, services), row.result) << row.name;
    EXPECT_EQ(std::ranges::count(launchctl.calls(), '\n'), row.calls) << row.name;
  }
}

TEST(LauncherState, recordsOutcomesFollowsTheMarkerAndTellsOfEachChangeOnce) {
  const tests::TemporaryFolder home;
  const core::Locations at(home.path());
  AbsentManager services("none");
  tests::put(at.runningMarker, "running\n");
  LauncherState state(at, services);
  std::string told;
  auto subscription = state.subscribe([&](bool running) {
    EXPECT_EQ(state.isRunning(), running);
    told += running ? "running " : "stopped ";
  });
  state.setRunning(false);
  state.setRunning(false);
  EXPECT_EQ(tests::contentOf(at.runningMarker), "stopped\n");
  tests::put(at.runningMarker, "running\n");
  state.refresh();
  std::filesystem::remove_all(at.secretDirectory);
  tests::put(at.secretDirectory, "a file where the marker's folder was");
  state.setRunning(false);
  EXPECT_EQ(told, "stopped running stopped ");
}

}  // namespace
}  // namespace ferrin::relay
