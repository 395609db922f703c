// Screen readers of free desktops speak a notification when it begins to show.

#include <QAccessible>
#include <QAccessibleWidget>

#include "app/qt/window/Announcer.h"

namespace ferrin::qt {
namespace {

QAccessibleInterface* asNotification(const QString& type, QObject* object) {
  auto* announcer = type == "ferrin::qt::Announcer" ? qobject_cast<Announcer*>(object) : nullptr;
  return announcer ? new QAccessibleWidget(announcer, QAccessible::Notification) : nullptr;
}

}  // namespace

Announcer::Announcer(QWidget* window) : QWidget(window) {
  QAccessible::installFactory(asNotification);
  setFixedSize(1, 1);
  setAttribute(Qt::WA_TransparentForMouseEvents);
  hide();
}

void Announcer::announce(const QString& text) {
  if (text.isEmpty()) return;
  hide();
  setAccessibleName(text.left(maxSpoken));
  show();
}

}  // namespace ferrin::qt
