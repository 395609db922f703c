#include "app/qt/window/ActionButton.h"

#include <QKeyEvent>

#include "app/qt/look/Text.h"

namespace ferrin::qt {

bool isReturn(const QEvent& event) {
  if (event.type() != QEvent::KeyPress) return false;
  const int key = static_cast<const QKeyEvent&>(event).key();
  return key == Qt::Key_Return || key == Qt::Key_Enter;
}

void ActionButton::showButton(const app::Button& wanted) {
  if (text() != fromUTF8(wanted.label)) setText(fromUTF8(wanted.label));
  setEnabled(wanted.enabled);
}

bool ActionButton::event(QEvent* event) {
  const bool isSecondClick = event->type() == QEvent::MouseButtonDblClick;
  if (!isEnabled() || (!isSecondClick && !isReturn(*event))) return QPushButton::event(event);
  if (!isSecondClick) click();
  return true;
}

/// Qt asks for the next control when this one is disabled with the focus.
bool ActionButton::focusNextPrevChild(bool next) {
  return !isEnabled() || QPushButton::focusNextPrevChild(next);
}

/// A window that was left meanwhile can't give the focus back to a disabled button.
void ActionButton::changeEvent(QEvent* event) {
  QPushButton::changeEvent(event);
  const bool isEnabledAgain = event->type() == QEvent::EnabledChange && isEnabled();
  if (isEnabledAgain && window()->focusWidget() == this) setFocus(Qt::OtherFocusReason);
}

}  // namespace ferrin::qt
