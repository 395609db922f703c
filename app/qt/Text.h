#pragma once
// Between the application's texts, all UTF-8, and the toolkit's.

#include <QString>
#include <string_view>

namespace ferrin::qt {

inline QString fromUTF8(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

}  // namespace ferrin::qt
