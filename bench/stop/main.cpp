// Stops the relay as the window's button does, and takes as long: ./bench/run measures it. The button has no
// command line, and commands of a service manager, written down a second time, would not stay what the button
// does.

#include <cstdio>
#include <exception>

#include "core/Locations.h"
#include "relay/RelayService.h"

int main() {
  try {
    const ferrin::core::Locations locations(ferrin::core::homeDirectoryForCurrentUser());
    ferrin::relay::stopServices(*ferrin::relay::chooseServiceManager(locations));
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
