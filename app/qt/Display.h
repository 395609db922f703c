#pragma once
// The connection to the display.

#include <QApplication>
#include <memory>
#include <string>

namespace ferrin::qt {

/// Makes the QApplication. Without a display, writes one line to standard error and ends the process with
/// status 1, where Qt would abort. `count` and `arguments` outlive the result.
std::unique_ptr<QApplication> openDisplay(int& count, char** arguments);

/// Writes one line to standard error.
void writeError(const std::string& line);

}  // namespace ferrin::qt
