#include "app/MenuBarControls.h"

#include <gtest/gtest.h>

#include "tests/app/TestApplication.h"

namespace ferrin::app {
namespace {

/// Buttons in brackets, texts bare, separators empty; and the icon's name.
std::string drawn(const MenuBarControls& controls) {
  std::string menu;
  for (const MenuItem& item : controls.items()) {
    const bool isButton = item.kind == MenuItem::Kind::button;
    menu += (isButton ? "[" : "") + std::string(item.title) + (isButton ? "]" : "") + "|";
  }
  return menu + std::string(controls.symbol());
}

TEST(MenuBarControls, followTheState) {
  TestApplication app;
  EXPECT_EQ(drawn(app.menu),
            "[Open Ferrin Relay]||Relay is stopped|[Restore "
            "OpenAI]||[Quit Ferrin Relay]|"
            "arrow.triangle.2.circlepath.circle");
  int told = 0;
  const auto subscription = app.menu.subscribe([&told] { ++told; });
  app.state.setRunning(true);
  EXPECT_EQ(told, 1);
  EXPECT_EQ(drawn(app.menu),
            "[Open Ferrin Relay]||[Stop relay]|[Restore OpenAI]||[Quit Ferrin Relay]|"
            "arrow.triangle.2.circlepath.circle.fill");
}

TEST(MenuBarControls, doWhatTheirItemsSay) {
  TestApplication app;
  struct Row {
    std::size_t place;
    bool runsBefore;
    std::string steps;
    bool runsAfterwards;
  };
  const Row rows[] = {
      {0, true, "activate\nopen main\n", true},
      {1, true, "", true},
      {2, true, stopSteps, false},
      {2, false, "", false},
      {3, true, stopSteps + "restart ChatGPT\n", false},
      {5, true, "terminate\n", true},
  };
  tests::put(app.at.configURL, "");
  for (const Row& row : rows) {
    app.state.setRunning(row.runsBefore);
    app.menu.choose(app.menu.items().at(row.place).action);
    EXPECT_EQ(app.trace.take(), row.steps) << row.place;
    EXPECT_EQ(app.state.isRunning(), row.runsAfterwards) << row.place;
  }
  EXPECT_EQ(tests::contentOf(app.at.configURL), "model_provider = \\\"openai\\\"\n\n");

  std::filesystem::remove(app.at.configURL);
  app.menu.restoreOpenAI();
  EXPECT_EQ(app.trace.take(), "alert 未找到 ~/.ferrin/config.toml\n");
  EXPECT_TRUE(app.state.isRunning());
}

}  // namespace
}  // namespace ferrin::app
