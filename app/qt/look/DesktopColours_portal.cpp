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
constexpr auto answerTimeout = 200ms;

/// The answer is a variant in one or two more variants, depending on the version of the portal.
QVariant unpacked(QVariant value) {
  while (value.canConvert<QDBusVariant>()) value = value.value<QDBusVariant>().variant();
  return value;
}

}  // namespace

PortalColours::PortalColours(std::function<void(ColourScheme)> whenChanged)
    : changed(std::move(whenChanged)),
      withoutPortal(isDark(QGuiApplication::palette()) ? ColourScheme::dark : ColourScheme::light) {
  QDBusConnection::sessionBus().connect(service, path, settings, "SettingChanged", this,
                                        SLOT(settingChanged(QDBusMessage)));
  ask();
}

void PortalColours::ask() {
  auto message = QDBusMessage::createMethodCall(service, path, settings, "Read");
  message << appearance << colourScheme;
  question = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(message), this);
  connect(question, &QDBusPendingCallWatcher::finished, this, [this] {
    const QDBusPendingReply<QDBusVariant> reply = *question;
    if (reply.isValid()) take(QVariant::fromValue(reply.value()));
    std::exchange(question, nullptr)->deleteLater();
  });
}

ColourScheme PortalColours::scheme() {
  if (question && !question->isFinished()) {
    QEventLoop loop;
    connect(question, &QDBusPendingCallWatcher::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(answerTimeout, &loop, &QEventLoop::quit);
    loop.exec(QEventLoop::ExcludeUserInputEvents);
  }
  return known.value_or(withoutPortal);
}

void PortalColours::settingChanged(const QDBusMessage& signal) {
  const QVariantList setting = signal.arguments();
  if (setting.size() == 3 && setting[0] == appearance && setting[1] == colourScheme) take(setting[2]);
}

void PortalColours::take(const QVariant& value) {
  const ColourScheme before = known.value_or(withoutPortal);
  // 1 prefers dark, 2 light; 0 is no preference.
  const unsigned preference = unpacked(value).toUInt();
  known = preference == 1 ? ColourScheme::dark : ColourScheme::light;
  if (preference == 0) known = withoutPortal;
  if (*known != before) changed(*known);
}

std::unique_ptr<DesktopColours> followDesktopColours(std::function<void(ColourScheme)> changed) {
  return std::make_unique<PortalColours>(std::move(changed));
}

}  // namespace ferrin::qt
