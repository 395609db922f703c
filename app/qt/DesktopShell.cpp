#include "app/qt/DesktopShell.h"

#include <QApplication>
#include <QMessageBox>
#include <QScopedValueRollback>
#include <QTimer>
#include <chrono>
#include <utility>

#include "app/MenuBarControls.h"
#include "app/qt/Activation.h"
#include "app/qt/look/Text.h"

namespace ferrin::qt {
namespace {

constexpr std::chrono::milliseconds timeForWaitingKeys{50};

}  // namespace

DesktopShell::DesktopShell(std::function<bool()> tray) : hasTrayItem(std::move(tray)) {}

void DesktopShell::activate() { activateApplication(); }

void DesktopShell::openWindow(std::string_view identifier) {
  if (!window || identifier != app::mainWindow) return;
  // show() alone leaves a minimised window minimised.
  window->setWindowState(window->windowState() & ~Qt::WindowMinimized);
  window->show();
  window->raise();
  window->activateWindow();
}

/// What was pressed while an action blocked the thread, Control+Q for one, still belongs to a window that is
/// shown.
void DesktopShell::hide() {
  if (window) QTimer::singleShot(timeForWaitingKeys, window, [this] { hideNow(); });
}

void DesktopShell::hideNow() {
  if (!hasTrayItem()) return window->showMinimized();
  window->hide();
  hideApplication();
}

void DesktopShell::showAlert(const std::string& description) {
  const QScopedValueRollback shown(alertIsShown, true);
  QMessageBox alert(QMessageBox::Warning, fromUTF8(app::menuBarTitle), fromUTF8(description), QMessageBox::Ok,
                    window && window->isVisible() ? window : nullptr);
  alert.setTextFormat(Qt::PlainText);  // file names may look like markup
  alert.setIconPixmap(QApplication::windowIcon().pixmap(48));
  activateApplication();
  alert.exec();
}

void DesktopShell::terminate() { QCoreApplication::quit(); }

}  // namespace ferrin::qt
