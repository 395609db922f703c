// The main window off screen, with everything around it played by the test.

#include "app/qt/MainWindow.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QGridLayout>
#include <QLabel>
#include <QTest>
#include <algorithm>
#include <cmath>

#include "app/qt/Look.h"
#include "app/qt/Shades.h"
#include "app/qt/Text.h"
#include "tests/app/TestApplication.h"

namespace ferrin::qt {
namespace {

class MainWindowTest : public testing::Test {
 protected:
  void SetUp() override {
    window.show();
    QApplication::processEvents();
  }

  template <typename Widget>
  Widget* named(const char* name) const {
    for (auto* widget : window.findChildren<Widget*>()) {
      if (widget->accessibleName() == name) return widget;
    }
    ADD_FAILURE() << "nothing is named " << name;
    return nullptr;
  }

  QPushButton* button(const char* label) const {
    for (auto* each : window.findChildren<QPushButton*>()) {
      if (each->text() == label) return each;
    }
    return nullptr;
  }

  QString status() const {
    for (auto* label : window.findChildren<QLabel*>()) {
      if (dynamic_cast<StatusLabel*>(label)) return label->text();
    }
    return {};
  }

  void saveNewProfile(const std::string& name) {
    view.selectedProfileID = "";
    application.fill(name, app::typedURL, "sk-1", "m");
    view.saveProfile();
    QApplication::processEvents();
  }

