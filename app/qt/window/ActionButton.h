#pragma once
// A push button that acts once for each press.

#include <QBasicTimer>
#include <QPushButton>

#include "app/ContentRules.h"

namespace ferrin::qt {

/// On either part of the keyboard.
bool isReturn(int key);

/// Return presses it as Space does; the second click of a double click does nothing, nor does a press that
/// was made before its new label could be read. While it is disabled it keeps the focus, and keys do nothing:
/// the next control must not get a key that was meant for this one.
class ActionButton : public QPushButton {
 public:
  using QPushButton::QPushButton;

  void showButton(const app::Button& wanted);

 protected:
  bool event(QEvent* event) override;
  bool focusNextPrevChild(bool next) override;
  void changeEvent(QEvent* event) override;
  void timerEvent(QTimerEvent* event) override;

 private:
  void ignorePresses();

  bool ignoresPresses = false;
  QBasicTimer untilRead;
};

}  // namespace ferrin::qt
