// Where Qt itself follows the system's colours.

#include "app/qt/look/DesktopColours.h"

namespace ferrin::qt {
namespace {

class NativeColours : public DesktopColours {
 public:
  ColourScheme scheme() override { return ColourScheme::light; }
};

}  // namespace

std::unique_ptr<DesktopColours> followDesktopColours(std::function<void(ColourScheme)>) {
  return std::make_unique<NativeColours>();
}

}  // namespace ferrin::qt
