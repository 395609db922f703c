#pragma once
// The status line of the window.

#include <QLabel>

#include "app/ContentRules.h"

namespace ferrin::qt {

/// Two lines high, whatever it says. What doesn't fit ends in an ellipsis, with the whole text as tooltip;
/// screen readers have the whole text too.
class StatusLabel : public QLabel {
 public:
  explicit StatusLabel(QWidget* parent = nullptr);

  void showStatus(const QString& text, app::StatusColour colour);

  struct Fitted {
    QStringList lines;
    bool isCut;
  };
  /// What is drawn.
  Fitted fitted() const;

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  QString elided(const QString& rest) const;
  void updateToolTip();

  app::StatusColour colour = app::StatusColour::secondary;
};

}  // namespace ferrin::qt
