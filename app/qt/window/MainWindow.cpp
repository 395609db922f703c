#include "app/qt/window/MainWindow.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLayout>
#include <QScreen>
#include <QShortcut>
#include <QSignalBlocker>
#include <QStyle>
#include <algorithm>
#include <utility>

#include "app/ContentRules.h"
#include "app/MenuBarControls.h"
#include "app/qt/look/Text.h"

namespace ferrin::qt {
namespace {

/// Keeps an equal text, with its cursor and undo history.
void showText(QLineEdit* field, const std::string& text) {
  const QString wanted = fromUTF8(text);
  if (field->text() == wanted) return;
  const QSignalBlocker silently(field);  // the view has this text already
  field->setText(wanted);
  field->setCursorPosition(0);
}

/// Wayland neither tells where a window is nor moves it. It then has the room to grow that a centred one has.
bool isPlaceHidden() { return QGuiApplication::platformName().startsWith("wayland"); }

bool presses(const QObject* control, const QKeyEvent& key) {
  return isReturn(key.key()) || (key.key() == Qt::Key_Space && qobject_cast<const QPushButton*>(control));
}

}  // namespace

MainWindow::MainWindow(app::ContentView& contentView, std::function<void()> whenClosed,
                       std::function<void()> quit)
    : view(contentView),
      closed(std::move(whenClosed)),
      controls(layOutMainWindow(*this)),
      announcer(new Announcer(this)),
      announcedStatus(view.status) {
  setWindowTitle(fromUTF8(app::menuBarTitle));
  setWindowFlags(Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                 Qt::WindowMinimizeButtonHint | Qt::WindowCloseButtonHint);
  bindProfile();
  bindSettings();
  bindProviderTest();
  bindRelay();
  for (QWidget* control : controls.actingOnReturn()) control->installEventFilter(this);
  bindKeys(QKeySequence::keyBindings(QKeySequence::Close), this, [this] { close(); });
  bindKeys({Qt::CTRL | Qt::Key_Q}, this, std::move(quit));
  subscription = view.subscribe([this] { render(); });
  render();
}

void MainWindow::bindProfile() {
  connect(controls.picker, &QComboBox::currentIndexChanged, this, [this] { chooseProfile(); });
  connect(controls.profileName, &QLineEdit::textChanged, this,
          [this](const QString& text) { view.profileName = text.toStdString(); });
  connect(controls.profileName, &QLineEdit::returnPressed, this, [this] { view.saveProfile(); });
  connect(controls.saveProfile, &QPushButton::clicked, this, [this] { view.saveProfile(); });
}

/// A profile is announced by the status; "Current profile" changes nothing that could say so.
void MainWindow::chooseProfile() {
  const std::string before = view.status;
  view.selectedProfileID = controls.picker->selectedID();
  if (view.status.get() == before) announcer->announce(controls.picker->currentText());
}

void MainWindow::bindSettings() {
  for (std::size_t row = 0; row < controls.inputs.size(); ++row) {
    auto& field = view.*app::formRows[row].field;
    connect(controls.inputs[row], &QLineEdit::textChanged, this,
            [&field](const QString& text) { field = text.toStdString(); });
    applyOnReturn(controls.inputs[row]);
  }
  connect(controls.restartChatGPT, &QCheckBox::toggled, this,
          [this](bool isOn) { view.restartChatGPT = isOn; });
}

/// Return in an input applies the settings; it never stops the relay.
void MainWindow::applyOnReturn(QLineEdit* field) {
  connect(field, &QLineEdit::returnPressed, this, [this] {
    const auto [button, action] = app::relayButton(view.launcherState.isRunning(), view.isWorking);
    if (button.enabled && action == app::RelayAction::apply) view.apply();
  });
}

void MainWindow::bindProviderTest() {
  connect(controls.prompt, &QPlainTextEdit::textChanged, this,
          [this] { view.prompt = controls.prompt->text().toStdString(); });
  connect(controls.send, &QPushButton::clicked, this, [this] { view.sendToProvider(); });
  for (const auto key : {Qt::Key_Return, Qt::Key_Enter}) {
    bindKeys({Qt::CTRL | key}, controls.prompt, [this] { controls.send->click(); });
  }
}

/// Qt takes Control for Command on macOS.
void MainWindow::bindKeys(const QList<QKeySequence>& keys, QWidget* scope, std::function<void()> action) {
  auto* shortcut = new QShortcut(scope);
  shortcut->setKeys(keys);
  shortcut->setContext(scope->isWindow() ? Qt::WindowShortcut : Qt::WidgetShortcut);
  shortcut->setAutoRepeat(false);
  connect(shortcut, &QShortcut::activated, this, std::move(action));
}

void MainWindow::bindRelay() {
  connect(controls.relay, &QPushButton::clicked, this, [this] { pressRelayButton(); });
}

void MainWindow::pressRelayButton() {
  switch (app::relayButton(view.launcherState.isRunning(), view.isWorking).action) {
    case app::RelayAction::apply:
      return view.apply();
    case app::RelayAction::stop:
      return view.stop();
  }
}

void MainWindow::render() {
  renderForm();
  renderProviderTest();
  renderRelay();
}

void MainWindow::renderForm() {
  controls.picker->showEntries(app::pickerEntries(view.profiles), view.selectedProfileID);
  showText(controls.profileName, view.profileName);
  for (std::size_t row = 0; row < controls.inputs.size(); ++row) {
    showText(controls.inputs[row], view.*app::formRows[row].field);
  }
  controls.restartChatGPT->setChecked(view.restartChatGPT);
}

void MainWindow::renderProviderTest() {
  controls.send->showButton(app::sendButton(view.isSending, view.prompt.get()));
  if (shownResponse == view.response.get()) return;
  std::string(view.response.get()).swap(shownResponse);  // an assignment keeps the memory of a longer text
  controls.response->showText(fromUTF8(shownResponse));
  const bool isShown = app::showsResponse(shownResponse);
  // Not while something else is being edited.
  if (isShown && (controls.prompt->hasFocus() || controls.send->hasFocus()))
    controls.form->reveal(controls.responsePanel);
  controls.responsePanel->setVisible(isShown);
  announcer->announce(fromUTF8(shownResponse.substr(0, 4 * std::size_t{Announcer::maxSpoken})));
}

void MainWindow::announceStatus() {
  if (std::exchange(announcedStatus, view.status.get()) == view.status.get()) return;
  announcer->announce(fromUTF8(announcedStatus));
}

void MainWindow::renderRelay() {
  announceStatus();
  controls.status->showStatus(fromUTF8(view.status.get()), app::statusColour(view.status.get()));
  controls.relay->showButton(app::relayButton(view.launcherState.isRunning(), view.isWorking).button);
}

bool MainWindow::event(QEvent* event) {
  const bool handled = QWidget::event(event);
  // The frame is known once the window is active.
  if (event->type() == QEvent::LayoutRequest || event->type() == QEvent::WindowActivate) fitToContent();
  return handled;
}

/// X11 repeats a held key as a release and a press of the same time; Qt takes the two for a new press when it
/// reads one without the other.
bool MainWindow::eventFilter(QObject* control, QEvent* event) {
  if (event->type() != QEvent::KeyPress && event->type() != QEvent::KeyRelease) return false;
  const auto& key = *static_cast<QKeyEvent*>(event);
  if (!presses(control, key)) return false;
  if (event->type() == QEvent::KeyRelease) return released = key.timestamp(), false;
  return key.isAutoRepeat() || (key.timestamp() != 0 && key.timestamp() == released);
}

QWidget* MainWindow::firstControl() const {
  return app::startsInForm(view.upstreamURL.get()) ? static_cast<QWidget*>(controls.inputs.front())
                                                   : controls.prompt;
}

/// A layout with a size constraint would override the fixed width.
void MainWindow::fitToContent() {
  layout()->activate();
  const QRect room = roomOnScreen();
  const int wanted = std::min(layout()->totalSizeHint().height(), room.height());
  const bool grows = wanted > height();
  setFixedSize(mainWindowWidth, wanted);
  if (isVisible() && grows && geometry().bottom() > room.bottom())
    move(pos() - QPoint(0, geometry().bottom() - room.bottom()));
}

/// What the window can fill inside its frame.
QRect MainWindow::roomOnScreen() const {
  const QRect frame = frameGeometry();
  const int title = std::max(geometry().top() - frame.top(), style()->pixelMetric(QStyle::PM_TitleBarHeight));
  QRect room = screen()->availableGeometry().adjusted(0, title, 0, geometry().bottom() - frame.bottom());
  if (isPlaceHidden()) room.setHeight(std::min(room.height(), (room.height() + openedHeight) / 2));
  return room;
}

void MainWindow::setVisible(bool shown) {
  if (!shown && isVisible())
    place = geometry();  // without the frame, which window managers count differently
  if (shown && !isVisible() && place && QGuiApplication::screenAt(place->center())) setGeometry(*place);
  QWidget::setVisible(shown);
}

void MainWindow::showEvent(QShowEvent* event) {
  // A spontaneous event comes from the window system, after a minimised window is restored: no new
  // appearance.
  if (!event->spontaneous()) {
    view.appear();
    openedHeight = QWIDGETSIZE_MAX;
    fitToContent();
    openedHeight = height();
    if (!focusWidget()) firstControl()->setFocus(Qt::OtherFocusReason);
  }
  QWidget::showEvent(event);
}

void MainWindow::closeEvent(QCloseEvent* event) {
  event->accept();
  closed();
}

}  // namespace ferrin::qt
