#include "app/qt/window/FormArea.h"

#include <QEvent>
#include <QLayout>
#include <utility>

namespace ferrin::qt {
namespace {

constexpr int revealMargin = 18;

}  // namespace

FormArea::FormArea(QWidget* form) {
  setFrameShape(QFrame::NoFrame);
  setFocusPolicy(Qt::NoFocus);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setWidgetResizable(true);
  setWidget(form);
}

QSize FormArea::sizeHint() const { return widget()->sizeHint(); }

bool FormArea::eventFilter(QObject* watched, QEvent* event) {
  const bool handled = QScrollArea::eventFilter(watched, event);
  if (watched != widget()) return handled;
  if (event->type() == QEvent::LayoutRequest) updateGeometry();
  if (event->type() == QEvent::Resize && revealed) {
    widget()->layout()->activate();
    ensureWidgetVisible(std::exchange(revealed, nullptr), 0, revealMargin);
  }
  return handled;
}

}  // namespace ferrin::qt
