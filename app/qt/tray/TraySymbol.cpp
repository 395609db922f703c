#include "app/qt/tray/TraySymbol.h"

#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

namespace ferrin::qt {
namespace {

QString themeName(std::string_view symbol) {
  return symbol.ends_with(".fill") ? "com.ferrin.Relay-running-symbolic"
                                   : "com.ferrin.Relay-stopped-symbolic";
}

/// Dark on a light disc.
QPixmap picture(const QString& name, int size) {
  QPixmap result(size, size);
  result.fill(Qt::transparent);
  QPainter painter(&result);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(QColor(0xfafafa));
  painter.drawEllipse(result.rect());
  const int edge = (size + 15) / 16;
  QSvgRenderer(":/icons/" + name + ".svg").render(&painter, result.rect().adjusted(edge, edge, -edge, -edge));
  return result;
}

QIcon drawn(const QString& name) {
  QIcon icon;
  for (const int size : {16, 22, 24, 32, 48}) icon.addPixmap(picture(name, size));
  return icon;
}

}  // namespace

QIcon trayIcon(std::string_view symbol) {
  const QString name = themeName(symbol);
  return QIcon::hasThemeIcon(name) ? QIcon::fromTheme(name) : drawn(name);
}

}  // namespace ferrin::qt
