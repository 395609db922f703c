// For systems without controls of their own: Qt's plainest style with our colours, shapes and style sheet.

#include <QEvent>
#include <QFile>
#include <QPalette>
#include <QProxyStyle>
#include <QStyleFactory>

#include "app/qt/look/Look.h"
#include "app/qt/look/Shades.h"

namespace ferrin::qt {
namespace {

class Style : public QProxyStyle {
 public:
  Style() : QProxyStyle(QStyleFactory::create("Fusion")) {}

  int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                QStyleHintReturn* result) const override {
    switch (hint) {
      case SH_DialogButtonBox_ButtonsHaveIcons:
      case SH_EtchDisabledText:
      case SH_UnderlineShortcut:
      case SH_ComboBox_Popup:  // a list below the field, not a menu over it
        return 0;
      default:
        return QProxyStyle::styleHint(hint, option, widget, result);
    }
  }
};

struct Colours {
  QColor window, field, button, text, accent, accentText, focus;
};

Colours coloursOf(Colouring colouring) {
  if (colouring.scheme == ColourScheme::dark) {
    if (colouring.hasMoreContrast)
      return {Qt::black, Qt::black, 0x141416, 0xffffff, 0x1f5fc4, 0xffffff, 0x9cc4ff};
    return {0x242427, 0x2e2e32, 0x343438, 0xf1f1f3, 0x2b6cd5, 0xffffff, 0x76adff};
  }
  if (colouring.hasMoreContrast)
    return {0xffffff, 0xffffff, 0xffffff, Qt::black, 0x0058c4, 0xffffff, 0x0058c4};
  return {0xf5f5f6, 0xffffff, 0xffffff, 0x1d1d1f, 0x0a66d6, 0xffffff, 0x0a66d6};
}

void setRole(QPalette& palette, QPalette::ColorRole role, const QColor& colour, const QColor& disabled) {
  palette.setColor(role, colour);
  palette.setColor(QPalette::Disabled, role, disabled);
}

QPalette paletteOf(const Colours& colours) {
  const QColor faint = blended(colours.text, colours.window, 0.36);
  QPalette palette(colours.button, colours.window);
  for (const auto role :
       {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::ToolTipText}) {
    setRole(palette, role, colours.text, faint);
  }
  palette.setColor(QPalette::Base, colours.field);
  palette.setColor(QPalette::AlternateBase, colours.window);
  palette.setColor(QPalette::ToolTipBase, colours.field);
  palette.setColor(QPalette::PlaceholderText, blended(colours.text, colours.field, 0.64));
  palette.setColor(QPalette::Highlight, colours.accent);
  palette.setColor(QPalette::HighlightedText, colours.accentText);
  palette.setColor(QPalette::Link, colours.focus);
  return palette;
}

/// The style sheet with its @names replaced. A name is replaced before a shorter one that it begins with.
QString styleSheetOf(const Colours& colours, const QPalette& palette) {
  QFile file(":/look/fusion.qss");
  if (!file.open(QIODevice::ReadOnly)) return {};
  QString sheet = QString::fromUtf8(file.readAll());
  const std::pair<const char*, QColor> names[] = {
      {"@field", colours.field},
      {"@button", colours.button},
      {"@hovered", blended(colours.text, colours.button, 0.05)},
      {"@pressed", blended(colours.text, colours.button, 0.12)},
      {"@text", colours.text},
      {"@faintStroke", quaternaryStroke(palette)},
      {"@faint", palette.color(QPalette::Disabled, QPalette::Text)},
      {"@fill", quaternaryFill(palette)},
      {"@stroke", controlStroke(palette)},
      {"@onAccent", colours.accentText},
      {"@accentHovered", blended(Qt::black, colours.accent, 0.08)},
      {"@accentPressed", blended(Qt::black, colours.accent, 0.16)},
      {"@accent", colours.accent},
      {"@focus", palette.color(QPalette::Link)},
  };
  for (const auto& [name, colour] : names) sheet.replace(name, colour.name());
  return sheet;
}

/// Widgets under a style sheet don't follow a change of the system's font; setting the sheet again makes
/// them.
class FontFollower : public QObject {
 public:
  using QObject::QObject;

  bool eventFilter(QObject* watched, QEvent* event) override {
    if (watched == qApp && event->type() == QEvent::ApplicationFontChange)
      qApp->setStyleSheet(qApp->styleSheet());
    return false;
  }
};

}  // namespace

void setUpLook(QApplication& application) {
  QApplication::setStyle(new Style);
  application.installEventFilter(new FontFollower(&application));
}

void setColouring(QApplication& application, Colouring colouring) {
  const Colours colours = coloursOf(colouring);
  const QPalette palette = paletteOf(colours);
  QApplication::setPalette(palette);
  application.setStyleSheet(styleSheetOf(colours, palette));
}

}  // namespace ferrin::qt
