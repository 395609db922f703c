#include "app/qt/TraySymbol.h"

#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

namespace ferrin::qt {
namespace {

QString themeName(std::string_view symbol) {
  return symbol.ends_with(".fill") ? "com.ferrin.Relay-running-symbolic"
                                   : "com.ferrin.Relay-stopped-symbolic";
}

QPixmap silhouette(const QString& name, const QSize& size, const QColor& colour) {
  QPixmap picture(size);
  picture.fill(Qt::transparent);
  QPainter painter(&picture);
  QSvgRenderer(":/icons/" + name + ".svg").render(&painter);
  painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
  painter.fillRect(picture.rect(), colour);
  return picture;
}

QPixmap edged(const QString& name, int size) {
  const int edge = (size + 15) / 16;
  const QSize inner(size - 2 * edge, size - 2 * edge);
  const QPixmap light = silhouette(name, inner, QColor(0xfafafa));
  QPixmap picture(size, size);
  picture.fill(Qt::transparent);
  QPainter painter(&picture);
  for (int x = 0; x <= 2 * edge; x += edge) {
    for (int y = 0; y <= 2 * edge; y += edge) painter.drawPixmap(x, y, light);
  }
  painter.drawPixmap(edge, edge, silhouette(name, inner, QColor(0x2e3436)));
  return picture;
}

QIcon drawn(const QString& name) {
  QIcon icon;
  for (const int size : {16, 22, 24, 32, 48}) icon.addPixmap(edged(name, size));
  return icon;
}

}  // namespace

QIcon trayIcon(std::string_view symbol) {
  const QString name = themeName(symbol);
  return QIcon::hasThemeIcon(name) ? QIcon::fromTheme(name) : drawn(name);
}

}  // namespace ferrin::qt
