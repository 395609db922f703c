// The main window off screen, with everything around it played by the test.

#include "app/qt/window/MainWindow.h"

#include <gtest/gtest.h>

#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QTest>

#include "app/qt/look/Look.h"
#include "app/qt/look/Shades.h"
#include "app/qt/look/Text.h"
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

  /// By its accessible name or by what it says.
  template <typename Widget = QLineEdit>
  Widget& find(const char* name) const {
    for (auto* widget : window.findChildren<Widget*>()) {
      if (widget->accessibleName() == name || widget->property("text") == QString(name)) return *widget;
    }
    throw std::logic_error(std::string("nothing is named ") + name);
  }

  static void readLabels() { QTest::qWait(2 * QApplication::doubleClickInterval()); }

  app::TestApplication application;
  app::ContentView& view = *application.view;
  MainWindow window{view, [] {}, [] {}};
};

TEST_F(MainWindowTest, showsWhatTheViewHoldsAndHandsOnWhatIsTyped) {
  application.fill("&File %1", app::typedURL, "sk-1", "m");
  auto& picker = find<QComboBox>("已保存配置");
  auto& key = find("API key");
  EXPECT_TRUE(key.echoMode() == QLineEdit::Password && key.inputMethodHints() & Qt::ImhSensitiveData);
  QTest::keyClick(&find("Profile name"), Qt::Key_Return);
  EXPECT_EQ(picker.currentText() + find("Model").text() + key.text(), "&File %1m");
  key.undo();
  EXPECT_EQ(key.text(), "") << "it is stored, and nowhere else";
  for (const char* name : {"Profile name", "Provider URL", "API key", "Model"}) {
    auto& edit = find(name);
    edit.clear();
    QTest::keyClicks(&edit, name);
    edit.setCursorPosition(2);
    view.status = name;
    EXPECT_TRUE(edit.cursorPosition() == 2 && edit.isUndoAvailable()) << name << " is left alone";
  }
  EXPECT_EQ(application.form(), "Profile name|Provider URL|API key|Model");
  QTest::keyClick(&picker, Qt::Key_Up);
  EXPECT_EQ(view.selectedProfileID.get(), "");
}

TEST_F(MainWindowTest, growsWithAnAnswerAndTheFontOfTheSystemButWithNoOtherText) {
  const QSize before = window.size();
  for (auto* field : {&view.profileName, &view.status, &view.response}) *field = std::string(5000, 'W');
  EXPECT_TRUE(QTest::qWaitFor([&] { return window.height() != before.height(); }));
  const QSize grown = window.size() - before;
  EXPECT_TRUE(grown.width() == 0 && grown.height() > 120 && grown.height() < 240) << grown.height();
  const QFont font = QApplication::font();
  QApplication::setFont(QFont(font.family(), 26));
  QApplication::processEvents();
  EXPECT_EQ(find<QLabel>("Ferrin Relay").font().pointSizeF(), 34);
  EXPECT_TRUE(QTest::qWaitFor([&] { return window.height() > before.height() + grown.height(); }));
  const auto& relay = find<QPushButton>("Apply and start");
  EXPECT_TRUE(window.height() < 800 &&
              window.rect().contains({relay.mapTo(&window, QPoint()), relay.size()}));
  QApplication::setFont(font);
}

TEST_F(MainWindowTest, opensWithAnyFontOfTheSystemWithoutCuttingAControl) {
  const QFont font = QApplication::font();
  view.response = "text";
  for (int size = 9; size <= 24; ++size) {
    QApplication::setFont(QFont(font.family(), size));
    MainWindow opened{view, [] {}, [] {}};
    opened.show();
    QApplication::processEvents();
    for (const auto* button : opened.findChildren<QAbstractButton*>()) {
      if (!button->isVisible()) continue;
      EXPECT_GE(button->height(), button->sizeHint().height()) << size << button->text().toStdString();
      EXPECT_LT(button->mapTo(&opened, QPoint(button->width(), 0)).x(), mainWindowWidth) << size;
    }
  }
  QApplication::setFont(font);
}

TEST_F(MainWindowTest, survivesAScreenReaderThatAsksForAScrollBarThatHasGone) {
  auto* form = QAccessible::queryAccessibleInterface(window.findChild<FormArea*>());
  for (int gone = form->childCount(); gone < 5; ++gone) EXPECT_EQ(form->child(gone), nullptr) << gone;
}

