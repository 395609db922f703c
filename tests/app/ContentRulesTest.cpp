#include "app/ContentRules.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace ferrin::app
