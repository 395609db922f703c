// Where Qt itself follows the system's colours.

#include "app/qt/look/DesktopColours.h"

namespace ferrin::qt {
namespace {

class NativeColours : public DesktopColours {
 public:
  Colouring colouring() override { return {}; }
};

}  // namespace

std::unique_ptr<DesktopColours> followDesktopColours(std::function<void(Colouring)>) {
  return std::make_unique<NativeColours>();
}

}  // namespace ferrin::qt
