// The layout of the main window, and the settings of each control.

#include <QApplication>
#include <QEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>
#include <algorithm>
#include <limits>
#include <vector>

#include "app/qt/look/Text.h"
#include "app/qt/window/MainWindowControls.h"
#include "app/qt/window/SecretField.h"
#include "app/qt/window/WrappingRow.h"

namespace ferrin::qt {
namespace {

constexpr int promptHeight = 84;
constexpr int responseHeight = 120;
constexpr int profileNameWidth = 130;
constexpr int margin = 24;
constexpr int spacing = 18;
constexpr int contentWidth = mainWindowWidth - 2 * margin;

constexpr double headlineSize = 1;
constexpr double title2Size = 17.0 / 13;

/// A text whose size is relative to the system's font, which can change at any time.
class Heading : public QLabel {
 public:
  Heading(const QString& text, double relativeSize) : QLabel(text), size(relativeSize) { adoptSystemFont(); }

 protected:
  bool event(QEvent* event) override {
    const bool handled = QLabel::event(event);
    const auto type = event->type();
    if (type == QEvent::ApplicationFontChange || type == QEvent::StyleChange) adoptSystemFont();
    return handled;
  }

 private:
  void adoptSystemFont() {
    QFont font = QApplication::font(this);
    font.setPointSizeF(font.pointSizeF() * size);
    font.setWeight(QFont::DemiBold);
    setFont(font);
  }

  const double size;
};

/// A label that also names its field for screen readers.
QLabel* labelFor(QWidget* field, const QString& text) {
  auto* label = new QLabel(text);
  label->setTextFormat(Qt::PlainText);
  label->setBuddy(field);
  field->setAccessibleName(text);
  return label;
}

QHBoxLayout* row() {
  auto* layout = new QHBoxLayout;
  layout->setSpacing(8);
  return layout;
}

QWidget* profileRow(const MainWindowControls& controls) {
  controls.profileName->setPlaceholderText("Profile name");
  controls.profileName->setAccessibleName("Profile name");
  auto* saved = row();
  saved->addWidget(labelFor(controls.picker, "已保存配置"));
  saved->addWidget(controls.picker, 1);
  auto* edited = row();
  edited->addWidget(controls.profileName);
  edited->addWidget(controls.saveProfile);
  return new WrappingRow(saved, edited, contentWidth);
}

/// As wide as it must be beside the picker, or wider on a row of its own.
class NameField : public QLineEdit {
 public:
  QSize sizeHint() const override { return {profileNameWidth, QLineEdit::sizeHint().height()}; }
  QSize minimumSizeHint() const override { return sizeHint(); }
};

/// A check box whose text goes on in a second line where the font is large.
class WrappingCheckBox : public QCheckBox {
 public:
  explicit WrappingCheckBox(const QString& whole) : QCheckBox(whole) { setAccessibleName(whole); }

 protected:
  bool event(QEvent* event) override {
    const bool handled = QCheckBox::event(event);
    const auto type = event->type();
    if (type == QEvent::Polish || type == QEvent::FontChange || type == QEvent::StyleChange)
      wrapWhereNeeded();
    return handled;
  }