  app::TestApplication application;
  app::ContentView& view = *application.view;
  int closings = 0;
  MainWindow window{view, [this] { ++closings; }};
};

TEST_F(MainWindowTest, hasElevenChildrenAtTheirDistancesInAWindowOfOneSize) {
  const QLayout& stack = *window.layout();
  EXPECT_EQ(stack.count(), 11);
  EXPECT_EQ(stack.spacing(), 18);
  EXPECT_EQ(stack.contentsMargins(), QMargins(24, 24, 24, 24));
  const auto& grid = *window.findChild<QGridLayout*>();
  EXPECT_EQ(grid.horizontalSpacing(), 16);
  EXPECT_EQ(grid.verticalSpacing(), 14);
  EXPECT_EQ(named<QLineEdit>("Profile name")->width(), 130);
  EXPECT_EQ(named<QPlainTextEdit>("Prompt")->parentWidget()->height(), 84);
  EXPECT_EQ(window.minimumSize(), window.maximumSize());
  EXPECT_EQ(window.width(), 520);
  EXPECT_EQ(window.windowTitle(), "Ferrin Relay");
}

TEST_F(MainWindowTest, growsByTheResponseAndShrinksAgain) {
  const int without = window.height();
  view.response = " ";
  QApplication::processEvents();
  EXPECT_EQ(window.height(), without + 18 + 8 + 120 + 8);
  view.response = "";
  QApplication::processEvents();
  EXPECT_EQ(window.height(), without);
}

TEST_F(MainWindowTest, showsWhatTheViewHoldsAndHandsOnWhatIsTyped) {
  struct Row {
    const char* name;
    app::Field<std::string>& field;
    const char* placeholder;
  };
  const Row rows[] = {{"Profile name", view.profileName, "Profile name"},
                      {"Provider URL", view.upstreamURL, "https://api.example.com/v1"},
                      {"API key", view.apiKey, "Enter API key once"},
                      {"Model", view.model, "模型名称"}};
  for (const Row& row : rows) {
    auto& edit = *named<QLineEdit>(row.name);
    EXPECT_EQ(edit.placeholderText(), row.placeholder);
    EXPECT_EQ(edit.text().toStdString(), row.field.get());
    row.field = "由程序";
    EXPECT_EQ(edit.text(), "由程序") << row.name;
    edit.clear();
    QTest::keyClicks(&edit, "typed");
    EXPECT_EQ(row.field.get(), "typed") << row.name;
  }
  QTest::keyClicks(named<QPlainTextEdit>("Prompt"), "hello");
  EXPECT_EQ(view.prompt.get(), "hello");
  window.findChild<QCheckBox*>()->click();
  EXPECT_FALSE(view.restartChatGPT);
}

TEST_F(MainWindowTest, loadsTheProfileThatIsPicked) {
  saveNewProfile("&File %1");
  saveNewProfile("Second");
  auto& picker = *named<QComboBox>("已保存配置");
  ASSERT_EQ(picker.count(), 3);
  EXPECT_EQ(picker.currentText(), "Second");
  EXPECT_EQ(picker.itemText(0), "Current profile");
  QTest::keyClick(&picker, Qt::Key_Up);
  EXPECT_EQ(picker.currentText(), "&File %1");
  EXPECT_EQ(named<QLineEdit>("Profile name")->text(), "&File %1");
  EXPECT_EQ(status(), "Loaded &File %1. The key is stored securely.");
  QTest::keyClick(&picker, Qt::Key_Up);
  EXPECT_EQ(view.selectedProfileID.get(), "");
}

TEST_F(MainWindowTest, offersOneRelayActionAtATime) {
  application.fill("p", app::typedURL, "sk-1", "m");
  view.restartChatGPT = false;
  window.activateWindow();
  auto& relay = *button("Apply and start");
  relay.setFocus();
  QTest::keyClick(&relay, Qt::Key_Space);
  EXPECT_EQ(relay.text(), "Applying...");
  EXPECT_FALSE(relay.isEnabled());
  application.dispatcher.runBackground();
  application.dispatcher.runMain();
  EXPECT_EQ(relay.text(), "Stop relay");
  EXPECT_TRUE(relay.hasFocus());
  relay.click();
  EXPECT_EQ(relay.text(), "Apply and start");
  EXPECT_EQ(status(), "Relay stopped. Profiles and keys were kept.");
}

TEST_F(MainWindowTest, takesReturnForWhatTheFieldIsFor) {
  application.fill("p", app::typedURL, "sk-1", "m");
  QTest::keyClick(named<QLineEdit>("Profile name"), Qt::Key_Return);
  EXPECT_EQ(view.profiles.get().size(), 1u);
  QTest::keyClick(named<QLineEdit>("Model"), Qt::Key_Return);
  EXPECT_TRUE(view.isWorking);
  application.dispatcher.runBackground();
  application.dispatcher.runMain();
  EXPECT_TRUE(application.state.isRunning());
  QTest::keyClick(named<QLineEdit>("Model"), Qt::Key_Return);
  EXPECT_TRUE(application.state.isRunning());

  auto& prompt = *named<QPlainTextEdit>("Prompt");
  window.activateWindow();
  prompt.setFocus();
  QTest::keyClicks(&prompt, "ask");
  QTest::keyClick(&prompt, Qt::Key_Return);
  EXPECT_EQ(view.prompt.get(), "ask\n");
  EXPECT_FALSE(view.isSending);
  QTest::keyClick(&prompt, Qt::Key_Return, Qt::ControlModifier);
  EXPECT_TRUE(view.isSending);
  EXPECT_EQ(button("Sending...")->isEnabled(), false);
}

TEST_F(MainWindowTest, isWalkedThroughFromTopToBottom) {
  view.prompt = "p";
  view.response = "r";
  QTest::keyClicks(named<QPlainTextEdit>("Prompt"), "p");
  window.activateWindow();
  named<QComboBox>("已保存配置")->setFocus();
  std::vector<std::string> order;
  for (int step = 0; step < 11; ++step) {
    const QWidget& at = *QApplication::focusWidget();
    const auto* pressed = qobject_cast<const QAbstractButton*>(&at);
    order.push_back((pressed ? pressed->text() : at.accessibleName()).toStdString());
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
  }
  EXPECT_EQ(order, (std::vector<std::string>{"已保存配置", "Profile name", "Save profile", "Provider URL",
                                             "API key", "Model", "Restart ChatGPT after applying", "Prompt",
                                             "Send to provider", "Response", "Apply and start"}));
}

TEST_F(MainWindowTest, neverGivesTheKeyAway) {
  auto& key = *named<QLineEdit>("API key");
  QTest::keyClicks(&key, "sk-secret");
  EXPECT_FALSE(key.displayText().contains("sk"));
  EXPECT_TRUE(key.inputMethodHints() & Qt::ImhSensitiveData);
  QApplication::clipboard()->setText("before");
  key.selectAll();
  key.copy();
  key.cut();
  EXPECT_EQ(QApplication::clipboard()->text(), "before");
  view.apiKey = "";
  key.undo();
  EXPECT_EQ(key.text(), "");
}

TEST_F(MainWindowTest, canUndoAfterTheViewHasChangedElsewhere) {
  auto& model = *named<QLineEdit>("Model");
  model.selectAll();
  QTest::keyClicks(&model, "other");
  model.setCursorPosition(2);
  view.status = "something else";
  EXPECT_EQ(model.cursorPosition(), 2);
  while (model.isUndoAvailable()) model.undo();
  EXPECT_EQ(view.model.get(), "gpt-5.6-terra");
}

TEST_F(MainWindowTest, movesNothingHoweverLongTheTextsAre) {
  view.response = "short";
  QApplication::processEvents();
  const auto places = [this] {
    std::vector<QRect> result;
    for (const auto* widget : window.findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) {
      result.push_back(widget->geometry());
    }
    return result;
  };
  const auto before = places();
  saveNewProfile(std::string(400, 'W'));
  std::string answer;
  for (int line = 0; line < 5000; ++line) answer += "line " + std::to_string(line) + "\n";
  view.response = answer;
  view.status = std::string(200, 'x') + " " + std::string(200, 'y');
  QApplication::processEvents();
  EXPECT_EQ(places(), before);
  EXPECT_EQ(named<QPlainTextEdit>("Response")->toPlainText().toStdString(), answer);
}

TEST_F(MainWindowTest, growsWithTheFontOfTheSystem) {
  const auto pointSizes = [this] {
    std::vector<double> result;
    for (const char* label : {"Ferrin Relay", "Direct provider test", "Model"}) {
      for (const auto* each : window.findChildren<QLabel*>()) {
        if (each->text() == label) result.push_back(each->font().pointSizeF());
      }
    }
    return result;
  };
  const QFont before = QApplication::font();
  const int height = window.height();
  QFont larger = before;
  larger.setPointSizeF(26);
  QApplication::setFont(larger);
  QApplication::processEvents();
  EXPECT_EQ(pointSizes(), (std::vector<double>{34, 26, 26}));
  EXPECT_GT(window.height(), height);
  EXPECT_EQ(window.width(), 520);
  QApplication::setFont(before);
}

TEST_F(MainWindowTest, asksAnewEachTimeItAppears) {
  tests::put(application.at.upstreamURLFile, "https://elsewhere.example/v1\n");
  window.close();
  EXPECT_EQ(closings, 1);
  window.show();
  EXPECT_EQ(named<QLineEdit>("Provider URL")->text(), "https://elsewhere.example/v1");
}

TEST(StatusLabel, cutsAfterTwoLinesAndKeepsTheRestForTheTooltip) {
  StatusLabel label;
  label.resize(300, 40);
  struct Row {
    const char* name;
    QString text;
    int lines;
    bool isCut;
  };
  const Row rows[] = {{"short", "Relay is stopped", 1, false},
                      {"two lines", "first\nsecond", 2, false},
                      {"three lines", "first\nsecond\nthird <b>", 2, true},
                      {"400 characters", QString("word ").repeated(80), 2, true},
                      {"one word", QString(400, 'x'), 2, true}};
  for (const Row& row : rows) {
    label.show(row.text, app::StatusColour::secondary);
    const auto [lines, isCut] = label.fitted();
    EXPECT_EQ(lines.size(), row.lines) << row.name;
    EXPECT_EQ(isCut, row.isCut) << row.name;
    EXPECT_EQ(lines.last().endsWith("…"), row.isCut) << row.name;
    EXPECT_EQ(label.toolTip().isEmpty(), !row.isCut) << row.name;
    for (const QString& line : lines) EXPECT_LE(label.fontMetrics().horizontalAdvance(line), 300) << row.name;
  }
  label.show("first\nsecond\nthird <b>", app::StatusColour::secondary);
  EXPECT_EQ(label.toolTip(), "<p>first<br>second<br>third &lt;b&gt;</p>");
  const QString part(40, 'x');
  EXPECT_EQ(wrappedToolTip(part + part + "y"), "<p>" + part + "\u200b" + part + "\u200by</p>");
}

double luminance(const QColor& colour) {
  const auto linear = [](double part) {
    return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) + 0.0722 * linear(colour.blueF());
}

double contrast(const QColor& one, const QColor& other) {
  const auto [low, high] = std::minmax({luminance(one), luminance(other)});
  return (high + 0.05) / (low + 0.05);
}

TEST(Look, canBeReadInLightAndDark) {
  for (const auto scheme : {ColourScheme::light, ColourScheme::dark}) {
    setColourScheme(*qApp, scheme);
    const QPalette palette = QApplication::palette();
    EXPECT_EQ(isDark(palette), scheme == ColourScheme::dark);
    const QColor window = palette.color(QPalette::Window);
    EXPECT_GE(contrast(palette.color(QPalette::WindowText), window), 7);
    EXPECT_GE(contrast(secondaryText(palette), window), 4.5);
    EXPECT_GE(contrast(redText(palette), window), 4.5);
    EXPECT_GE(contrast(palette.color(QPalette::HighlightedText), palette.color(QPalette::Highlight)), 4.4);
    EXPECT_FALSE(qApp->styleSheet().contains('@'));
  }
}

}  // namespace
}  // namespace ferrin::qt

int main(int count, char** arguments) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(count, arguments);
  ferrin::qt::setUpLook(application);
  ferrin::qt::setColourScheme(application, ferrin::qt::ColourScheme::light);
  testing::InitGoogleTest(&count, arguments);
  return RUN_ALL_TESTS();
}
