// VoiceOver speaks announcements, which Qt passes on since 6.8.

#include <QAccessible>
#include <QAccessibleAnnouncementEvent>

#include "app/qt/window/Announcer.h"

namespace ferrin::qt {

Announcer::Announcer(QWidget* window) : QWidget(window) { hide(); }

void Announcer::announce(const QString& text) {
  if (text.isEmpty()) return;
  QAccessibleAnnouncementEvent event(window(), text.left(maxSpoken));
  QAccessible::updateAccessibility(&event);
}

}  // namespace ferrin::qt
