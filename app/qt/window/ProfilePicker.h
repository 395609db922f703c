#pragma once
// The pop-up button that chooses among the saved profiles.

#include <QComboBox>
#include <string>
#include <vector>

#include "app/ContentRules.h"

namespace ferrin::qt {

/// As wide as there is room for, however long the names are: what doesn't fit ends in an ellipsis.
class ProfilePicker : public QComboBox {
 public:
  explicit ProfilePicker(QWidget* parent = nullptr);

  /// Shows these, with the one that has `selectedID` chosen. Emits nothing.
  void showEntries(const std::vector<app::PickerEntry>& entries, const std::string& selectedID);

  std::string selectedID() const;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  void replaceEntries(const std::vector<app::PickerEntry>& entries);

  std::vector<app::PickerEntry> shown;
};

}  // namespace ferrin::qt
