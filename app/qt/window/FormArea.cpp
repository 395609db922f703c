#include "app/qt/window/FormArea.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QEvent>
#include <QLayout>
#include <utility>

namespace ferrin::qt {
namespace {

constexpr int revealMargin = 18;

/// The toolkit's own interface of a scroll area crashes when it is asked for a child that has just gone: a
/// scroll bar, say, between the two requests of a screen reader that counts the children and asks for each.
QAccessibleInterface* asPlainWidget(const QString& type, QObject* object) {
  auto* area = type == "ferrin::qt::FormArea" ? qobject_cast<FormArea*>(object) : nullptr;
  return area ? new QAccessibleWidget(area, QAccessible::Pane) : nullptr;
}

}  // namespace

FormArea::FormArea(QWidget* form) {
  QAccessible::installFactory(asPlainWidget);
  setFrameShape(QFrame::NoFrame);
  setFocusPolicy(Qt::NoFocus);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setWidgetResizable(true);
  setWidget(form);
}

QSize FormArea::sizeHint() const { return widget()->sizeHint(); }

/// The style sheet's least heights would let a form that scrolls shrink first.
void FormArea::fitToForm() {
  widget()->setMinimumHeight(widget()->sizeHint().height());
  updateGeometry();
}

/// The form has its style by now, so the window can have its size before anything is drawn.
void FormArea::showEvent(QShowEvent* event) {
  fitToForm();
  QScrollArea::showEvent(event);
}

/// The scroll bar stands in the form's margin.
void FormArea::resizeEvent(QResizeEvent* event) {
  QScrollArea::resizeEvent(event);
  QMargins margins = widget()->layout()->contentsMargins();
  margins.setRight(margins.left() - (width() - viewport()->width()));
  widget()->layout()->setContentsMargins(margins);
}

bool FormArea::eventFilter(QObject* watched, QEvent* event) {
  const bool handled = QScrollArea::eventFilter(watched, event);
  if (watched != widget()) return handled;
  if (event->type() == QEvent::LayoutRequest) fitToForm();
  if (event->type() == QEvent::Resize && revealed) {
    widget()->layout()->activate();
    ensureWidgetVisible(std::exchange(revealed, nullptr), 0, revealMargin);
  }
  return handled;
}

}  // namespace ferrin::qt
