#pragma once
// A row of the window that becomes two when the system's font is large.

#include <QBoxLayout>
#include <QWidget>

namespace ferrin::qt {

/// Two groups of controls: side by side where their minimum widths fit into `room` pixels, else one below the
/// other. Side by side, `first` takes what `second` leaves.
class WrappingRow : public QWidget {
 public:
  WrappingRow(QLayout* first, QLayout* second, int room);

 protected:
  bool event(QEvent* event) override;

 private:
  void wrapWhereNeeded();

  QBoxLayout* const groups;
  const int room;
};

}  // namespace ferrin::qt
