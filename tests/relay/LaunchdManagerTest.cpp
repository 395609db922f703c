// The relay as a service on macOS, as far as a stand-in for launchctl shows it.

#include "relay/LaunchdManager.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "relay/RelayService.h"
#include "relay/RelayStatus.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Thrown.h"

namespace ferrin::relay {
namespace {

using std::string_literals::operator""s;
namespace fs = std::filesystem;
using tests::put;

/// A user's home, and a launchctl that succeeds without a word unless a file beside it, named as its
/// subcommand, holds a piece of sh that tells otherwise.
struct LaunchdManagerTest : testing::Test {
  tests::TemporaryFolder folder;
  core::Locations at{folder / "home"};
  LaunchdManager services{at.home, folder / "launchctl"};

  LaunchdManagerTest() {
    tests::putProgram(folder / "launchctl",
                      "#!/bin/sh\ncd \"${0%/*}\" && (IFS='|'; echo \"$*\" >>calls)\n"
                      "[ ! -f \"$1\" ] || . \"./$1\"\n");
  }
};

TEST_F(LaunchdManagerTest, installsStepByStepEndsWhereOneFailsAndKeepsAnInstalledScript) {
  const fs::path resource = folder / "application/proxy.py";
  const auto install = [&] {
    fs::remove(folder / "calls");
    const std::string thrown = tests::thrownBy([&] { installAndStartService(at, services, resource); });
    return thrown + "\n" + tests::contentOf(folder / "calls");
  };
  const std::string definition = "Library/LaunchAgents/com.ferrin.third-party-proxy.plist";
  const std::string user = "gui/" + std::to_string(getuid()),
                    service = user + "/com.ferrin.third-party-proxy\n";
  const std::string steps =
      "bootout|" + service + "bootstrap|" + user + "|" + (at.home / definition).string() + "\n";
  EXPECT_EQ(install(), "ProviderLauncher 2: 找不到内置代理\n<none>");
  put(resource, "#!/bin/sh\n");
  put(at.upstreamURLFile, " /\n");
  EXPECT_EQ(install(), "ProviderLauncher 3: 第三方 URL 为空或格式无效\n<none>");
  put(at.upstreamURLFile, " https://provider.example/v1/ \n");
  put(folder / "bootout", "echo not loaded; exit 3");
  put(folder / "bootstrap", "echo 'Bootstrap failed: 5'; exit 5");
  EXPECT_EQ(install(), "ProviderLauncher 5: Bootstrap failed: 5\n\n" + steps);
  fs::remove(folder / "bootstrap");
  fs::remove(resource);
  put(at.proxyURL, "older");
  EXPECT_EQ(install(), "nothing\n" + steps + "kickstart|-k|" + service);
  const auto commandLine = relayCommandLine(at, "https://provider.example/v1");
  EXPECT_EQ(tests::contentOf(at.home / definition),
            propertyList({std::string(core::serviceLabel), commandLine, at.logURL}));
  EXPECT_EQ(tests::modeOf(at.home / definition), 0600U);
  EXPECT_EQ(tests::filesBelow(at.ferrinHome / "bin"),
            (tests::FileTree{{"ferrin-third-party-proxy.py", "0700 older"}}));
}

TEST_F(LaunchdManagerTest, describesTheServiceToAnIndependentReader) {
  put(folder / "plist", propertyList({"com.example", {"/密 <&> \"me\"", "", "c=']]>"}, "/it's <&>.log"}));
  const char* reader =
      "import plistlib, sys; print(plistlib.load(open(sys.argv[1], 'rb'), fmt=plistlib.FMT_XML))";
  EXPECT_EQ(
      run("/usr/bin/env", {"PYTHONUTF8=1", "python3", "-c", reader, folder / "plist"}).output,
      "{'Label': 'com.example', 'ProgramArguments': ['/密 <&> \"me\"', '', \"c=']]>\"], 'RunAtLoad': True, "
      "'KeepAlive': True, 'StandardOutPath': \"/it's <&>.log\", 'StandardErrorPath': \"/it's <&>.log\"}\n");
  for (const std::string& bad : {"a\0b"s, "\x1b["s, "a\rb"s, "\uFFFE"s, "\xFF"s}) {
    EXPECT_THROW(propertyList({"label", {bad}, "/log"}), std::invalid_argument);
  }
}

TEST_F(LaunchdManagerTest, tellsARunningRelayByTheFirstSourceThatKnows) {
  const std::string line = R"(openai_base_url = "http://127.0.0.1:8787/v1")";
  put(folder / "print",
      "case $2 in */com.local.*) echo 'state = waiting' ;; *) echo 'state = running'; exit 113 ;; esac");
  EXPECT_FALSE(detectRunningState(at, services));
  for (const auto& [text, running] : {
           std::pair(" " + line, false),
           {"x" + line, false},
           {line + " # relay", false},
           {tests::replaced(line, "8787", "8788"), false},
           {"\xFF\n" + line, false},
           {"[x]\r\n" + line + "\r\nx = 2", true},
           {"openai_base_url=\n\"http://127.0.0.1:15721/v1\" \u3000", true},
       }) {
    put(at.configURL, text);
    EXPECT_EQ(detectRunningState(at, services), running) << text;
  }
  fs::remove(at.configURL);
  put(folder / "print", "case $2 in */com.local.*) echo 'state = running' ;; *) exit 113 ;; esac");
  EXPECT_TRUE(detectRunningState(at, services));
  for (const auto& [marker, running] : {std::pair("", false), {" \trunning\r\n", true}}) {
    put(at.runningMarker, marker);
    EXPECT_EQ(detectRunningState(at, services), running) << marker;
  }
}

}  // namespace
}  // namespace ferrin::relay
