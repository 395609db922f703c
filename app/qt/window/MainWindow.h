#pragma once
// The main window: shows a ContentView.

#include <QWidget>
#include <functional>
#include <optional>

#include "app/ContentView.h"
#include "app/qt/window/Announcer.h"
#include "app/qt/window/MainWindowControls.h"
#include "core/Observers.h"

namespace ferrin::qt {

/// Renders the fields of the view after each change, and passes the user's input on to its fields and
/// actions. Decides nothing by itself. Its size follows its content. `view` outlives it.
class MainWindow : public QWidget {
 public:
  /// Calls `closed` after the user has closed the window, which only hides it, and `quit` when the user asks
  /// for that by keyboard.
  MainWindow(app::ContentView& view, std::function<void()> closed, std::function<void()> quit);

  /// A window that comes back does so in its place; window managers would choose another.
  void setVisible(bool shown) override;

 protected:
  /// Adapts the size to the content after a change of the layout.
  bool event(QEvent* event) override;
  /// One press is one action: drops what a held Return or Space repeats.
  bool eventFilter(QObject* control, QEvent* event) override;
  /// Calls ContentView::appear, unless the window system only restores the window.
  void showEvent(QShowEvent* event) override;
  void closeEvent(QCloseEvent* event) override;

 private:
  // Each connects some controls to the fields and actions of the view.
  void bindProfile();
  void bindSettings();
  void bindProviderTest();
  void bindRelay();
  void bindKeys(const QList<QKeySequence>& keys, QWidget* scope, std::function<void()> action);
  void applyOnReturn(QLineEdit* field);
  void chooseProfile();
  void pressRelayButton();

  // Each writes fields of the view to controls, and leaves equal ones alone.
  void render();
  void renderForm();
  void renderProviderTest();
  void renderRelay();
  void announceStatus();
  void fitToContent();
  QRect roomOnScreen() const;
  QWidget* firstControl() const;

  app::ContentView& view;
  const std::function<void()> closed;
  const MainWindowControls controls;
  Announcer* const announcer;
  std::string shownResponse;
  std::string announcedStatus;
  std::optional<QRect> place;
  quint64 released = 0;
  int openedHeight = QWIDGETSIZE_MAX;
  core::Subscription subscription;
};

}  // namespace ferrin::qt
