// Drives the program as it is packaged, in a private home, with runit for a service manager.

#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <initializer_list>

#include "core/Locations.h"
#include "relay/Command.h"
#include "relay/RunitManager.h"
#include "tests/relay/StandIns.h"
#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::app {
namespace {

namespace fs = std::filesystem;
using tests::contentOf;
using tests::put;

constexpr const char* program = FERRIN_RELEASE_TREE "/bin/ferrin-relay";
constexpr const char* flag = "--apply-reference-config";
constexpr const char* url = "https://provider.example/v1";
constexpr const char* nothingSaved = "未找到已保存的第三方 URL 或 API Key";

/// A user whose home, by the user database, is a private folder; the environment names another.
class User {
 public:
  User() {
    put(folder / "passwd",
        "someone:x:" + std::to_string(getuid()) + ":0::" + at.home.string() + ":/bin/sh\n");
    put(folder / "group", "group:x:0:\n");
  }
  User(const User&) = delete;
  User& operator=(const User&) = delete;
  ~User() { relay::RunitManager(at.home).bootout(core::serviceLabel); }

  int start(const std::vector<std::string>& arguments) const {
    std::vector<std::string> all{"-c",
                                 "cd \"$0\" && exec \"$@\" >out 2>err",
                                 folder.path().string(),
                                 "/usr/bin/env",
                                 "-i",
                                 "LD_PRELOAD=libnss_wrapper.so",
                                 "NSS_WRAPPER_PASSWD=" + (folder / "passwd").string(),
                                 "NSS_WRAPPER_GROUP=" + (folder / "group").string(),
                                 "HOME=" + environmentHome,
                                 "PATH=/usr/bin:/bin",
                                 "XDG_RUNTIME_DIR=" + folder.path().string(),
                                 program};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return relay::run("/bin/sh", all).status;
  }
  std::string out() const { return contentOf(folder / "out"); }
  std::string err() const { return contentOf(folder / "err"); }

  tests::TemporaryFolder folder;
  core::Locations at{folder / "home"};
  std::string environmentHome = "/nowhere";
};

class CommandLineMode : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(fs::exists(program)) << program << ": build the release preset first"; }
};

TEST_F(CommandLineMode, migratesTheSavedValuesAndRunsTheRelay) {
  const User user;
  const tests::StandInRelay standIn(user.at.proxyURL);
  put(user.at.legacyUpstreamURLFile, std::string(" ") + url + "// and more\n");
  put(user.at.legacyUpstreamKeyFile, "\u3000sk-密钥\r\n");
  EXPECT_EQ(user.start({"--other", flag, "-x"}), 0);
  EXPECT_EQ(user.out(), "reference configuration applied\n");
  EXPECT_EQ(user.err(), "");
  EXPECT_EQ(contentOf(user.at.upstreamURLFile), std::string(url) + "\n");
  EXPECT_EQ(contentOf(user.at.upstreamKeyFile), "sk-密钥\n");
  EXPECT_EQ(tests::modeOf(user.at.upstreamURLFile), 0600U);
  EXPECT_EQ(tests::modeOf(user.at.upstreamKeyFile), 0600U);
  EXPECT_TRUE(exists(user.at.legacyUpstreamKeyFile));
  EXPECT_FALSE(exists(user.at.runningMarker));
  ASSERT_TRUE(tests::eventually([&] { return !standIn.starts().empty(); }));
  EXPECT_EQ(standIn.arguments(),
            (std::vector<std::string>{user.at.proxyURL, "--host", "127.0.0.1", "--port", "8787", "--upstream",
                                      url, "--api-key-file", user.at.upstreamKeyFile, "--timeout", "600"}));

  put(user.at.legacyUpstreamURLFile, "http://older");
  put(user.at.upstreamURLFile, "http://newer/\n");
  EXPECT_EQ(user.start({flag}), 0);
  EXPECT_EQ(contentOf(user.at.upstreamURLFile), "http://newer\n");
}

/// Ends before the service manager is asked: the real relay would take the port of somebody's own.
TEST_F(CommandLineMode, installsTheScriptThatComesWithTheProgram) {
  const User user;
  put(user.at.upstreamURLFile, url);
  put(user.at.upstreamKeyFile, "key");
  put(user.at.home / ".local", "a file");
  EXPECT_EQ(user.start({flag}), 1);
  EXPECT_NE(user.err().find("/.local/share/ferrin-relay/sv/com.ferrin.third-party-proxy: Not a directory\n"),
            std::string::npos)
      << user.err();
  EXPECT_EQ(contentOf(user.at.proxyURL), contentOf(FERRIN_RELEASE_TREE "/share/ferrin-relay/proxy.py"));
  EXPECT_EQ(tests::modeOf(user.at.proxyURL), 0700U);
}

