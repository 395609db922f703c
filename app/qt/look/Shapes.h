#pragma once
// The few shapes that the window draws itself, in the colours of its palette.

#include <QWidget>

namespace ferrin::qt {

/// A horizontal line across the window.
class Divider : public QWidget {
 public:
  explicit Divider(QWidget* parent = nullptr);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

/// A rounded rectangle behind one widget: outlined, with a ring while that widget has the focus, or filled.
class Panel : public QWidget {
 public:
  enum class Kind { outlined, filled };

  /// Takes `content` over and keeps `padding` around it.
  Panel(Kind kind, QWidget* content, int padding);

 protected:
  void paintEvent(QPaintEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  const Kind kind;
  QWidget* const content;
};

}  // namespace ferrin::qt
