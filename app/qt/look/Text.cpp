#include "app/qt/look/Text.h"

#include <QRegularExpression>

namespace ferrin::qt {

QString wrappedToolTip(const QString& text) {
  static const QRegularExpression longWord(R"((\S{40}))");
  QString breakable = text;
  breakable.replace(longWord, "\\1\u200b");
  return "<p>" + breakable.toHtmlEscaped().replace('\n', "<br>") + "</p>";
}

}  // namespace ferrin::qt