TEST_F(CommandLineMode, tellsTheReasonOfEveryFailureInOneLine) {
  struct Row {
    const char* name;
    std::function<void(User&)> prepare;
    std::function<std::string(const User&)> reason;
    const char* savedURL;  // what the current file holds afterwards; null for a folder
  };
  const auto text = [](const char* reason) { return [reason](const User&) { return reason; }; };
  const auto save = [](const User& user, const char* savedURL, const char* key) {
    put(user.at.upstreamURLFile, savedURL);
    put(user.at.upstreamKeyFile, key);
  };
  const Row rows[] = {
      {"nothing saved", [](User&) {}, text(nothingSaved), "<none>"},
      {"an empty current URL hides the legacy one",
       [&](User& u) {
         save(u, "", "key");
         put(u.at.legacyUpstreamURLFile, url);
       },
       text(nothingSaved), ""},
      {"no key", [](User& u) { put(u.at.upstreamURLFile, " http://a/ "); }, text(nothingSaved),
       " http://a/ "},
      {"a blank key", [&](User& u) { save(u, " http://a/ ", " \u3000\n"); }, text(nothingSaved),
       " http://a/ "},
      {"the URL can't be written",
       [&](User& u) {
         put(u.at.legacyUpstreamURLFile, url);
         put(u.at.upstreamURLFile / "inside", "");
         put(u.at.upstreamKeyFile, "key");
       },
       [](const User& u) { return u.at.upstreamURLFile.string() + ": Is a directory"; }, nullptr},
      {"the key can't be written",
       [&](User& u) {
         put(u.at.upstreamURLFile, " http://a/ ");
         put(u.at.legacyUpstreamKeyFile, "key");
         put(u.at.upstreamKeyFile / "inside", "");
       },
       [](const User& u) { return u.at.upstreamKeyFile.string() + ": Is a directory"; }, "http://a\n"},
      {"the script can't be installed",
       [&](User& u) {
         save(u, "http://a/", "key");
         put(u.at.proxyURL.parent_path(), "a file");
       },
       [](const User& u) { return u.at.proxyURL.parent_path().string() + ": Not a directory"; },
       "http://a\n"},
      {"the relay can't be started",
       [&](User& u) {
         save(u, "http://a/", "key");
         tests::putProgram(u.at.proxyURL, "#!/no/such/sh\n");
       },
       [](const User& u) {
         return u.at.proxyURL.string() + ": its interpreter /no/such/sh: No such file or directory";
       },
       "http://a\n"},
      {"no home",
       [](User& u) {
         put(u.folder / "passwd", "other:x:4321:0::/:/bin/sh\n");
         u.environmentHome = "";
       },
       [](const User&) {
         return "user " + std::to_string(getuid()) + ": no home directory in the user database";
       },
       "<none>"},
  };
  for (const Row& row : rows) {
    User user;
    row.prepare(user);
    EXPECT_EQ(user.start({flag}), 1) << row.name;
    EXPECT_EQ(user.err(), "reference configuration failed: " + row.reason(user) + "\n") << row.name;
    EXPECT_EQ(user.out(), "") << row.name;
    if (row.savedURL == nullptr) continue;
    EXPECT_EQ(contentOf(user.at.upstreamURLFile), row.savedURL) << row.name;
  }
}

TEST_F(CommandLineMode, isOnlyEnteredByItsFlag) {
  const User user;
  put(user.at.legacyUpstreamURLFile, url);
  put(user.at.legacyUpstreamKeyFile, "key");
  for (const std::vector<std::string>& arguments : std::initializer_list<std::vector<std::string>>{
           {}, {"--apply-reference-config=yes"}, {"apply-reference-config"}}) {
    EXPECT_EQ(user.start(arguments), 1);
    // What it would show needs a window, which this build or this environment lacks.
    const std::string said = user.err();
    EXPECT_TRUE(
        said == "ferrin-relay: no display can be used (neither WAYLAND_DISPLAY nor DISPLAY is set)\n" ||
        said == "ferrin-relay: this build has no window; it can be run with --apply-reference-config\n")
        << said;
    EXPECT_EQ(user.out(), "");
  }
  EXPECT_FALSE(exists(user.at.upstreamURLFile));
}

}  // namespace
}  // namespace ferrin::app
