#pragma once
// The pop-up button with the saved profiles.

#include <QComboBox>
#include <string>
#include <vector>

#include "app/ContentRules.h"

namespace ferrin::qt {

/// As wide as its place in the layout, however long the names are: long ones are elided.
class ProfilePicker : public QComboBox {
 public:
  explicit ProfilePicker(QWidget* parent = nullptr);

  /// Shows these entries, with that of `selectedID` chosen. Emits no signal.
  void showEntries(const std::vector<app::PickerEntry>& entries, const std::string& selectedID);

  /// The id of the chosen entry.
  std::string selectedID() const;

 protected:
  /// The wheel scrolls what the picker is in.
  void wheelEvent(QWheelEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  void replaceEntries(const std::vector<app::PickerEntry>& entries);

  std::vector<app::PickerEntry> shown;
};

}  // namespace ferrin::qt
