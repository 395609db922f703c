#pragma once
// The main window: a ContentView as people see it.

#include <QWidget>
#include <functional>

#include "app/ContentView.h"
#include "app/qt/window/MainWindowControls.h"
#include "core/Observers.h"

namespace ferrin::qt {

/// Shows what the view holds and hands on what people do; it decides nothing by itself. Always as large as
/// its content.
class MainWindow : public QWidget {
 public:
  /// `closed` is called when somebody has closed the window; it is only hidden then.
  MainWindow(app::ContentView& view, std::function<void()> closed);

 protected:
  bool event(QEvent* event) override;
  void showEvent(QShowEvent* event) override;
  void closeEvent(QCloseEvent* event) override;

 private:
  void bindProfile();
  void bindSettings();
  void bindProviderTest();
  void bindRelay();
  void applyOnReturn(QLineEdit* field);
  void pressRelayButton();

  void render();
  void renderForm();
  void renderProviderTest();
  void renderRelay();
  void fitToContent();

  app::ContentView& view;
  const std::function<void()> closed;
  const MainWindowControls controls;
  std::string shownResponse;
  core::Subscription subscription;
};

}  // namespace ferrin::qt
