#include "relay/LaunchdManager.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "relay/RelayService.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

using std::string_literals::operator""s;

TEST(PropertyList, holdsExactlyTheSixKeysForAnIndependentReader) {
  const tests::TemporaryFolder folder;
  const core::Locations at("/Users/密 <&> \"me\"");
  const ServiceDefinition definition{"com.ferrin.third-party-proxy",
                                     relayCommandLine(at, "https://host.example/v1?a=b&c=']]>"), at.logURL};
  tests::put(folder / "agent.plist", propertyList(definition));
  const char* reader =
      "import json, plistlib, sys\n"
      "agent = plistlib.load(open(sys.argv[1], 'rb'), fmt=plistlib.FMT_XML)\n"
      "print(json.dumps(agent, ensure_ascii=False, sort_keys=True), end='')";
  const auto file = (folder / "agent.plist").string();
  EXPECT_EQ(run("/usr/bin/env", {"PYTHONUTF8=1", "python3", "-c", reader, file}).output,
            R"({"KeepAlive": true, "Label": "com.ferrin.third-party-proxy", "ProgramArguments": [)"
            R"("/Users/密 <&> \"me\"/.ferrin/bin/ferrin-third-party-proxy.py", )"
            R"("--host", "127.0.0.1", "--port", "8787", "--upstream", "https://host.example/v1?a=b&c=']]>", )"
            R"("--api-key-file", "/Users/密 <&> \"me\"/.ferrin/secrets/openai-proxy-upstream.token", )"
            R"("--timeout", "600"], "RunAtLoad": true, )"
            R"("StandardErrorPath": "/Users/密 <&> \"me\"/.ferrin/logs/third-party-proxy.log", )"
            R"("StandardOutPath": "/Users/密 <&> \"me\"/.ferrin/logs/third-party-proxy.log"})");
}

TEST(PropertyList, refusesWhatXMLCannotHold) {
  for (const std::string& bad : {"a\0b"s, "\x1b["s, "a\rb"s, "\uFFFE"s, "\xFF"s}) {
    EXPECT_THROW(propertyList({"label", {bad}, "/log"}), std::invalid_argument);
  }
}

}  // namespace
}  // namespace ferrin::relay
