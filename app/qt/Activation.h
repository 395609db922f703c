#pragma once
// What the toolkit has no call for: the whole application coming to the front, or going out of sight.

namespace ferrin::qt {

void activateApplication();
void hideApplication();

}  // namespace ferrin::qt
