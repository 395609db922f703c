#include "app/qt/look/Text.h"

#include <QRegularExpression>
#include <algorithm>
#include <limits>

namespace ferrin::qt {
namespace {

/// A line of the window has room for less; measuring a text of any length would take any time.
constexpr qsizetype maxMeasured = 400;
constexpr qsizetype maxInToolTip = 2000;

bool fits(const QString& text, const QFontMetrics& metrics, int room) {
  return text.size() <= maxMeasured && metrics.horizontalAdvance(text) <= room;
}

QString elided(const QString& text, Qt::TextElideMode mode, const QFontMetrics& metrics, int room) {
  const QString ends =
      text.size() <= maxMeasured ? text : text.left(maxMeasured / 2) + "…" + text.right(maxMeasured / 2);
  return metrics.elidedText(ends, mode, room);
}

}  // namespace

QString wrappedToolTip(const QString& text) {
  static const QRegularExpression longWord(R"((\S{40}))");
  QString breakable = text.size() <= maxInToolTip ? text : text.left(maxInToolTip) + "…";
  breakable.replace(longWord, "\\1\u200b");
  return "<p>" + breakable.toHtmlEscaped().replace('\n', "<br>") + "</p>";
}

QString elidedApart(const QString& text, const QStringList& texts, const QFontMetrics& metrics, int room) {
  if (fits(text, metrics, room)) return text;
  QString best;
  qsizetype fewestAlike = std::numeric_limits<qsizetype>::max();
  for (const auto mode : {Qt::ElideMiddle, Qt::ElideRight, Qt::ElideLeft}) {
    const QString cut = elided(text, mode, metrics, room);
    const auto alike = std::count_if(texts.begin(), texts.end(), [&](const QString& other) {
      return other != text && elided(other, mode, metrics, room) == cut;
    });
    if (alike < fewestAlike) best = cut;
    fewestAlike = std::min<qsizetype>(fewestAlike, alike);
  }
  return best;
}

}  // namespace ferrin::qt
