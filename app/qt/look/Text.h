#pragma once
// Conversion of the application's texts, all UTF-8, for Qt.

#include <QFontMetrics>
#include <QString>
#include <QStringList>
#include <string_view>

namespace ferrin::qt {

inline QString fromUTF8(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

/// `text` as rich text for a tooltip that wraps, long words too. Qt shows a plain text in one line, however
/// long.
QString wrappedToolTip(const QString& text);

/// `text` in `room` pixels: whole, or cut in the middle, at its end or at its beginning, where it differs
/// least from the other `texts`.
QString elidedApart(const QString& text, const QStringList& texts, const QFontMetrics& metrics, int room);

}  // namespace ferrin::qt
