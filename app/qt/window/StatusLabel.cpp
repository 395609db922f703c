#include "app/qt/window/StatusLabel.h"

#include <QPainter>
#include <QTextLayout>

#include "app/qt/look/Shades.h"
#include "app/qt/look/Text.h"

namespace ferrin::qt {
namespace {

constexpr int maxLines = 2;

}  // namespace

StatusLabel::StatusLabel(QWidget* parent) : QLabel(parent) {
  setTextFormat(Qt::PlainText);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void StatusLabel::showStatus(const QString& text, app::StatusColour newColour) {
  if (text == this->text() && newColour == colour) return;
  colour = newColour;
  setText(text);
  updateToolTip();
  update();
}

StatusLabel::Fitted StatusLabel::fitted() const {
  const QString whole = text().trimmed().replace('\n', QChar::LineSeparator);
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

QSize StatusLabel::sizeHint() const { return {0, maxLines * fontMetrics().lineSpacing()}; }

QSize StatusLabel::minimumSizeHint() const { return sizeHint(); }

void StatusLabel::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setPen(colour == app::StatusColour::red ? redText(palette()) : secondaryText(palette()));
  painter.drawText(rect(), static_cast<int>(Qt::AlignLeft | Qt::AlignVCenter), fitted().lines.join('\n'));
}

void StatusLabel::resizeEvent(QResizeEvent* event) {
  QLabel::resizeEvent(event);
  updateToolTip();
}

void StatusLabel::updateToolTip() { setToolTip(fitted().isCut ? wrappedToolTip(text()) : QString()); }

}  // namespace ferrin::qt
