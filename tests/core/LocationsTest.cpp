#include "core/Locations.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

namespace ferrin::core {
namespace {

TEST(Locations, lieBelowTheHomeDirectory) {
  const Locations at("/home/someone");
  EXPECT_EQ(at.ferrinHome, "/home/someone/.ferrin");
  EXPECT_EQ(at.configURL, "/home/someone/.ferrin/config.toml");
  EXPECT_EQ(at.proxyURL, "/home/someone/.ferrin/bin/ferrin-third-party-proxy.py");
  EXPECT_EQ(at.logURL, "/home/someone/.ferrin/logs/third-party-proxy.log");
  EXPECT_EQ(at.upstreamURLFile, "/home/someone/.ferrin/secrets/openai-proxy-upstream.url");
  EXPECT_EQ(at.upstreamKeyFile, "/home/someone/.ferrin/secrets/openai-proxy-upstream.token");
  EXPECT_EQ(at.legacyUpstreamURLFile, "/home/someone/.ferrin/secrets/third-party-upstream.url");
  EXPECT_EQ(at.legacyUpstreamKeyFile, "/home/someone/.ferrin/secrets/third-party-upstream.token");
  EXPECT_EQ(at.profilesFile, "/home/someone/.ferrin/secrets/provider-profiles.json");
  EXPECT_EQ(at.runningMarker, "/home/someone/.ferrin/secrets/provider-launcher.running");
}

TEST(HomeDirectory, comesFromTheUserDatabaseAndNotTheEnvironment) {
  ASSERT_EQ(setenv("HOME", "/somewhere/else", 1), 0);
  EXPECT_EQ(homeDirectoryForCurrentUser(), getpwuid(getuid())->pw_dir);
}

}  // namespace
}  // namespace ferrin::core