TEST_F(MainWindowTest, offersOneRelayActionAtATime) {
  application.fill("p", app::typedURL, "sk-1", "m");
  auto& relay = find<QPushButton>("Apply and start");
  QTest::keyClick(&relay, Qt::Key_Space);
  EXPECT_FALSE(relay.isEnabled());
  application.finishWork();
  QTest::keyClick(&find("Model"), Qt::Key_Return);
  EXPECT_EQ(relay.text(), "Stop relay") << "Return never stops it";
  QTest::keyClick(&relay, Qt::Key_Space);
  EXPECT_EQ(relay.text(), "Stop relay") << "it was pressed as another button";
  readLabels();
  QTest::mouseClick(&relay, Qt::LeftButton);
  QTest::mouseDClick(&relay, Qt::LeftButton);
  QTest::mouseRelease(&relay, Qt::LeftButton);
  EXPECT_EQ(relay.text(), "Apply and start") << "one action for a double click";
  EXPECT_TRUE(relay.isEnabled());
}

TEST_F(MainWindowTest, keepsTheFocusOnABusyButtonUnlessItIsMoved) {
  application.fill("p", app::typedURL, "sk-1", "m");
  QWidget& first = *QApplication::focusWidget();
  EXPECT_EQ(&first, &find("Provider URL")) << "where one would type";
  for (const char* label : {"Send to provider", "Apply and start"}) {
    view.prompt = "text";
    auto& button = find<QPushButton>(label);
    for (QWidget* movedTo : {static_cast<QWidget*>(&button), &first}) {
      readLabels();
      button.setFocus();
      QTest::keyClick(&button, Qt::Key_Return);
      EXPECT_FALSE(button.isEnabled()) << label;
      for (const auto key : {Qt::Key_Space, Qt::Key_Return, Qt::Key_Down}) {
        QTest::keyClick(window.windowHandle(), key);
        EXPECT_TRUE(button.hasFocus()) << label << key;
      }
      movedTo->setFocus();
      if (application.complete) application.complete({.error = {}, .status = 500, .body = {}});
      application.finishWork();
      EXPECT_TRUE(button.isEnabled() && movedTo->hasFocus()) << label;
      view.stop();
    }
  }
}

