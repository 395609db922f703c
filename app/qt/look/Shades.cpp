#include "app/qt/look/Shades.h"

namespace ferrin::qt {
namespace {

QColor overWindow(const QPalette& palette, double opacity) {
  return blended(palette.color(QPalette::WindowText), palette.color(QPalette::Window), opacity);
}

}  // namespace

QColor blended(const QColor& top, const QColor& bottom, double opacity) {
  const auto mix = [opacity](float over, float under) {
    return static_cast<float>(over * opacity + under * (1 - opacity));
  };
  return QColor::fromRgbF(mix(top.redF(), bottom.redF()), mix(top.greenF(), bottom.greenF()),
                          mix(top.blueF(), bottom.blueF()));
}

bool isDark(const QPalette& palette) { return palette.color(QPalette::Window).lightness() < 128; }

QColor secondaryText(const QPalette& palette) { return overWindow(palette, isDark(palette) ? 0.64 : 0.66); }

QColor redText(const QPalette& palette) { return isDark(palette) ? QColor(0xff6961) : QColor(0xc9261b); }

QColor focusRing(const QPalette& palette) { return palette.color(QPalette::Link); }

QColor quaternaryStroke(const QPalette& palette) {
  return overWindow(palette, isDark(palette) ? 0.22 : 0.19);
}

QColor quaternaryFill(const QPalette& palette) { return overWindow(palette, isDark(palette) ? 0.09 : 0.055); }

}  // namespace ferrin::qt
