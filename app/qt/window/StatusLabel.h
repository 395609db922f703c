#pragma once
// The status line of the window.

#include <QLabel>

#include "app/ContentRules.h"

namespace ferrin::qt {

/// Always two lines high. In a longer text long words are elided, then its end, and shown whole in a tooltip;
/// screen readers get the whole text, and so does whoever copies all of it.
class StatusLabel : public QLabel {
 public:
  explicit StatusLabel(QWidget* parent = nullptr);

  void showStatus(const QString& text, app::StatusColour colour);

  struct Fitted {
    QStringList lines;
    bool isCut;
  };
  /// The lines that are shown.
  Fitted fitted() const;

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void resizeEvent(QResizeEvent* event) override;
  void changeEvent(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void contextMenuEvent(QContextMenuEvent* event) override;

 private:
  Fitted laidOut(const QString& whole) const;
  QString elided(const QString& rest) const;
  void fit();
  void adoptColour();
  void copy() const;

  QString status;
  app::StatusColour colour = app::StatusColour::secondary;
};

}  // namespace ferrin::qt