 private:
  void wrapWhereNeeded() {
    const QString whole = accessibleName();
    setText(whole);
    if (sizeHint().width() > contentWidth) setText(QString(whole).replace(whole.lastIndexOf(' '), 1, '\n'));
  }
};

void addRow(QGridLayout* grid, const app::FormRow& row, QLineEdit* input) {
  const int line = grid->rowCount();
  input->setPlaceholderText(fromUTF8(row.placeholder));
  input->setMaxLength(std::numeric_limits<int>::max());  // Qt silently cuts at 32767
  if (row.isSecret) keepSecret(input);
  grid->addWidget(labelFor(input, fromUTF8(row.label)), line, 0);
  grid->addWidget(input, line, 1);
}

QLayout* settingsGrid(const MainWindowControls& controls) {
  auto* grid = new QGridLayout;
  grid->setHorizontalSpacing(16);
  grid->setVerticalSpacing(14);
  for (std::size_t row = 0; row < controls.inputs.size(); ++row) {
    addRow(grid, app::formRows[row], controls.inputs[row]);
  }
  return grid;
}

void dressTextArea(QPlainTextEdit* area, const QString& name) {
  area->setFrameShape(QFrame::NoFrame);
  area->viewport()->setAutoFillBackground(false);
  area->setTabChangesFocus(true);
  area->setAccessibleName(name);
  area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  area->setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
}

QWidget* promptEditor(QPlainTextEdit* prompt) {
  dressTextArea(prompt, "Prompt");
  auto* panel = new Panel(Panel::Kind::outlined, prompt, 4);
  panel->setFixedHeight(promptHeight);
  return panel;
}

QLayout* sendRow(QPushButton* send) {
  auto* layout = row();
  layout->addStretch();
  layout->addWidget(send);
  return layout;
}

QWidget* responsePanel(const MainWindowControls& controls) {
  dressTextArea(controls.response, "Response");
  controls.response->setReadOnly(true);
  controls.response->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  controls.response->document()->setDocumentMargin(0);
  controls.response->setFixedHeight(responseHeight);
  controls.responsePanel->hide();
  return controls.responsePanel;
}

QWidget* statusRow(const MainWindowControls& controls) {
  controls.relay->setDefault(true);  // styles fill the default button with the accent colour
  auto* status = row();
  status->addWidget(controls.status);
  auto* action = row();
  action->addStretch();
  action->addWidget(controls.relay);
  return new WrappingRow(status, action, contentWidth);
}

QVBoxLayout* column(QWidget* widget, int top, int bottom) {
  auto* layout = new QVBoxLayout(widget);
  layout->setContentsMargins(margin, top, margin, bottom);
  layout->setSpacing(spacing);
  return layout;
}

QWidget* form(const MainWindowControls& controls) {
  auto* widget = new QWidget;
  auto* stack = column(widget, margin, spacing);
  stack->addWidget(new Heading("Ferrin Relay", title2Size));
  stack->addWidget(profileRow(controls));
  stack->addLayout(settingsGrid(controls));
  stack->addWidget(controls.restartChatGPT, 0, Qt::AlignLeft);
  stack->addWidget(new Divider);
  stack->addWidget(new Heading("Direct provider test", headlineSize));
  stack->addWidget(promptEditor(controls.prompt));
  stack->addLayout(sendRow(controls.send));
  stack->addWidget(responsePanel(controls));
  return widget;
}

/// What stays in sight while the form scrolls.
QWidget* lastRow(const MainWindowControls& controls) {
  auto* widget = new QWidget;
  widget->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
  auto* stack = column(widget, 0, margin);
  stack->addWidget(new Divider);
  stack->addWidget(statusRow(controls));
  return widget;
}

/// With nested layouts, the default order is the order of creation.
void setKeyboardOrder(const MainWindowControls& controls) {
  std::vector<QWidget*> order{controls.picker, controls.profileName, controls.saveProfile};
  order.insert(order.end(), controls.inputs.begin(), controls.inputs.end());
  for (QWidget* below :
       std::initializer_list<QWidget*>{controls.restartChatGPT, controls.prompt, controls.send,
                                       controls.response, controls.status, controls.relay}) {
    order.push_back(below);
  }
  for (std::size_t next = 1; next < order.size(); ++next) {
    order[next - 1]->setFocusPolicy(Qt::StrongFocus);
    QWidget::setTabOrder(order[next - 1], order[next]);
  }
}

}  // namespace

QLineEdit* makeProfileNameField() { return new NameField; }

QCheckBox* makeCheckBox(const QString& text) { return new WrappingCheckBox(text); }

std::vector<QWidget*> MainWindowControls::actingOnReturn() const {
  std::vector<QWidget*> result{profileName, saveProfile, send, relay};
  result.insert(result.end(), inputs.begin(), inputs.end());
  return result;
}

FormInputs makeFormInputs() {
  FormInputs inputs{};
  std::generate(inputs.begin(), inputs.end(), [] { return new QLineEdit; });
  return inputs;
}

MainWindowControls layOutMainWindow(QWidget& window) {
  MainWindowControls controls;
  controls.form = new FormArea(form(controls));
  auto* stack = new QVBoxLayout(&window);
  stack->setContentsMargins(0, 0, 0, 0);
  stack->setSpacing(0);
  stack->addWidget(controls.form, 1);
  stack->addWidget(lastRow(controls));
  setKeyboardOrder(controls);
  return controls;
}

}  // namespace ferrin::qt
