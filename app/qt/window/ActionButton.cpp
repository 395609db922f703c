#include "app/qt/window/ActionButton.h"

#include <QApplication>
#include <QKeyEvent>
#include <QTimerEvent>

#include "app/qt/look/Text.h"

namespace ferrin::qt {
namespace {

/// The key that is pressed, or 0.
int pressedKey(const QEvent& event) {
  return event.type() == QEvent::KeyPress ? static_cast<const QKeyEvent&>(event).key() : 0;
}

bool isPress(const QEvent& event) {
  const int key = pressedKey(event);
  return event.type() == QEvent::MouseButtonPress || (key && key != Qt::Key_Tab && key != Qt::Key_Backtab);
}

}  // namespace

bool isReturn(int key) { return key == Qt::Key_Return || key == Qt::Key_Enter; }

void ActionButton::showButton(const app::Button& wanted) {
  const QString label = fromUTF8(wanted.label);
  if (label != text() && !text().isEmpty()) ignorePresses();
  if (label != text()) setText(label);
  setEnabled(wanted.enabled);
}

/// For as long as a second press belongs to the first. An action can block the thread for a second, and what
/// was pressed meanwhile comes when that is over: so the time begins with the next turn of the event loop.
void ActionButton::ignorePresses() {
  ignoresPresses = true;
  untilRead.stop();
  QMetaObject::invokeMethod(
      this, [this] { untilRead.start(QApplication::doubleClickInterval(), this); }, Qt::QueuedConnection);
}

void ActionButton::timerEvent(QTimerEvent* event) {
  if (event->timerId() != untilRead.timerId()) return QPushButton::timerEvent(event);
  untilRead.stop();
  ignoresPresses = false;
}

bool ActionButton::event(QEvent* event) {
  if (ignoresPresses && isPress(*event)) return true;
  const bool isSecondClick = event->type() == QEvent::MouseButtonDblClick;
  if (!isEnabled() || (!isSecondClick && !isReturn(pressedKey(*event)))) return QPushButton::event(event);
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
