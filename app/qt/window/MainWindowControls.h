#pragma once
// The controls of the main window and their layout.

#include <QCheckBox>
#include <QLineEdit>
#include <array>
#include <iterator>
#include <vector>

#include "app/FormRows.h"
#include "app/qt/look/Shapes.h"
#include "app/qt/window/ActionButton.h"
#include "app/qt/window/FormArea.h"
#include "app/qt/window/ProfilePicker.h"
#include "app/qt/window/StatusLabel.h"
#include "app/qt/window/TextArea.h"

namespace ferrin::qt {

inline constexpr int mainWindowWidth = 520;

/// One for each of app::formRows, in their order.
using FormInputs = std::array<QLineEdit*, std::size(app::formRows)>;
FormInputs makeFormInputs();
QLineEdit* makeProfileNameField();
QCheckBox* makeCheckBox(const QString& text);

/// The controls of one window, which owns them, in keyboard order.
struct MainWindowControls {
  ProfilePicker* picker = new ProfilePicker;
  QLineEdit* profileName = makeProfileNameField();
  ActionButton* saveProfile = new ActionButton("Save profile");
  FormInputs inputs = makeFormInputs();
  QCheckBox* restartChatGPT = makeCheckBox("Restart ChatGPT after applying");
  TextArea* prompt = new TextArea;
  ActionButton* send = new ActionButton;
  TextArea* response = new TextArea;
  Panel* responsePanel = new Panel(Panel::Kind::filled, response, 8);
  StatusLabel* status = new StatusLabel;
  ActionButton* relay = new ActionButton;
  /// Holds all but the last two.
  FormArea* form = nullptr;

  /// Those that Return makes act.
  std::vector<QWidget*> actingOnReturn() const;
};

/// Makes the controls and lays them out in `window`, top to bottom, without any content.
MainWindowControls layOutMainWindow(QWidget& window);

}  // namespace ferrin::qt
