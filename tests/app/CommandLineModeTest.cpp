// Drives the program as it is packaged, in a private home, with runit for a service manager.

#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>

#include "relay/RunitManager.h"
#include "tests/relay/StandIns.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::app {
namespace {

using tests::contentOf;
using tests::put;

constexpr const char* flag = "--apply-reference-config";
constexpr const char* url = "https://provider.example/v1";

/// A user whose home, by the user database, is a private folder; the environment names another.
class User {
 public:
  User() {
    put(folder / "passwd", "me:x:" + std::to_string(getuid()) + ":0::" + at.home.string() + ":/bin/sh\n");
    put(folder / "group", "group:x:0:\n");
  }
  User(const User&) = delete;
  ~User() { relay::RunitManager(at.home).bootout(core::serviceLabel); }

  int start(const std::vector<std::string>& arguments) const {
    const std::string place = folder.path().string();
    std::vector<std::string> all{"-i",
                                 "LD_PRELOAD=libnss_wrapper.so",
                                 "NSS_WRAPPER_PASSWD=" + place + "/passwd",
                                 "NSS_WRAPPER_GROUP=" + place + "/group",
                                 "HOME=" + environmentHome,
                                 "PATH=/usr/bin:/bin",
                                 "XDG_RUNTIME_DIR=" + place,
                                 "/bin/sh",
                                 "-c",
                                 "cd \"$0\" && exec \"$@\" >out 2>err",
                                 place,
                                 FERRIN_RELEASE_TREE "/bin/ferrin-relay"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return relay::run("/usr/bin/env", all).status;
  }
  /// With "~" for the home.
  std::string err() const { return tests::replaced(contentOf(folder / "err"), at.home.string(), "~"); }

  tests::TemporaryFolder folder;
  core::Locations at{folder / "home"};
  std::string environmentHome = "/nowhere";
};

TEST(CommandLineMode, migratesTheSavedValuesAndRunsTheRelay) {
  const User user;
  const tests::StandInRelay standIn(user.at.proxyURL);
  const auto secrets = user.at.home / ".ferrin/secrets";
  put(secrets / "third-party-upstream.url", std::string(" ") + url + "// and more\n");
  put(secrets / "third-party-upstream.token", "\u3000sk-密钥\r\n");
  EXPECT_EQ(user.start({"--other", flag, "-x"}), 0) << user.err();
  EXPECT_EQ(contentOf(user.folder / "out"), "reference configuration applied\n");
  EXPECT_EQ(user.err(), "");
  EXPECT_EQ(
      tests::filesBelow(secrets),
      (tests::FileTree{{"third-party-upstream.url", "0644 " + (std::string(" ") + url + "// and more\n")},
                       {"third-party-upstream.token", "0644 \u3000sk-密钥\r\n"},
                       {"openai-proxy-upstream.url", std::string("0600 ") + url + "\n"},
                       {"openai-proxy-upstream.token", "0600 sk-密钥\n"}}));
  ASSERT_NE(standIn.running(), 0);
  EXPECT_EQ(standIn.arguments(),
            (std::vector<std::string>{user.at.proxyURL, "--host", "127.0.0.1", "--port", "8787", "--upstream",
                                      url, "--api-key-file", user.at.upstreamKeyFile, "--timeout", "600"}));

  put(user.at.upstreamURLFile, "http://newer/\n");
  EXPECT_EQ(user.start({flag}), 0);
  EXPECT_EQ(contentOf(user.at.upstreamURLFile), "http://newer\n");
}

TEST(CommandLineMode, tellsTheReasonOfEveryFailureInOneLine) {
  struct Row {
    const char* name;
    std::string savedURL, savedKey;
    std::function<void(User&)> obstacle;
    std::string reason, urlAfterwards;
  };
  const auto none = [](User&) {};
  const std::string nothingSaved = "未找到已保存的第三方 URL 或 API Key";
  const Row rows[] = {
      {"an empty current URL hides the legacy one", "", "key",
       [](User& user) { put(user.at.legacyUpstreamURLFile, url); }, nothingSaved, ""},
      {"a blank key", " http://a/ ", " \u3000\n", none, nothingSaved, " http://a/ "},
      {"the key can't be written", " http://a/ ", "",
       [](User& user) {
         put(user.at.legacyUpstreamKeyFile, "key");
         std::filesystem::remove(user.at.upstreamKeyFile);
         put(user.at.upstreamKeyFile / "inside", "");
       },
       "~/.ferrin/secrets/openai-proxy-upstream.token: Is a directory", "http://a\n"},
      {"no home", "http://a/", "key",
       [](User& user) {
         put(user.folder / "passwd", "other:x:4321:0::/:/bin/sh\n");
         user.environmentHome = "";
       },
       "user " + std::to_string(getuid()) + ": no home directory in the user database", "http://a/"},
  };
  for (const Row& row : rows) {
    User user;
    put(user.at.upstreamURLFile, row.savedURL);
    put(user.at.upstreamKeyFile, row.savedKey);
    row.obstacle(user);
    EXPECT_EQ(user.start({flag}), 1) << row.name;
    EXPECT_EQ(user.err(), "reference configuration failed: " + row.reason + "\n") << row.name;
    EXPECT_EQ(contentOf(user.folder / "out"), "") << row.name;
    EXPECT_EQ(contentOf(user.at.upstreamURLFile), row.urlAfterwards) << row.name;
  }
}

/// Ends before the service manager is asked: the real relay would take the port of somebody's own.
TEST(CommandLineMode, installsTheScriptThatComesWithTheProgramAndIsOnlyEnteredByItsFlag) {
  const User user;
  put(user.at.upstreamURLFile, url);
  put(user.at.upstreamKeyFile, "key");
  put(user.at.home / ".local", "a file");
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{}, {"--apply-reference-config=yes"}, {"apply-reference-config"}}) {
    EXPECT_EQ(user.start(arguments), 1);
    // What it would show needs a window, which this build or this environment lacks.
    const std::string line = user.err().substr(0, user.err().find(" ("));
    EXPECT_TRUE(line == "ferrin-relay: no display can be used" ||
                line ==
                    "ferrin-relay: this build has no window; it can be run "
                    "with --apply-reference-config\n")
        << line;
  }
  EXPECT_FALSE(exists(user.at.proxyURL));
  EXPECT_EQ(user.start({flag}), 1);
  EXPECT_TRUE(user.err().ends_with("/sv/com.ferrin.third-party-proxy: Not a directory\n")) << user.err();
  EXPECT_EQ(contentOf(user.at.proxyURL), contentOf(FERRIN_RELEASE_TREE "/share/ferrin-relay/proxy.py"));
  EXPECT_EQ(tests::modeOf(user.at.proxyURL), 0700U);
}

}  // namespace
}  // namespace ferrin::app
