#pragma once
// Several lines of text, of any length.

#include <QPlainTextEdit>

namespace ferrin::qt {

/// Lays out a long text in pieces of a few thousand letters: the toolkit's time for a line and its memory for
/// many lines grow too fast. What is read and copied has the lines as they were.
class TextArea : public QPlainTextEdit {
  Q_OBJECT

 public:
  using QPlainTextEdit::QPlainTextEdit;

  void showText(const QString& text);
  QString text() const;

 protected:
  /// Of what is pasted or dropped.
  void insertFromMimeData(const QMimeData* source) override;
  QMimeData* createMimeDataFromSelection() const override;
};

}  // namespace ferrin::qt
