#pragma once
// Colours without a role in the palette. They are derived from it, so that they follow light and dark.

#include <QColor>
#include <QPalette>

namespace ferrin::qt {

/// `top` laid over `bottom`, which is opaque, at `opacity` of 0 to 1.
QColor blended(const QColor& top, const QColor& bottom, double opacity);

/// How far apart two opaque colours are, from 1 to 21 (WCAG 2.1, contrast ratio).
double contrast(const QColor& one, const QColor& other);

/// The edge of what can be edited or pressed.
QColor controlStroke(const QPalette& palette);

bool isDark(const QPalette& palette);

/// Dimmed text, still with enough contrast to read.
QColor secondaryText(const QPalette& palette);
/// Text of a failure.
QColor redText(const QPalette& palette);
/// What shows where the keyboard is.
QColor focusRing(const QPalette& palette);
/// The faintest foreground: outlines and dividers.
QColor quaternaryStroke(const QPalette& palette);
/// The faintest fill of an area.
QColor quaternaryFill(const QPalette& palette);

}  // namespace ferrin::qt
