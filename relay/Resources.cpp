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

fs::path relayProgram(const fs::path& resource) {
  const fs::path folder = resource.parent_path();
  for (const fs::path& place :
       {folder.parent_path() / "Helpers", folder.parent_path().parent_path() / "libexec/ferrin-relay"}) {
    fs::path program = place / "ferrin-third-party-proxy";
    if (fs::exists(program)) return program;
  }
  return {};
}

}  // namespace ferrin::relay
