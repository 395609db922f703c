#include "app/ContentRules.h"

#include <gtest/gtest.h>

#include <array>

namespace ferrin::app {
namespace {

TEST(ContentRules, sayWhatTheControlsShow) {
  EXPECT_EQ(relayButton(true, true), (RelayButton{{"Stop relay", false}, RelayAction::stop}));
  EXPECT_EQ(relayButton(false, true), (RelayButton{{"Applying...", false}, RelayAction::apply}));
  EXPECT_EQ(sendButton(false, " \n\u3000"), (Button{"Send to provider", false}));
  EXPECT_EQ(sendButton(true, "x"), (Button{"Sending...", false}));
  EXPECT_EQ(statusColour("失败：x"), StatusColour::red);
  for (const char* status : {"Error: no", " 失败"}) EXPECT_EQ(statusColour(status), StatusColour::secondary);
}

TEST(ReasonNotToApply, isTheFirstOfUrlKeyAndModel) {
  const std::string url = "Error: enter a complete http:// or https:// URL";
  const std::array<std::string, 4> rows[] = {
      {"ftp://h", "", "", url},
      {"HTTPS://h", "k", "m", url},
      {"provider.example/v1", "k", "m", url},
      {"http://h/%", "k", "m", url},
      {"http://h", "", "", "Error: enter the provider API key"},
      {"http://h", "k", "", "Error: enter a model name"},
      {"http:///v1", "k", "m", "none"},
      {"https://127.0.0.1:1/v1", "k", "m", "none"},
  };
  for (const auto& [address, key, model, reason] : rows) {
    EXPECT_EQ(reasonNotToApply(address, key, model).value_or("none"), reason) << address;
  }
}

}  // namespace
}  // namespace ferrin::app