TEST_F(MainWindowTest, ignoresAHeldReturnAndTheWheelOverThePicker) {
  application.fill("p", app::typedURL, "sk-1", "m");
  view.saveProfile();
  const QPointF middle(5, 5);
  QWheelEvent wheel(middle, middle, {}, {0, 120}, Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
  QApplication::sendEvent(&find<QComboBox>("已保存配置"), &wheel);
  EXPECT_NE(view.selectedProfileID.get(), "");
  const std::string status = view.status;
  for (QWidget* control :
       {static_cast<QWidget*>(&find("Profile name")), static_cast<QWidget*>(&find("Model")),
        static_cast<QWidget*>(&find<QPushButton>("Apply and start"))}) {
    QKeyEvent held(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, "\r", true);
    QKeyEvent up(QEvent::KeyRelease, Qt::Key_Return, {}), again(QEvent::KeyPress, Qt::Key_Return, {});
    up.setTimestamp(7);
    again.setTimestamp(7);
    for (QEvent* event : {&held, &up, &again}) QApplication::sendEvent(control, event);
    EXPECT_EQ(view.status.get(), status) << control->accessibleName().toStdString();
  }
}

TEST_F(MainWindowTest, showsOnEveryControlWhereTheKeyboardIs) {
  view.prompt = "text";
  view.response = "text";
  QApplication::processEvents();
  for (int step = 0; step < 12; ++step) {
    QWidget& at = *QApplication::focusWidget();
    QWidget& drawn = qobject_cast<QPlainTextEdit*>(&at) ? *at.parentWidget() : at;
    const int line = qobject_cast<QLabel*>(&at) ? at.height() - 1 : 1;
    const auto edge = [&] { return drawn.grab().toImage().pixel(9, line); };
    const QRgb focused = edge();
    at.clearFocus();
    EXPECT_NE(edge(), focused) << step;
    at.setFocus();
    QTest::keyClick(&at, Qt::Key_Tab);
  }
}

TEST(StatusLabel, cutsAfterTwoLinesWithTheRestInItsToolTipItsNameAndWhatIsCopied) {
  StatusLabel label;
  label.resize(300, 40);
  label.showStatus("first\nsecond", app::StatusColour::secondary);
  EXPECT_FALSE(label.fitted().isCut);
  label.showStatus("Error: " + QString(44, 'k') + ".token: No such file or directory",
                   app::StatusColour::secondary);
  EXPECT_TRUE(label.fitted().isCut &&
              label.fitted().lines.join("").endsWith("….token: No such file or directory"));
  for (const QString& text : {QString("x ").repeated(200), QString("first\nsecond\nthird")}) {
    label.showStatus(text, app::StatusColour::secondary);
    const QStringList lines = label.fitted().lines;
    EXPECT_TRUE(lines.size() == 2 && lines.last().endsWith("…")) << text.toStdString();
    EXPECT_LE(label.fontMetrics().horizontalAdvance(lines.last()), 300) << text.toStdString();
    EXPECT_EQ(label.toolTip(), wrappedToolTip(text));
    for (const auto key : {QKeySequence::SelectAll, QKeySequence::Copy}) QTest::keySequence(&label, key);
    EXPECT_EQ(QApplication::clipboard()->text(), text);
    EXPECT_EQ(label.accessibleName(), text);
  }
  EXPECT_EQ(wrappedToolTip(QString(41, 'x') + "\n<b>"),
            "<p>" + QString(40, 'x') + "\u200bx<br>&lt;b&gt;</p>");
}

TEST_F(MainWindowTest, takesAndShowsLongTextsInPiecesAndHandsThemOnAsTheyAre) {
  const QString word(1 << 20, 'x');
  for (const QString& text : {word, word + "\n\n" + word + "\n", QString("a line\n").repeated(1 << 17),
                              "a" + QString::fromUtf8("😀").repeated(1 << 15)}) {
    QApplication::clipboard()->setText(text);
    auto& prompt = find<TextArea>("Prompt");
    prompt.selectAll();
    prompt.paste();
    EXPECT_TRUE(view.prompt.get() == text.toStdString()) << view.prompt.get().size();
    view.response = text.toStdString();
    auto& response = find<TextArea>("Response");
    response.selectAll();
    QApplication::clipboard()->clear();
    response.copy();
    EXPECT_TRUE(QApplication::clipboard()->text() == text) << text.size();
    for (const TextArea* area : {&prompt, &response}) {
      EXPECT_NEAR(area->blockCount(), static_cast<double>(text.size()) / 5000, 10);
    }
  }
}

TEST_F(MainWindowTest, hasTheContrastThatReadingAndFindingNeed) {
  for (const auto scheme : {ColourScheme::light, ColourScheme::dark}) {
    for (const bool more : {false, true}) {
      setColouring(*qApp, {scheme, more});
      const QPalette palette = QApplication::palette();
      const auto apart = [&](QColor colour, QPalette::ColorRole role, double least, const char* what) {
        EXPECT_GE(contrast(colour, palette.color(role)), least * (more ? 1.3 : 1))
            << what << (scheme == ColourScheme::dark ? " dark" : " light") << more;
      };
      using P = QPalette;
      const QColor placeholder = find("API key").palette().color(P::PlaceholderText);
      apart(blended(placeholder, palette.color(P::Base), placeholder.alphaF()), P::Base, 4.5, "placeholder");
      apart(palette.color(P::HighlightedText), P::Highlight, 4.5, "primary label, selection");
      apart(find<QLabel>("Relay is stopped").palette().color(P::WindowText), P::Window, 4.5, "status");
      apart(palette.color(P::Highlight), P::Window, 3 / (more ? 1.3 : 1), "primary button, ticked box");
      apart(redText(palette), P::Window, more ? 3.5 : 4.5, "failure");
      apart(palette.color(P::Text), P::Highlight, 3 / (more ? 1.3 : 1), "ring on the primary button");
      for (const auto role : {P::Window, P::Base, P::Button}) {
        const QColor edge = find("Model").grab().toImage().pixelColor(40, 0);
        apart(edge, role, 3, "border as drawn");
        apart(focusRing(palette), role, 3, "focus ring");
      }
    }
  }
  setColouring(*qApp, {});
}

TEST(ElidedApart, cutsWhereTheNamesDifferLeast) {
  const QString same(60, 'x');
  const QStringList names[] = {
      {"one-" + same, "two-" + same}, {same + "-one", same + "-two"}, {"a" + same + "b"}};
  for (const QStringList& texts : names) {
    QStringList cut;
    for (const QString& text : texts) {
      cut << elidedApart(text, texts, QFontMetrics(QApplication::font()), 120);
      EXPECT_TRUE(cut.last().contains("…")) << text.toStdString();
    }
    EXPECT_EQ(cut.removeDuplicates(), 0) << texts.first().toStdString();
  }
  EXPECT_EQ(elidedApart("short", {}, QFontMetrics(QApplication::font()), 120), "short");
}

}  // namespace
}  // namespace ferrin::qt

int main(int count, char** arguments) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(count, arguments);
  QApplication::setDoubleClickInterval(40);
  ferrin::qt::setUpLook(application);
  ferrin::qt::setColouring(application, {});
  testing::InitGoogleTest(&count, arguments);
  return RUN_ALL_TESTS();
}
