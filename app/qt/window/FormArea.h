#pragma once
// The part of the window that scrolls where the screen is too small.

#include <QScrollArea>

namespace ferrin::qt {

/// As high as `form`, where there is room; scrolls vertically where there is not.
class FormArea : public QScrollArea {
  Q_OBJECT

 public:
  explicit FormArea(QWidget* form);

  /// Scrolls to `control`, which is about to be shown, once it has its place.
  void reveal(QWidget* control) { revealed = control; }

  QSize sizeHint() const override;

 protected:
  void showEvent(QShowEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  /// Passes changes of the form's layout on to the layout that this is in.
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void fitToForm();

  QWidget* revealed = nullptr;
};

}  // namespace ferrin::qt
