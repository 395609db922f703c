#include "app/qt/window/ProfilePicker.h"

#include <QSignalBlocker>
#include <QStyleOptionComboBox>
#include <QStylePainter>
#include <QWheelEvent>

#include "app/qt/look/Text.h"

namespace ferrin::qt {

ProfilePicker::ProfilePicker(QWidget* parent) : QComboBox(parent) {
  setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
  setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
}

void ProfilePicker::showEntries(const std::vector<app::PickerEntry>& entries, const std::string& selectedID) {
  const QSignalBlocker silently(this);
  if (entries != shown) replaceEntries(entries);
  setCurrentIndex(findData(fromUTF8(selectedID)));
  setToolTip(currentData(Qt::ToolTipRole).toString());
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

void ProfilePicker::paintEvent(QPaintEvent*) {
  QStylePainter painter(this);
  QStyleOptionComboBox option;
  initStyleOption(&option);
  painter.drawComplexControl(QStyle::CC_ComboBox, option);
  const int room =
      style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, this).width();
  option.currentText = fontMetrics().elidedText(option.currentText, Qt::ElideRight, room);
  painter.drawControl(QStyle::CE_ComboBoxLabel, option);
}

}  // namespace ferrin::qt
