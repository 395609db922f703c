#include "app/qt/window/ProfilePicker.h"

#include <QAbstractItemView>
#include <QScreen>
#include <QSignalBlocker>
#include <QStyleOptionComboBox>
#include <QStylePainter>
#include <QWheelEvent>
#include <algorithm>

#include "app/qt/look/Text.h"

namespace ferrin::qt {
namespace {

constexpr int textIndent = 2;
/// Frame and scroll bar of the list.
constexpr int listPadding = 32;

}  // namespace

ProfilePicker::ProfilePicker(QWidget* parent) : QComboBox(parent) {
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  view()->setTextElideMode(Qt::ElideMiddle);
}

void ProfilePicker::showEntries(const std::vector<app::PickerEntry>& entries, const std::string& selectedID) {
  const QSignalBlocker silently(this);
  if (entries != shown) replaceEntries(entries);
  setCurrentIndex(findData(fromUTF8(selectedID)));
  setToolTip(currentData(Qt::ToolTipRole).toString());
  setAccessibleDescription(currentText());  // the tool tip is rich text
}

void ProfilePicker::replaceEntries(const std::vector<app::PickerEntry>& entries) {
  shown = entries;
  clear();
  for (const auto& entry : entries) {
    const QString name = fromUTF8(entry.name);
    addItem(name, fromUTF8(entry.id));
    setItemData(count() - 1, wrappedToolTip(name), Qt::ToolTipRole);
  }
}

std::string ProfilePicker::selectedID() const { return currentData().toString().toStdString(); }

void ProfilePicker::wheelEvent(QWheelEvent* event) { event->ignore(); }

QSize ProfilePicker::minimumSizeHint() const {
  QStyleOptionComboBox option;
  initStyleOption(&option);
  const QSize text(fontMetrics().horizontalAdvance("xxxxxxxxxx"), fontMetrics().height());
  return style()->sizeFromContents(QStyle::CT_ComboBox, &option, text, this);
}

void ProfilePicker::showPopup() {
  const QRect available = screen()->availableGeometry();
  view()->setMinimumWidth(std::min(view()->sizeHintForColumn(0) + listPadding, available.width()));
  QComboBox::showPopup();
  QWidget& list = *view()->window();
  if (list.geometry().right() > available.right()) list.move(available.right() + 1 - list.width(), list.y());
}

/// The text stands on the same line as that of the fields beside it, in any font.
void ProfilePicker::paintEvent(QPaintEvent*) {
  QStylePainter painter(this);
  QStyleOptionComboBox option;
  initStyleOption(&option);
  painter.drawComplexControl(QStyle::CC_ComboBox, option);
  const QRect area =
      style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, this);
  const QFontMetrics metrics = fontMetrics();
  const int baseline = area.y() + (area.height() - metrics.height() + 1) / 2 + metrics.ascent();
  painter.setPen(option.palette.color(QPalette::ButtonText));
  painter.drawText(area.x() + textIndent, baseline, elided(area.width() - 2 * textIndent));
}

QString ProfilePicker::elided(int room) const {
  QStringList names;
  for (int entry = 0; entry < count(); ++entry) names << itemText(entry);
  return elidedApart(currentText(), names, fontMetrics(), room);
}

}  // namespace ferrin::qt
