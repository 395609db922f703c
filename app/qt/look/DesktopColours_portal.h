#pragma once
// The preferences on free desktops: settings of the desktop portal (org.freedesktop.portal.Settings).

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QObject>
#include <QVariant>

#include "app/qt/look/DesktopColours.h"

namespace ferrin::qt {

/// Without a portal, or without an answer in time, Qt's first palette decides.
/// A change of the setting, or a late answer, is passed on when it changes the preference.
class PortalColours : public QObject, public DesktopColours {
  Q_OBJECT

 public:
  explicit PortalColours(std::function<void(Colouring)> changed);

  Colouring colouring() override;

 signals:
  void answered();

 private slots:
  void settingChanged(const QDBusMessage& signal);

 private:
  void ask(const QString& setting);
  void take(const QString& setting, const QVariant& value);

  const std::function<void(Colouring)> changed;
  const ColourScheme withoutPortal;
  Colouring known;
  int openQuestions = 0;
};

}  // namespace ferrin::qt
