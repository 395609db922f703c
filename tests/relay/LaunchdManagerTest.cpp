#include "relay/LaunchdManager.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

using std::string_literals::operator""s;

TEST(PropertyList, holdsExactlyTheSixKeysForAnIndependentReader) {
  const tests::TemporaryFolder folder;
  const auto file = folder / "agent.plist";
  tests::put(file, propertyList({"com.example", {"/密 <&> \"me\"", "", "c=']]>"}, "/it's <&>.log"}));
  const char* reader =
      "import json, plistlib, sys\n"
      "agent = plistlib.load(open(sys.argv[1], 'rb'), fmt=plistlib.FMT_XML)\n"
      "print(json.dumps(agent, ensure_ascii=False, sort_keys=True), end='')";
  EXPECT_EQ(run("/usr/bin/env", {"PYTHONUTF8=1", "python3", "-c", reader, file.string()}).output,
            R"({"KeepAlive": true, "Label": "com.example", "ProgramArguments": ["/密 <&> \"me\"", "", )"
            R"("c=']]>"], "RunAtLoad": true, "StandardErrorPath": "/it's <&>.log", )"
            R"("StandardOutPath": "/it's <&>.log"})");
  for (const std::string& bad : {"a\0b"s, "\x1b["s, "a\rb"s, "\uFFFE"s, "\xFF"s}) {
    EXPECT_THROW(propertyList({"label", {bad}, "/log"}), std::invalid_argument);
  }
}

}  // namespace
}  // namespace ferrin::relay
