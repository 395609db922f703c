// The main window off screen, with everything around it played by the test.

#include "app/qt/MainWindow.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QGridLayout>
#include <QTest>
#include <cstdlib>

#include "app/qt/Look.h"
#include "app/qt/Shades.h"
#include "app/qt/Text.h"
#include "tests/app/TestApplication.h"

namespace ferrin::qt {
namespace {

class MainWindowTest : public testing::Test {
 protected:
  MainWindowTest() {
    window.show();
    window.activateWindow();
    QApplication::processEvents();
  }

  template <typename Widget = QLineEdit>
  Widget& named(const char* name) const {
    for (auto* widget : window.findChildren<Widget*>()) {
      if (widget->accessibleName() == name) return *widget;
    }
    throw std::logic_error(std::string("nothing is named ") + name);
  }

  template <typename Widget>
  Widget& saying(const char* text) const {
    for (auto* widget : window.findChildren<Widget*>()) {
      if (widget->text() == text) return *widget;
    }
    throw std::logic_error(std::string("nothing says ") + text);
  }

  void saveNewProfile(const std::string& name) {
    view.selectedProfileID = "";
    application.fill(name, app::typedURL, "sk-1", "m");
    view.saveProfile();
  }

  void finishWork() {
    application.dispatcher.runBackground();
    application.dispatcher.runMain();
  }

