// The tray of free desktops. The toolkit chooses between its two kinds when it is first asked for an item,
// and keeps to that: so it is not asked before one of them is there.

#include <QMenu>
#include <QSystemTrayIcon>
#include <QTimer>
#include <optional>
#include <utility>

#include "app/qt/Text.h"
#include "app/qt/TrayHost.h"
#include "app/qt/TrayItem.h"
#include "app/qt/TraySymbol.h"

namespace ferrin::qt {
namespace {

using namespace std::chrono_literals;
using Kind = app::MenuItem::Kind;

/// Time for the newer kind of tray to show up before the older one is taken.
constexpr auto patience = 4s;

void showAction(QAction& action, const app::MenuItem& item) {
  action.setText(fromUTF8(item.title));
  action.setSeparator(item.kind == Kind::separator);
  action.setEnabled(item.kind != Kind::text);
  action.setData(static_cast<int>(item.action));
}

class DesktopTrayItem : public TrayItem {
 public:
  explicit DesktopTrayItem(Chosen whenChosen) : chosen(std::move(whenChosen)), host([this] { appear(); }) {
    QObject::connect(&menu, &QMenu::triggered, &menu, [this](const QAction* action) {
      chosen(static_cast<app::MenuAction>(action->data().toInt()));
    });
    QTimer::singleShot(patience, &menu, [this] { appearInX11Tray(); });
  }

  void show(std::string_view symbol, const std::vector<app::MenuItem>& items) override {
    shownSymbol = symbol;
    showItems(items);
    if (icon) icon->setIcon(trayIcon(symbol));
  }

  bool isPresent() override {
    appearInX11Tray();
    return icon && QSystemTrayIcon::isSystemTrayAvailable();
  }

 private:
  /// Entries change in place, so that a menu which is open changes too.
  void showItems(const std::vector<app::MenuItem>& items) {
    while (menu.actions().size() < static_cast<qsizetype>(items.size())) menu.addAction(QString());
    for (std::size_t place = 0; place < items.size(); ++place) {
      showAction(*menu.actions().at(static_cast<qsizetype>(place)), items[place]);
    }
  }

  void appearInX11Tray() {
    if (!icon && hasX11Tray()) appear();
  }

  void appear() {
    if (icon) return;  // the toolkit itself returns to a tray that went and came back
    icon.emplace(trayIcon(shownSymbol));
    icon->setToolTip(fromUTF8(app::menuBarTitle));
    icon->setContextMenu(&menu);
    QObject::connect(&*icon, &QSystemTrayIcon::activated, &menu, [this](auto reason) {
      if (reason == QSystemTrayIcon::Trigger) chosen(app::MenuAction::openWindow);
    });
    icon->show();
  }

  const Chosen chosen;
  std::string_view shownSymbol = app::menuBarSymbol(false);
  QMenu menu;
  std::optional<QSystemTrayIcon> icon;
  TrayHost host;
};

}  // namespace

std::unique_ptr<TrayItem> makeTrayItem(TrayItem::Chosen chosen) {
  return std::make_unique<DesktopTrayItem>(std::move(chosen));
}

}  // namespace ferrin::qt
