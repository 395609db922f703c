#include "app/qt/look/DesktopColours_portal.h"

#include <QDBusConnection>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QEventLoop>
#include <QGuiApplication>
#include <QTimer>
#include <utility>

#include "app/qt/look/Shades.h"

namespace ferrin::qt {
namespace {

using namespace std::chrono_literals;

constexpr const char* service = "org.freedesktop.portal.Desktop";
constexpr const char* path = "/org/freedesktop/portal/desktop";
constexpr const char* settings = "org.freedesktop.portal.Settings";
const QString appearance = "org.freedesktop.appearance";
const QString colourScheme = "color-scheme";
const QString contrastPreference = "contrast";
constexpr auto answerTimeout = 200ms;

/// The answer is a variant in one or two more variants, depending on the version of the portal.
QVariant unpacked(QVariant value) {
  while (value.canConvert<QDBusVariant>()) value = value.value<QDBusVariant>().variant();
  return value;
}

}  // namespace

PortalColours::PortalColours(std::function<void(Colouring)> whenChanged)
    : changed(std::move(whenChanged)),
      withoutPortal(isDark(QGuiApplication::palette()) ? ColourScheme::dark : ColourScheme::light),
      known{.scheme = withoutPortal} {
  QDBusConnection::sessionBus().connect(service, path, settings, "SettingChanged", this,
                                        SLOT(settingChanged(QDBusMessage)));
  for (const QString& setting : {colourScheme, contrastPreference}) ask(setting);
}

void PortalColours::ask(const QString& setting) {
  auto message = QDBusMessage::createMethodCall(service, path, settings, "Read");
  message << appearance << setting;
  ++openQuestions;
  auto* question = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(message), this);
  connect(question, &QDBusPendingCallWatcher::finished, this, [this, question, setting] {
    const QDBusPendingReply<QDBusVariant> reply = *question;
    if (reply.isValid()) take(setting, QVariant::fromValue(reply.value()));
    question->deleteLater();
    if (--openQuestions == 0) emit answered();
  });
}

Colouring PortalColours::colouring() {
  if (openQuestions > 0) {
    QEventLoop loop;
    connect(this, &PortalColours::answered, &loop, &QEventLoop::quit);
    QTimer::singleShot(answerTimeout, &loop, &QEventLoop::quit);
    loop.exec(QEventLoop::ExcludeUserInputEvents);
  }
  return known;
}

void PortalColours::settingChanged(const QDBusMessage& signal) {
  const QVariantList setting = signal.arguments();
  if (setting.size() == 3 && setting[0] == appearance) take(setting[1].toString(), setting[2]);
}

void PortalColours::take(const QString& setting, const QVariant& value) {
  const Colouring before = known;
  const unsigned preference = unpacked(value).toUInt();
  if (setting == contrastPreference) known.hasMoreContrast = preference == 1;
  // 1 prefers dark, 2 light; 0 is no preference.
  if (setting == colourScheme) {
    known.scheme = preference == 1 ? ColourScheme::dark : ColourScheme::light;
    if (preference == 0) known.scheme = withoutPortal;
  }
  if (known != before) changed(known);
}

std::unique_ptr<DesktopColours> followDesktopColours(std::function<void(Colouring)> changed) {
  return std::make_unique<PortalColours>(std::move(changed));
}

}  // namespace ferrin::qt
