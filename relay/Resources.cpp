#include "relay/Resources.h"

namespace ferrin::relay {

namespace fs = std::filesystem;

fs::path proxyResource(const fs::path& executable) {
  const fs::path prefix = executable.parent_path().parent_path();
  for (const char* folder : {"Resources", "share/ferrin-relay"}) {
    fs::path script = prefix / folder / "proxy.py";
    if (fs::exists(script)) return script;
  }
  return {};
}

}  // namespace ferrin::relay
