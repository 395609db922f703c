#pragma once
// The pop-up button with the saved profiles.

#include <QComboBox>
#include <string>
#include <vector>

#include "app/ContentRules.h"

namespace ferrin::qt {

/// As wide as its place in the layout, however long the names are: long ones are elided, where they can still
/// be told apart. The open list is as wide as the longest.
class ProfilePicker : public QComboBox {
 public:
  explicit ProfilePicker(QWidget* parent = nullptr);

  /// Shows these entries, with that of `selectedID` chosen. Emits no signal.
  void showEntries(const std::vector<app::PickerEntry>& entries, const std::string& selectedID);

  /// The id of the chosen entry.
  std::string selectedID() const;

  QSize sizeHint() const override { return minimumSizeHint(); }
  QSize minimumSizeHint() const override;
  void showPopup() override;

 protected:
  /// The wheel scrolls what the picker is in.
  void wheelEvent(QWheelEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  QString elided(int room) const;
  void replaceEntries(const std::vector<app::PickerEntry>& entries);

  std::vector<app::PickerEntry> shown;
};

}  // namespace ferrin::qt
