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

/// A rounded rectangle around one widget: filled, or outlined with a ring while the widget has the focus.
class Panel : public QWidget {
 public:
  enum class Kind { outlined, filled };

  /// Becomes the parent of `content`, with `padding` pixels on each side.
  Panel(Kind kind, QWidget* content, int padding);

 protected:
  void paintEvent(QPaintEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  const Kind kind;
  QWidget* const content;
};

}  // namespace ferrin::qt
