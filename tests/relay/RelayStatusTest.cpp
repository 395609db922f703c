#include "relay/RelayStatus.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "relay/LaunchdManager.h"
#include "tests/relay/StandIns.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

constexpr const char* relayLine = "openai_base_url = \"http://127.0.0.1:15721/v1\"\n";

TEST(NamesLocalRelay, recognisesExactlyTheRelaysAddressAtALinesStart) {
  const std::string line = R"(openai_base_url = "http://127.0.0.1:8787/v1")";
  struct Row {
    const char* name;
    std::string text;
    bool result;
  };
  const Row rows[] = {
      {"alone", line, true},
      {"second port", relayLine, true},
      {"no blanks around the equals sign", R"(openai_base_url="http://127.0.0.1:8787/v1")", true},
      {"between CRLF lines", "model = 1\r\n" + line + "\r\nx = 2\r\n", true},
      {"behind U+2028, before U+0085", "a\u2028" + line + "\u0085b", true},
      {"Unicode blanks at the end", line + " \u00A0\u3000\nb", true},
      {"value on the next line", "openai_base_url =\n\"http://127.0.0.1:8787/v1\"", true},
      {"below a section", "[x]\n" + line, true},
      {"other port", R"(openai_base_url = "http://127.0.0.1:8788/v1")", false},
      {"trailing slash", R"(openai_base_url = "http://127.0.0.1:8787/v1/")", false},
      {"indented", " " + line, false},
      {"commented out", "#" + line, false},
      {"a comment behind it", line + " # relay", false},
      {"other case", R"(OPENAI_base_url = "http://127.0.0.1:8787/v1")", false},
      {"single quotes", "openai_base_url = 'http://127.0.0.1:8787/v1'", false},
      {"a dot is a dot", R"(openai_base_url = "http://127x0.0.1:8787/v1")", false},
      {"longer key", "x" + line, false},
      {"empty", "", false},
  };
  for (const Row& row : rows) EXPECT_EQ(namesLocalRelay(row.text), row.result) << row.name;
}

TEST(DetectRunningState, takesTheFirstSourceThatKnows) {
  struct Row {
    const char* name;
    const char* marker;  // null: none
    const char* launchctlPrint;
    const char* configuration;
    bool result;
    std::size_t calls;
  };
  const char* bothRun = "echo 'state = running'";
  const char* neitherRuns = "exit 113";
  const char* localRuns = "case $2 in */com.local.*) echo 'state = running' ;; *) exit 113 ;; esac";
  const char* loaded = "echo 'state = waiting'";
  const Row rows[] = {
      {"marker says running", "running\n", neitherRuns, nullptr, true, 0},
      {"marker with blanks", " \trunning\r\n", neitherRuns, nullptr, true, 0},
      {"marker says stopped", "stopped\n", bothRun, relayLine, false, 0},
      {"marker in other case", "Running\n", bothRun, relayLine, false, 0},
      {"marker empty", "", bothRun, relayLine, false, 0},
      {"marker not UTF-8", "\xFF", bothRun, nullptr, true, 1},
      {"manager knows the first label", nullptr, bothRun, nullptr, true, 1},
      {"manager knows the second label", nullptr, localRuns, nullptr, true, 2},
      {"loaded, but only the configuration knows", nullptr, loaded, relayLine, true, 2},
      {"configuration names another", nullptr, neitherRuns, "openai_base_url = \"https://x\"\n", false, 2},
      {"configuration not UTF-8", nullptr, neitherRuns,
       "\xFF\nopenai_base_url = \"http://127.0.0.1:8787/v1\"", false, 2},
      {"nobody knows", nullptr, neitherRuns, nullptr, false, 2},
  };
  for (const Row& row : rows) {
    const tests::TemporaryFolder home;
    const core::Locations at(home.path());
    const tests::StandInLaunchctl launchctl(home.path());
    LaunchdManager services(home.path(), launchctl.path());
    if (row.marker != nullptr) tests::put(at.runningMarker, row.marker);
    if (row.configuration != nullptr) tests::put(at.configURL, row.configuration);
    launchctl.answer("print", row.launchctlPrint);
    EXPECT_EQ(detectRunningState(at, services), row.result) << row.name;
    std::vector<std::string> calls{
        "print|gui/" + std::to_string(getuid()) + "/com.ferrin.third-party-proxy",
        "print|gui/" + std::to_string(getuid()) + "/com.local.ferrin-third-party-proxy"};
    calls.resize(row.calls);
    EXPECT_EQ(launchctl.calls(), calls) << row.name;
  }
}

}  // namespace
}  // namespace ferrin::relay
