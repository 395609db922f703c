#include "app/MenuBarControls.h"

#include <gtest/gtest.h>

#include "tests/app/TestApplication.h"

namespace ferrin::app {
namespace {

TEST(MenuBarControls, followTheStateAndDoWhatTheirItemsSay) {
  TestApplication app;
  tests::put(app.at.configURL, "");
  app.state.setRunning(true);
  std::string done;
  for (const MenuItem& item : app.menu.items()) {
    app.menu.choose(item.action);
    done += std::string(item.title) + ": " + app.asked() + "\n";
  }
  EXPECT_EQ(done,
            "Open Ferrin Relay: activate|open main|\n: \nStop relay: bootout|bootout|\n"
            "Restore OpenAI: bootout|bootout|restart ChatGPT|\n: \nQuit Ferrin Relay: terminate|\n");
  EXPECT_EQ(app.menu.items().at(2).title, "Relay is stopped");

  std::filesystem::remove(app.at.configURL);
  app.state.setRunning(true);
  app.menu.restoreOpenAI();
  EXPECT_EQ(app.asked(), "alert 未找到 ~/.ferrin/config.toml|");
  EXPECT_TRUE(app.state.isRunning());
}

}  // namespace
}  // namespace ferrin::app