  app::TestApplication application;
  app::ContentView& view = *application.view;
  int closings = 0;
  MainWindow window{view, [this] { ++closings; }};
};

TEST_F(MainWindowTest, hasItsMeasures) {
  const QLayout& stack = *window.layout();
  EXPECT_EQ(stack.count(), 11);
  EXPECT_EQ(stack.spacing(), 18);
  EXPECT_EQ(stack.contentsMargins(), QMargins(24, 24, 24, 24));
  const auto& grid = *window.findChild<QGridLayout*>();
  EXPECT_EQ(QSize(grid.horizontalSpacing(), grid.verticalSpacing()), QSize(16, 14));
  EXPECT_EQ(named("Profile name").width(), 130);
  EXPECT_EQ(named<QPlainTextEdit>("Prompt").parentWidget()->height(), 84);
  EXPECT_EQ(window.windowTitle(), "Ferrin Relay");
  EXPECT_EQ(window.minimumSize(), window.maximumSize());
  const QSize without = window.size();
  EXPECT_EQ(without.width(), 520);
  for (const bool isThere : {true, false}) {
    view.response = isThere ? " " : "";
    QApplication::processEvents();
    EXPECT_EQ(window.size(), without + QSize(0, isThere ? 18 + 8 + 120 + 8 : 0));
  }
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
  EXPECT_EQ(named<QPlainTextEdit>("Response").toPlainText().toStdString(), answer);
}

TEST_F(MainWindowTest, growsWithTheFontOfTheSystem) {
  const QFont before = QApplication::font();
  const int height = window.height();
  QFont larger = before;
  larger.setPointSizeF(26);
  QApplication::setFont(larger);
  QApplication::processEvents();
  EXPECT_EQ(saying<QLabel>("Ferrin Relay").font().pointSizeF(), 34);
  EXPECT_EQ(saying<QLabel>("Direct provider test").font().pointSizeF(), 26);
  EXPECT_EQ(saying<QLabel>("Model").font().pointSizeF(), 26);
  EXPECT_GT(window.height(), height);
  QApplication::setFont(before);
}

TEST_F(MainWindowTest, showsWhatTheViewHoldsAndHandsOnWhatIsTyped) {
  struct Row {
    const char* name;
    app::Field<std::string>& field;
    const char* placeholder;
  };
  for (const auto& [name, field, placeholder] :
       {Row{"Profile name", view.profileName, "Profile name"},
        Row{"Provider URL", view.upstreamURL, "https://api.example.com/v1"},
        Row{"API key", view.apiKey, "Enter API key once"}, Row{"Model", view.model, "模型名称"}}) {
    auto& edit = named(name);
    EXPECT_EQ(edit.placeholderText(), placeholder);
    EXPECT_EQ(edit.text().toStdString(), field.get());
    field = "由程序";
    EXPECT_EQ(edit.text(), "由程序") << name;
    edit.clear();
    QTest::keyClicks(&edit, "typed");
    EXPECT_EQ(field.get(), "typed") << name;
  }
  QTest::keyClicks(&named<QPlainTextEdit>("Prompt"), "hello");
  EXPECT_EQ(view.prompt.get(), "hello");
  window.findChild<QCheckBox*>()->click();
  EXPECT_FALSE(view.restartChatGPT);
}

TEST_F(MainWindowTest, loadsTheProfileThatIsPicked) {
  saveNewProfile("&File %1");
  saveNewProfile("Second");
  auto& picker = named<QComboBox>("已保存配置");
  EXPECT_EQ(picker.currentText(), "Second");
  for (const char* above : {"&File %1", "Current profile"}) {
    QTest::keyClick(&picker, Qt::Key_Up);
    EXPECT_EQ(picker.currentText(), above);
    EXPECT_EQ(named("Profile name").text(), "&File %1");
    EXPECT_TRUE(saying<StatusLabel>("Loaded &File %1. The key is stored securely.").isVisible());
  }
  EXPECT_EQ(view.selectedProfileID.get(), "");
}

TEST_F(MainWindowTest, offersOneRelayActionAtATimeAndKeepsTheFocus) {
  application.fill("p", app::typedURL, "sk-1", "m");
  auto& relay = saying<QPushButton>("Apply and start");
  relay.setFocus();
  QTest::keyClick(&relay, Qt::Key_Space);
  EXPECT_EQ(relay.text(), "Applying...");
  EXPECT_FALSE(relay.isEnabled());
  finishWork();
  EXPECT_EQ(relay.text(), "Stop relay");
  EXPECT_TRUE(relay.hasFocus());
  relay.click();
  EXPECT_EQ(relay.text(), "Apply and start");
}

TEST_F(MainWindowTest, takesReturnForWhatTheFieldIsFor) {
  application.fill("p", app::typedURL, "sk-1", "m");
  QTest::keyClick(&named("Profile name"), Qt::Key_Return);
  EXPECT_EQ(view.profiles.get().size(), 1u);
  for (const char* name : {"Model", "Provider URL"}) {
    EXPECT_EQ(application.state.isRunning(), name != std::string("Model"));
    QTest::keyClick(&named(name), Qt::Key_Return);
    finishWork();
    EXPECT_TRUE(application.state.isRunning()) << "Return never stops it";
  }
  auto& prompt = named<QPlainTextEdit>("Prompt");
  prompt.setFocus();
  QTest::keyClicks(&prompt, "ask");
  QTest::keyClick(&prompt, Qt::Key_Return);
  EXPECT_EQ(view.prompt.get(), "ask\n");
  EXPECT_FALSE(view.isSending);
  QTest::keyClick(&prompt, Qt::Key_Return, Qt::ControlModifier);
  EXPECT_FALSE(saying<QPushButton>("Sending...").isEnabled());
}

/// The upper edge of what has the focus, just beside its corner, as it is and as it is without the focus.
std::pair<QRgb, QRgb> edgeOf(QWidget& focused) {
  auto& drawn = qobject_cast<QPlainTextEdit*>(&focused) ? *focused.parentWidget() : focused;
  const auto edge = [&drawn] { return drawn.grab().toImage().pixel(9, 1); };
  const QRgb with = edge();
  focused.clearFocus();
  const QRgb without = edge();
  focused.setFocus();
  return {with, without};
}

TEST_F(MainWindowTest, isWalkedThroughFromTopToBottomAndShowsWhere) {
  QTest::keyClicks(&named<QPlainTextEdit>("Prompt"), "p");
  view.response = "r";
  QApplication::processEvents();
  named<QComboBox>("已保存配置").setFocus();
  std::string order;
  for (int step = 0; step < 11; ++step) {
    QWidget* at = QApplication::focusWidget();
    const auto* pressed = qobject_cast<const QAbstractButton*>(at);
    order += (pressed ? pressed->text() : at->accessibleName()).toStdString() + "|";
    const auto [with, without] = edgeOf(*at);
    EXPECT_NE(with, without) << order;
    QTest::keyClick(at, Qt::Key_Tab);
  }
  EXPECT_EQ(order,
            "已保存配置|Profile name|Save profile|Provider URL|API key|Model|Restart ChatGPT after applying|"
            "Prompt|Send to provider|Response|Apply and start|");
}

TEST_F(MainWindowTest, neverGivesTheKeyAway) {
  auto& key = named("API key");
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
  auto& model = named("Model");
  model.selectAll();
  QTest::keyClicks(&model, "other");
  model.setCursorPosition(2);
  view.status = "something else";
  EXPECT_EQ(model.cursorPosition(), 2);
  while (model.isUndoAvailable()) model.undo();
  EXPECT_EQ(view.model.get(), "gpt-5.6-terra");
}

TEST_F(MainWindowTest, asksAnewEachTimeItAppears) {
  tests::put(application.at.upstreamURLFile, "https://elsewhere.example/v1\n");
  window.close();
  EXPECT_EQ(closings, 1);
  window.show();
  EXPECT_EQ(named("Provider URL").text(), "https://elsewhere.example/v1");
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
  for (const Row& row :
       {Row{"short", "Relay is stopped", 1, false}, Row{"two lines", "first\nsecond", 2, false},
        Row{"400 characters", QString("word ").repeated(80), 2, true},
        Row{"one word", QString(400, 'x'), 2, true},
        Row{"three lines", "first\nsecond\nthird <b>", 2, true}}) {
    label.show(row.text, app::StatusColour::secondary);
    const auto [lines, isCut] = label.fitted();
    EXPECT_EQ(lines.size(), row.lines) << row.name;
    EXPECT_EQ(isCut, row.isCut) << row.name;
    EXPECT_EQ(lines.last().endsWith("…"), row.isCut) << row.name;
    EXPECT_EQ(label.toolTip().isEmpty(), !row.isCut) << row.name;
    for (const QString& line : lines) EXPECT_LE(label.fontMetrics().horizontalAdvance(line), 300) << row.name;
  }
  EXPECT_EQ(label.toolTip(), "<p>first<br>second<br>third &lt;b&gt;</p>");
  const QString part(40, 'x');
  EXPECT_EQ(wrappedToolTip(part + part + "y"), "<p>" + part + "\u200b" + part + "\u200by</p>");
}

/// In grey levels of 255.
int contrast(const QColor& one, const QColor& other) {
  return std::abs(qGray(one.rgb()) - qGray(other.rgb()));
}

TEST(Look, canBeReadInLightAndDark) {
  for (const auto scheme : {ColourScheme::light, ColourScheme::dark}) {
    setColourScheme(*qApp, scheme);
    const QPalette palette = QApplication::palette();
    EXPECT_EQ(isDark(palette), scheme == ColourScheme::dark);
    const QColor window = palette.color(QPalette::Window);
    for (const QColor& text :
         {palette.color(QPalette::WindowText), secondaryText(palette), redText(palette)}) {
      EXPECT_GE(contrast(text, window), 100) << text.name().toStdString();
    }
    EXPECT_GE(contrast(palette.color(QPalette::HighlightedText), palette.color(QPalette::Highlight)), 100);
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
