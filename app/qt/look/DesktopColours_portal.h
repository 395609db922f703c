#pragma once
// The preference on free desktops: a setting of the desktop portal (org.freedesktop.portal.Settings).

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QObject>
#include <QVariant>
#include <optional>

#include "app/qt/look/DesktopColours.h"

namespace ferrin::qt {

/// Without a portal, or without an answer in time, Qt's first palette decides.
/// A change of the setting, or a late answer, is passed on when it changes the preference.
class PortalColours : public QObject, public DesktopColours {
  Q_OBJECT

 public:
  explicit PortalColours(std::function<void(ColourScheme)> changed);

  ColourScheme scheme() override;

 private slots:
  void settingChanged(const QDBusMessage& signal);

 private:
  void ask();
  void take(const QVariant& value);

  const std::function<void(ColourScheme)> changed;
  const ColourScheme withoutPortal;
  std::optional<ColourScheme> known;
  QDBusPendingCallWatcher* question = nullptr;
};

}  // namespace ferrin::qt
