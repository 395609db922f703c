#pragma once
// Colours that the palette has no role for, derived from it so that they follow light and dark.

#include <QColor>
#include <QPalette>

namespace ferrin::qt {

/// `top` laid over `bottom`, which is opaque, at `opacity` of 0 to 1.
QColor blended(const QColor& top, const QColor& bottom, double opacity);

bool isDark(const QPalette& palette);

/// Dimmed text that is still easy to read.
QColor secondaryText(const QPalette& palette);
/// Text that says that something went wrong.
QColor redText(const QPalette& palette);
/// The faintest foreground: outlines and dividers.
QColor quaternaryStroke(const QPalette& palette);
/// The same, to fill an area with.
QColor quaternaryFill(const QPalette& palette);

}  // namespace ferrin::qt
