#include "app/qt/look/Shapes.h"

#include <QEvent>
#include <QPainter>
#include <QVBoxLayout>

#include "app/qt/look/Shades.h"

namespace ferrin::qt {
namespace {

constexpr double cornerRadius = 6;

void strokeInside(QPainter& painter, const QRectF& area, const QColor& colour, double width) {
  painter.setPen(QPen(colour, width));
  const double half = width / 2;
  painter.drawRoundedRect(area.adjusted(half, half, -half, -half), cornerRadius - half, cornerRadius - half);
}

}  // namespace

Divider::Divider(QWidget* parent) : QWidget(parent) {
  setFixedHeight(1);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void Divider::paintEvent(QPaintEvent*) { QPainter(this).fillRect(rect(), quaternaryStroke(palette())); }

Panel::Panel(Kind whichKind, QWidget* whichContent, int padding) : kind(whichKind), content(whichContent) {
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(padding, padding, padding, padding);
  layout->addWidget(content);
  content->installEventFilter(this);
}

void Panel::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const bool isFilled = kind == Kind::filled;
  painter.setBrush(isFilled ? quaternaryFill(palette()) : palette().color(QPalette::Base));
  painter.setPen(Qt::NoPen);
  painter.drawRoundedRect(rect(), cornerRadius, cornerRadius);
  painter.setBrush(Qt::NoBrush);
  if (content->hasFocus()) {
    strokeInside(painter, rect(), focusRing(palette()), 2);
  } else if (!isFilled) {
    strokeInside(painter, rect(), quaternaryStroke(palette()), 1);
  }
}

bool Panel::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::FocusIn || event->type() == QEvent::FocusOut) update();
  return QWidget::eventFilter(watched, event);
}

}  // namespace ferrin::qt
