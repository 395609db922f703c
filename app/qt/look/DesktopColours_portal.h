#pragma once
// The preference as free desktops tell it: a setting of the desktop portal.

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QObject>
#include <QVariant>
#include <optional>

#include "app/qt/look/DesktopColours.h"

namespace ferrin::qt {

/// Where there is no portal, or none that answers in time, the palette that the toolkit starts with decides.
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
