// The tray of free desktops. Qt chooses between its two kinds when the first QSystemTrayIcon is made, and
// never reconsiders: so none is made before a tray is present.

#include <QMenu>
#include <QSystemTrayIcon>
#include <QTimer>
#include <optional>
#include <utility>

#include "app/qt/look/Text.h"
#include "app/qt/tray/TrayHost.h"
#include "app/qt/tray/TrayItem.h"
#include "app/qt/tray/TraySymbol.h"
#include "app/qt/tray/X11Tray.h"

namespace ferrin::qt {
namespace {

using namespace std::chrono_literals;
using Kind = app::MenuItem::Kind;

/// For a tray of the newer kind to appear before the older kind is used, and for a panel to restart.
constexpr auto settlingTime = 4s;

void showAction(QAction& action, const app::MenuItem& item) {
  action.setText(fromUTF8(item.title));
  action.setSeparator(item.kind == Kind::separator);
  action.setEnabled(item.kind != Kind::text);
  action.setData(static_cast<int>(item.action));
}

class DesktopTrayItem : public TrayItem {
 public:
  DesktopTrayItem(Chosen whenChosen, std::function<void()> whenLost)
      : chosen(std::move(whenChosen)),
        lost(std::move(whenLost)),
        notifierHost([this] { trayChanged(); }),
        x11Tray([this] { trayChanged(); }) {
    QObject::connect(&menu, &QMenu::triggered, &menu, [this](const QAction* action) {
      chosen(static_cast<app::MenuAction>(action->data().toInt()));
    });
    settling.setSingleShot(true);
    QObject::connect(&settling, &QTimer::timeout, &menu, [this] { traysHaveSettled(); });
    settling.start(settlingTime);
  }

  void show(std::string_view symbol, std::string_view toolTip,
            const std::vector<app::MenuItem>& items) override {
    shownSymbol = symbol;
    shownToolTip = toolTip;
    showItems(items);
    if (!icon) return;
    icon->setIcon(trayIcon(symbol));
    icon->setToolTip(fromUTF8(toolTip));
  }

  bool isPresent() override {
    if (x11Tray.isPresent()) appear();
    return icon && (isNotifierItem ? notifierHost.isPresent() : x11Tray.isPresent());
  }

 private:
  /// Changes the actions in place: a menu that is open shows it.
  void showItems(const std::vector<app::MenuItem>& items) {
    while (menu.actions().size() < static_cast<qsizetype>(items.size())) menu.addAction(QString());
    for (std::size_t place = 0; place < items.size(); ++place) {
      showAction(*menu.actions().at(static_cast<qsizetype>(place)), items[place]);
    }
  }

  void trayChanged() {
    if (notifierHost.isPresent()) appear();
    settling.start(settlingTime);
  }

  void traysHaveSettled() {
    if (!isPresent() && icon) lost();
  }

  void appear() {
    if (icon) return;  // Qt itself shows it again in a tray that restarts
    isNotifierItem = notifierHost.isPresent();
    icon.emplace(trayIcon(shownSymbol));
    icon->setToolTip(fromUTF8(shownToolTip));
    icon->setContextMenu(&menu);
    QObject::connect(&*icon, &QSystemTrayIcon::activated, &menu, [this](auto reason) {
      if (reason == QSystemTrayIcon::Trigger) chosen(app::MenuAction::openWindow);
    });
    icon->show();
  }

  const Chosen chosen;
  const std::function<void()> lost;
  std::string_view shownSymbol = app::menuBarSymbol(false);
  std::string_view shownToolTip = app::menuBarToolTip(false);
  QMenu menu;
  QTimer settling;
  std::optional<QSystemTrayIcon> icon;
  bool isNotifierItem = false;
  TrayHost notifierHost;
  X11Tray x11Tray;
};

}  // namespace

std::unique_ptr<TrayItem> makeTrayItem(TrayItem::Chosen chosen, std::function<void()> lost) {
  return std::make_unique<DesktopTrayItem>(std::move(chosen), std::move(lost));
}

}  // namespace ferrin::qt
