#include "app/qt/window/SecretField.h"

#include <QAccessible>

namespace ferrin::qt {
namespace {

using Insertion = QAccessibleTextInsertEvent;
using Removal = QAccessibleTextRemoveEvent;
using Replacement = QAccessibleTextUpdateEvent;

void maskSecret(QAccessibleEvent* event);

bool isAboutText(const QAccessibleEvent& event) {
  return event.type() == QAccessible::TextInserted || event.type() == QAccessible::TextRemoved ||
         event.type() == QAccessible::TextUpdated;
}

/// As the toolkit would without us. What has no text for screen readers tells them nothing: Qt 6.8 prints a
/// warning instead.
void passOn(QAccessibleEvent* event) {
  QAccessibleInterface* const about = isAboutText(*event) ? event->accessibleInterface() : nullptr;
  if (isAboutText(*event) && (about == nullptr || about->textInterface() == nullptr)) return;
  QAccessible::installUpdateHandler(nullptr);
  QAccessible::updateAccessibility(event);
  QAccessible::installUpdateHandler(maskSecret);
}

QString masked(const QString& text) { return QString(text.size(), QChar(0x2022)); }

template <typename Change, typename... Texts>
void passOnMasked(const Change& change, const Texts&... texts) {
  Change told(change.object(), change.changePosition(), masked(texts)...);
  told.setCursorPosition(change.cursorPosition());
  passOn(&told);
}

bool isSecret(const QObject* object) {
  const auto* field = qobject_cast<const QLineEdit*>(object);
  return field && field->echoMode() != QLineEdit::Normal;
}

/// The toolkit masks the text of a password field where it is asked for, but not in the changes that it
/// announces.
void maskSecret(QAccessibleEvent* event) {
  if (!isSecret(event->object())) return passOn(event);
  if (const auto* typed = dynamic_cast<Insertion*>(event)) return passOnMasked(*typed, typed->textInserted());
  if (const auto* cut = dynamic_cast<Removal*>(event)) return passOnMasked(*cut, cut->textRemoved());
  if (const auto* both = dynamic_cast<Replacement*>(event))
    return passOnMasked(*both, both->textRemoved(), both->textInserted());
  passOn(event);
}

}  // namespace

void keepSecret(QLineEdit* field) {
  field->setEchoMode(QLineEdit::Password);
  field->setInputMethodHints(Qt::ImhHiddenText | Qt::ImhSensitiveData | Qt::ImhNoPredictiveText |
                             Qt::ImhNoAutoUppercase);
  QAccessible::installUpdateHandler(maskSecret);
}

}  // namespace ferrin::qt
