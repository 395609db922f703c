#pragma once
// Between the application's texts, all UTF-8, and the toolkit's.

#include <QString>
#include <string_view>

namespace ferrin::qt {

inline QString fromUTF8(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

/// `text` for a tooltip that is as wide as it is easy to read. A plain text would be one line across the
/// screen, and so would a word without end.
QString wrappedToolTip(const QString& text);

}  // namespace ferrin::qt
