#include "app/qt/window/TextArea.h"

#include <QMimeData>
#include <algorithm>

#include "app/qt/window/Memory.h"

namespace ferrin::qt {
namespace {

/// A text of this length is laid out quickly as it is.
constexpr qsizetype shortText = 20000;
constexpr qsizetype maxPiece = 5000;
/// A text that is worth giving its memory back.
constexpr int largeText = 1 << 18;
/// Ends a piece whose line goes on in the next one. An unassigned character that is never drawn, so that it
/// can stand where the user edits.
constexpr QChar goesOn(0xFFF8);

/// Where the piece ends that begins at `start`: after a line, else after a word, else anywhere but within a
/// letter.
qsizetype endOfPiece(const QString& text, qsizetype start) {
  if (text.size() - start <= maxPiece) return text.size();
  const QStringView piece = QStringView(text).mid(start, maxPiece);
  for (const QChar between : {'\n', ' '}) {
    const qsizetype found = piece.lastIndexOf(between);
    if (found > maxPiece / 2) return start + found + 1;
  }
  return start + maxPiece - (piece.back().isHighSurrogate() ? 1 : 0);
}

/// Paragraphs of pieces, in which lines end in line separators.
QString inPieces(QString text) {
  if (text.size() <= shortText) return text;
  text.replace("\r\n", "\n");
  QString pieces;
  pieces.reserve(text.size() + 4 * text.size() / maxPiece);
  for (qsizetype start = 0, end = 0; start < text.size(); start = end) {
    end = endOfPiece(text, start);
    const bool endsLine = text[end - 1] == '\n';
    const qsizetype first = pieces.size();
    pieces += QStringView(text).mid(start, end - start - (endsLine ? 1 : 0));
    std::replace(pieces.begin() + first, pieces.end(), QChar('\n'), QChar(QChar::LineSeparator));
    if (!endsLine && end < text.size()) pieces += goesOn;
    if (endsLine || end < text.size()) pieces += '\n';
  }
  return pieces;
}

/// The text that was laid out in `pieces`.
QString joined(QString pieces) {
  static const QString between = QString(goesOn) + QChar(QChar::ParagraphSeparator);
  pieces.remove(between).remove(goesOn);
  for (QChar& letter : pieces) {
    if (letter == QChar::ParagraphSeparator || letter == QChar::LineSeparator) letter = '\n';
  }
  return pieces;
}

}  // namespace

void TextArea::showText(const QString& text) {
  const bool wasLarge = document()->characterCount() > largeText;
  setPlainText(inPieces(text));
  if (wasLarge) giveMemoryBack();
}

QString TextArea::text() const { return joined(document()->toRawText()); }

void TextArea::insertFromMimeData(const QMimeData* source) {
  if (source->hasText()) insertPlainText(inPieces(source->text()));
  ensureCursorVisible();
}

QMimeData* TextArea::createMimeDataFromSelection() const {
  auto* copied = new QMimeData;
  copied->setText(joined(textCursor().selectedText()));
  return copied;
}

}  // namespace ferrin::qt
