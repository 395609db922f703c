#include "app/qt/window/WrappingRow.h"

#include <QEvent>

namespace ferrin::qt {

WrappingRow::WrappingRow(QLayout* first, QLayout* second, int widthToFill)
    : groups(new QBoxLayout(QBoxLayout::LeftToRight, this)), room(widthToFill) {
  groups->setContentsMargins(0, 0, 0, 0);
  groups->setSpacing(8);
  groups->addLayout(first, 1);
  groups->addLayout(second);
}

bool WrappingRow::event(QEvent* event) {
  // Before it is shown, changes of the layout are not requested.
  if (event->type() == QEvent::LayoutRequest || event->type() == QEvent::Show) wrapWhereNeeded();
  return QWidget::event(event);
}

void WrappingRow::wrapWhereNeeded() {
  const int needed =
      groups->itemAt(0)->minimumSize().width() + groups->spacing() + groups->itemAt(1)->minimumSize().width();
  const auto direction = needed > room ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight;
  if (direction != groups->direction()) groups->setDirection(direction);
}

}  // namespace ferrin::qt
