#include "app/MenuBarControls.h"

#include <gtest/gtest.h>

#include "tests/app/TestApplication.h"

namespace ferrin::app {
namespace {

/// Buttons in brackets, texts bare, separators as a line.
std::string drawn(const std::vector<MenuItem>& items) {
  std::string menu;
  for (const MenuItem& item : items) {
    const std::string title(item.title);
    if (item.kind == MenuItem::Kind::button) menu += "[" + title + "]";
    if (item.kind == MenuItem::Kind::text) menu += title;
    if (item.kind == MenuItem::Kind::separator) menu += "-";
    menu += "\n";
  }
  return menu;
}

TEST(MenuBarControls, followTheState) {
  TestApplication app;
  EXPECT_EQ(app.menu.symbol(), "arrow.triangle.2.circlepath.circle");
  EXPECT_EQ(drawn(app.menu.items()),
            "[Open Ferrin Relay]\n-\nRelay is stopped\n[Restore OpenAI]\n-\n[Quit Ferrin Relay]\n");
  int told = 0;
  const auto subscription = app.menu.subscribe([&told] { ++told; });
  app.state.setRunning(true);
  EXPECT_EQ(told, 1);
  EXPECT_EQ(app.menu.symbol(), "arrow.triangle.2.circlepath.circle.fill");
  EXPECT_EQ(drawn(app.menu.items()),
            "[Open Ferrin Relay]\n-\n[Stop relay]\n[Restore OpenAI]\n-\n[Quit Ferrin Relay]\n");
}

/// Chooses the item at that place of the menu.
Trace chosen(TestApplication& app, std::size_t place) {
  app.trace.clear();
  app.menu.choose(app.menu.items().at(place).action);
  return app.trace;
}

TEST(MenuBarControls, doWhatTheirItemsSay) {
  TestApplication app;
  app.state.setRunning(true);
  tests::put(app.at.configURL, "");
  const Trace stopped{"bootout " + serviceLabel, "bootout " + localServiceLabel};
  Trace restored = stopped;
  restored.push_back("restart ChatGPT");
  EXPECT_EQ(chosen(app, 0), (Trace{"activate", "open main"}));
  EXPECT_EQ(chosen(app, 1), Trace{});
  EXPECT_EQ(chosen(app, 2), stopped);
  EXPECT_FALSE(app.state.isRunning());
  EXPECT_EQ(chosen(app, 2), Trace{});
  app.state.setRunning(true);
  EXPECT_EQ(chosen(app, 3), restored);
  EXPECT_FALSE(app.state.isRunning());
  EXPECT_EQ(tests::contentOf(app.at.configURL), "model_provider = \\\"openai\\\"\n\n");
  app.state.setRunning(true);
  EXPECT_EQ(chosen(app, 5), Trace{"terminate"});
  EXPECT_TRUE(app.state.isRunning());
}

TEST(MenuBarControls, showAFailedRestoreAndLeaveTheRelayRunning) {
  TestApplication app;
  app.state.setRunning(true);
  EXPECT_EQ(chosen(app, 3), Trace{"alert 未找到 ~/.ferrin/config.toml"});
  EXPECT_TRUE(app.state.isRunning());
}

}  // namespace
}  // namespace ferrin::app
