#include "app/qt/look/Shades.h"

#include <algorithm>
#include <cmath>

namespace ferrin::qt {
namespace {

/// Relative luminance, as WCAG 2.1 defines it.
double luminance(const QColor& colour) {
  const auto linear = [](double part) {
    return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) + 0.0722 * linear(colour.blueF());
}

/// Black and white, for a desktop that asks for more contrast.
bool isStark(const QPalette& palette) {
  return contrast(palette.color(QPalette::WindowText), palette.color(QPalette::Window)) > 20;
}

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

double contrast(const QColor& one, const QColor& other) {
  const auto [darker, lighter] = std::minmax({luminance(one), luminance(other)});
  return (lighter + 0.05) / (darker + 0.05);
}

QColor controlStroke(const QPalette& palette) { return overWindow(palette, isStark(palette) ? 0.8 : 0.52); }

QColor secondaryText(const QPalette& palette) {
  if (isStark(palette)) return overWindow(palette, 0.9);
  return overWindow(palette, isDark(palette) ? 0.64 : 0.68);
}

QColor redText(const QPalette& palette) { return isDark(palette) ? QColor(0xff6961) : QColor(0xc9261b); }

QColor focusRing(const QPalette& palette) { return palette.color(QPalette::Link); }

QColor quaternaryStroke(const QPalette& palette) {
  if (isStark(palette)) return overWindow(palette, 0.6);
  return overWindow(palette, isDark(palette) ? 0.22 : 0.19);
}

QColor quaternaryFill(const QPalette& palette) { return overWindow(palette, isDark(palette) ? 0.09 : 0.055); }

}  // namespace ferrin::qt
