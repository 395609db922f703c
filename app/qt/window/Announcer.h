#pragma once
// Tells screen readers what has happened away from the focus.

#include <QWidget>

namespace ferrin::qt {

/// Takes no room and draws nothing.
class Announcer : public QWidget {
  Q_OBJECT

 public:
  static constexpr int maxSpoken = 1000;

  explicit Announcer(QWidget* window);

  /// Has `text` spoken, shortened to what somebody listens to.
  void announce(const QString& text);
};

}  // namespace ferrin::qt
