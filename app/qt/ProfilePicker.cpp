#include "app/qt/ProfilePicker.h"

#include <QSignalBlocker>
#include <QStyleOptionComboBox>
#include <QStylePainter>

namespace ferrin::qt {

ProfilePicker::ProfilePicker(QWidget* parent) : QComboBox(parent) {
  setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
  setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
}

void ProfilePicker::show(const std::vector<app::PickerEntry>& entries, const std::string& selectedID) {
  const QSignalBlocker silently(this);
  if (entries != shown) replaceEntries(entries);
  setCurrentIndex(findData(QString::fromStdString(selectedID)));
  setToolTip(currentData(Qt::ToolTipRole).toString());
}

void ProfilePicker::replaceEntries(const std::vector<app::PickerEntry>& entries) {
  shown = entries;
  clear();
  for (const auto& entry : entries) {
    const QString name = QString::fromStdString(entry.name);
    addItem(name, QString::fromStdString(entry.id));
    setItemData(count() - 1, "<p>" + name.toHtmlEscaped() + "</p>", Qt::ToolTipRole);
  }
}

std::string ProfilePicker::selectedID() const { return currentData().toString().toStdString(); }

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
