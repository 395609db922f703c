// Nobody but this user's own programs gets through, and the key stays where it belongs.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include "tests/proxy/Peers.h"
#include "tests/proxy/RelayProcess.h"

namespace ferrin::proxy::tests {
namespace {

using std::chrono::milliseconds;
using GuardedAccess = RelayTest;

TEST_F(GuardedAccess, refusesWebPagesAndOtherHostsBeforeTheUpstreamHears) {
  Connection client(relay.port());
  client.send(relay.request("POST /v1/a", "Origin: https://evil.example\r\n") +
              "GET /healthz HTTP/1.1\r\nHost: evil.example\r\n\r\n" +
              relay.request("OPTIONS /v1/a", "Sec-Fetch-Site: cross-site\r\n"));
  for (const char* code : {"forbidden_origin", "forbidden_host", "forbidden_origin"}) {
    const std::string answer = client.readAnswer();
    EXPECT_TRUE(answer.starts_with("HTTP/1.1 403 Forbidden\r\n")) << answer;
    EXPECT_NE(answer.find(std::string("\"code\":\"") + code), std::string::npos);
    EXPECT_EQ(answer.find("Access-Control"), std::string::npos);
  }
  EXPECT_TRUE(upstream.silentFor(milliseconds(50)));
}

TEST_F(GuardedAccess, refusesOtherUsers) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can act as another user";
  const pid_t child = fork();
  if (child == 0) {
    if (setuid(65534) != 0) _exit(2);
    Connection client(relay.port());
    client.send(relay.request("GET /v1/models"));
    const std::string answer = client.readAnswer();
    _exit(answer.starts_with("HTTP/1.1 403 ") && answer.find("forbidden_user") != std::string::npos ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(upstream.silentFor(milliseconds(50)));
}

TEST(OwnUser, isKnownOverIPv6Too) {
  if (ferrin::tests::contentOf("/proc/net/if_inet6").find(std::string(31, '0') + "1 ") == std::string::npos)
    GTEST_SKIP() << "there is no [::1] here";
  RelayProcess::Settings settings;
  settings.host = "::1";
  const RelayProcess relay("http://127.0.0.1:9", settings);
  Connection client = Connection::overIPv6(relay.port());
  client.send("GET /healthz HTTP/1.1\r\nHost: [::1]:" + std::to_string(relay.port()) + "\r\n\r\n");
  EXPECT_TRUE(client.readAnswer().starts_with("HTTP/1.1 200 "));
}

TEST(OwnUser, isAskedForAgainWhenThereWasNoDescriptorToAskWith) {
  Upstream upstream;
  RelayProcess::Settings settings;
  settings.program = FERRIN_RELEASED_RELAY_PROGRAM;  // the sanitizers want descriptors of their own
  const RelayProcess relay(upstream.url(), settings);
  rlimit usual{};
  ASSERT_EQ(prlimit(relay.process(), RLIMIT_NOFILE, nullptr, &usual), 0);
  const std::filesystem::path open = "/proc/" + std::to_string(relay.process()) + "/fd";
  rlim_t lowestFree = 0;
  while (exists(open / std::to_string(lowestFree))) ++lowestFree;
  const rlimit narrow{lowestFree + 1, usual.rlim_max};
  ASSERT_EQ(prlimit(relay.process(), RLIMIT_NOFILE, &narrow, nullptr), 0);
  Connection client(relay.port());
  client.send(relay.request("GET /healthz"));
  EXPECT_TRUE(client.readAnswer().starts_with("HTTP/1.1 403 "));
  ASSERT_EQ(prlimit(relay.process(), RLIMIT_NOFILE, &usual, nullptr), 0);
  client.send(relay.request("GET /healthz"));
  EXPECT_TRUE(client.readAnswer().starts_with("HTTP/1.1 200 "));
}

TEST(Key, isReadAgainWhenItsFileChanges) {
  Upstream upstream;
  RelayProcess::Settings settings;
  settings.key = "";
  const RelayProcess relay(upstream.url(), settings);
  Connection client(relay.port());
  client.send(relay.request("GET /v1/a"));
  const std::string refusal = client.readAnswer();
  EXPECT_TRUE(refusal.starts_with("HTTP/1.1 503 ")) << refusal;
  EXPECT_NE(refusal.find("\"code\":\"api_key_unavailable\""), std::string::npos);
  EXPECT_TRUE(relay.logs("end=refused cause=\"" + relay.keyFile().string() +
                         ": No such file or directory; save the key again in Ferrin Relay\""));

  ferrin::tests::put(relay.keyFile(), "sk-first\n");
  client.send(relay.request("GET /v1/a"));
  Connection side = upstream.accept();
  EXPECT_NE(side.readHead().find("\r\nAuthorization: Bearer sk-first\r\n"), std::string::npos);
  ferrin::tests::put(relay.keyFile(), "sk-other\n");
  side.send(ok);
  client.readAnswer();
  client.send(relay.request("GET /v1/a"));
  EXPECT_NE(side.readHead().find("\r\nAuthorization: Bearer sk-other\r\n"), std::string::npos);
}

TEST(Key, isInNoLogAndNoArgumentAndCannotBeDumped) {
  Upstream upstream;
  RelayProcess relay(upstream.url());
  {
    Connection client(relay.port());
    client.send(relay.request("GET /v1/a?key=sk-test-key"));
    upstream.accept().readHead();
    client.readAnswer();
  }
  EXPECT_EQ(relay.log().find(RelayProcess::key), std::string::npos) << relay.log();
  const std::string process = "/proc/" + std::to_string(relay.process());
  EXPECT_EQ(ferrin::tests::contentOf(process + "/cmdline").find(RelayProcess::key), std::string::npos);
  std::ifstream limits(process + "/limits");
  std::string line;
  while (std::getline(limits, line) && !line.starts_with("Max core file size")) {}
  EXPECT_NE(line.find(" 0 "), std::string::npos) << line;
  relay.signal(SIGABRT);
  const int status = relay.wait();
  EXPECT_EQ(status, -SIGABRT);
}

}  // namespace
}  // namespace ferrin::proxy::tests
