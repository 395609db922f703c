#pragma once
// A field whose content is for nobody's eyes or ears.

#include <QLineEdit>

namespace ferrin::qt {

/// Masks the text, and keeps input methods and screen readers from learning it.
void keepSecret(QLineEdit* field);

}  // namespace ferrin::qt
