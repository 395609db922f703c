#include "app/qt/window/StatusLabel.h"

#include <QClipboard>
#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QRegularExpression>
#include <QTextLayout>
#include <QtMath>

#include "app/qt/look/Shades.h"
#include "app/qt/look/Text.h"

namespace ferrin::qt {
namespace {

constexpr int maxLines = 2;
/// More than two lines hold; laying out a text of any length would take any time.
constexpr qsizetype maxLaidOut = 1000;

/// Chinese letters come from another font, whose lines are higher.
int lineHeight(const QFont& font) {
  QTextLayout sample(QString::fromUtf8("Åg默认"), font);
  sample.beginLayout();
  const QTextLine line = sample.createLine();
  sample.endLayout();
  return qCeil(line.height());
}

/// What follows the name of a file, say, is worth more than all of the name.
QString withShortWords(QString text) {
  static const QRegularExpression longWord(R"((\S{12})\S{6,}(\S{7}))");
  return text.replace(longWord, "\\1…\\2");
}

}  // namespace

StatusLabel::StatusLabel(QWidget* parent) : QLabel(parent) {
  setTextFormat(Qt::PlainText);
  setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  setFocusPolicy(Qt::StrongFocus);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void StatusLabel::showStatus(const QString& text, app::StatusColour newColour) {
  if (text == status && newColour == colour) return;
  status = text;
  colour = newColour;
  adoptColour();
  fit();
}

StatusLabel::Fitted StatusLabel::fitted() const {
  const QString text = status.left(maxLaidOut).trimmed().replace('\n', QChar::LineSeparator);
  const Fitted whole = laidOut(text);
  return whole.isCut ? Fitted{laidOut(withShortWords(text)).lines, true} : whole;
}

StatusLabel::Fitted StatusLabel::laidOut(const QString& whole) const {
  QTextLayout layout(whole, font());
  QTextOption option;
  option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  layout.setTextOption(option);
  Fitted result{{}, false};
  layout.beginLayout();
  while (result.lines.size() < maxLines) {
    QTextLine line = layout.createLine();
    if (!line.isValid()) break;
    line.setLineWidth(width());
    result.lines << whole.mid(line.textStart(), line.textLength());
    result.isCut = line.textStart() + line.textLength() < whole.size();
    if (result.isCut && result.lines.size() == maxLines)
      result.lines.last() = elided(whole.mid(line.textStart()));
  }
  layout.endLayout();
  return result;
}

QString StatusLabel::elided(const QString& rest) const {
  // The added ellipsis shows that more lines follow, also where this one fits.
  return fontMetrics().elidedText(rest.section(QChar::LineSeparator, 0, 0) + "…", Qt::ElideRight, width());
}

QSize StatusLabel::sizeHint() const { return minimumSizeHint(); }

/// Wide enough for a few words beside the button.
QSize StatusLabel::minimumSizeHint() const {
  return {fontMetrics().horizontalAdvance(QString(22, 'x')), maxLines * lineHeight(font())};
}

void StatusLabel::resizeEvent(QResizeEvent* event) {
  QLabel::resizeEvent(event);
  fit();
}

void StatusLabel::changeEvent(QEvent* event) {
  QLabel::changeEvent(event);
  if (event->type() == QEvent::FontChange) fit();
  if (event->type() == QEvent::PaletteChange) adoptColour();
}

void StatusLabel::fit() {
  const Fitted shown = fitted();
  QString lines = shown.lines.join('\n');
  if (lines != text()) setText(lines.remove(QChar::LineSeparator));
  setAccessibleName(status);
  setAccessibleDescription(" ");  // the tool tip is rich text
  setToolTip(shown.isCut ? wrappedToolTip(status) : QString());
}

/// From the application's palette: the parent's may change later, as widgets get a new one in any order.
void StatusLabel::adoptColour() {
  const QPalette around = QGuiApplication::palette();
  const QColor wanted = colour == app::StatusColour::red ? redText(around) : secondaryText(around);
  QPalette own = palette();
  if (own.color(QPalette::WindowText) == wanted) return;
  own.setColor(QPalette::WindowText, wanted);
  setPalette(own);
}

void StatusLabel::paintEvent(QPaintEvent* event) {
  QLabel::paintEvent(event);
  QPainter painter(this);
  if (hasFocus()) painter.fillRect(0, height() - 2, width(), 2, focusRing(palette()));
}

void StatusLabel::keyPressEvent(QKeyEvent* event) {
  if (event->matches(QKeySequence::Copy)) return copy();
  QLabel::keyPressEvent(event);
}

void StatusLabel::contextMenuEvent(QContextMenuEvent* event) {
  QMenu menu(this);
  menu.addAction("Copy", this, [this] { copy(); });
  menu.exec(event->globalPos());
}

/// The selected part of what is shown; else the whole status.
void StatusLabel::copy() const {
  const bool isPart = hasSelectedText() && selectedText().size() < text().size();
  QGuiApplication::clipboard()->setText(isPart ? selectedText() : status);
}

}  // namespace ferrin::qt
